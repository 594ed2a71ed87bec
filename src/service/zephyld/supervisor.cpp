#include "service/zephyld/supervisor.h"

#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "files/careful_file.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace {

/// What the manager has put into our surroundings. Without any of it nobody needs the library.
bool Managed()
{
    return std::getenv("NOTIFY_SOCKET") || std::getenv("LISTEN_FDS") || std::getenv("WATCHDOG_USEC");
}

/// libsystemd's functions that we call; null where it is not installed. Opened by a service that a manager
/// has started and by no other: the personal one starts without it.
struct Library {
    decltype(&::sd_listen_fds) listenFds = nullptr;
    decltype(&::sd_is_socket_inet) isSocketInet = nullptr;
    decltype(&::sd_notify) notify = nullptr;
    decltype(&::sd_watchdog_enabled) watchdogEnabled = nullptr;

    static const Library* Open()
    {
        static const Library library;
        return library.watchdogEnabled ? &library : nullptr;
    }

private:
    Library()
    {
        void* const handle = Managed() ? ::dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL) : nullptr;
        if (!handle) return;
        Find(handle, "sd_listen_fds", listenFds);
        Find(handle, "sd_is_socket_inet", isSocketInet);
        Find(handle, "sd_notify", notify);
        Find(handle, "sd_watchdog_enabled", watchdogEnabled);
    }
    template <class Function>
    static void Find(void* handle, const char* name, Function& function)
    {
        function = reinterpret_cast<Function>(::dlsym(handle, name));
    }
};

/// Or not at all: libsystemd's own call waits until the manager has read, and a manager that hangs must not
/// hold the service.
void TellAtOnce(const std::string& text)
{
    const char* const path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    const std::size_t length = path ? std::strlen(path) : 0;
    if (length < 2 || length >= sizeof to.sun_path) return;
    std::memcpy(to.sun_path, path, length);
    if (to.sun_path[0] == '@') to.sun_path[0] = 0;
    const files::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket.Number() < 0) return;
    ::sendto(socket.Number(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr*>(&to),
             static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
}

}  // namespace

int Supervisor::TakeSocket()
{
    const Library* const library = Library::Open();
    if (!library && std::getenv("LISTEN_FDS"))
        throw StartError("the service manager has opened sockets, and libsystemd is not installed");
    const int given = library ? library->listenFds(1) : 0;  // who we start inherits none of it
    if (given <= 0) return -1;
    if (given > 1)
        throw StartError("the service manager has opened " + std::to_string(given) +
                         " sockets; one is wanted, for clients");
    if (library->isSocketInet(SD_LISTEN_FDS_START, AF_UNSPEC, SOCK_STREAM, 1, 0) <= 0)
        throw StartError("the service manager has opened a socket that is none for TCP, or does not listen");
    return SD_LISTEN_FDS_START;
}

void Supervisor::Waiting(const std::string& status) const
{
    TellAtOnce("EXTEND_TIMEOUT_USEC=60000000\nSTATUS=" + status);
}

void Supervisor::Ready(const std::string& status) const
{
    if (const Library* const library = Library::Open())
        library->notify(0, ("READY=1\nSTATUS=" + status).c_str());
}

void Supervisor::Reloading() const
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const auto microseconds = static_cast<long long>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
    TellAtOnce("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
}

void Supervisor::Reloaded() const
{
    TellAtOnce("READY=1");
}

void Supervisor::Stopping() const
{
    TellAtOnce("STOPPING=1\nSTATUS=Making safe what has been sent");
}

void Supervisor::Alive() const
{
    TellAtOnce("WATCHDOG=1");
}

std::chrono::microseconds Supervisor::AliveEvery() const
{
    std::uint64_t most = 0;
    const Library* const library = Library::Open();
    return std::chrono::microseconds(library && library->watchdogEnabled(0, &most) > 0 ? most / 2 : 0);
}

}  // namespace zephyl
