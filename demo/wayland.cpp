#include "demo/wayland.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QFile>
#include <cstring>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace stage {
namespace {

/// Where a compositor says that it is ready, as services of the system do.
class ReadySocket {
public:
    explicit ReadySocket(const QString& path) : mSocket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray name = QFile::encodeName(path);
        std::memcpy(address.sun_path, name.constData(),
                    std::min(sizeof address.sun_path, size_t(name.size())));
        if (bind(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("no socket for the compositor");
    }
    ~ReadySocket() { close(mSocket); }
    ReadySocket(const ReadySocket&) = delete;
    ReadySocket& operator=(const ReadySocket&) = delete;
    void Wait() const
    {
        pollfd ready{mSocket, POLLIN, 0};
        if (poll(&ready, 1, 30'000) != 1) throw std::runtime_error("the compositor does not start");
    }

private:
    const int mSocket;
};

}  // namespace

std::unique_ptr<Child> SitOnWayland(Desk& desk, const Folder& folder, QSize screen)
{
    const QString said = folder / "ready", name = u"quorvia-test"_s;
    QFile::remove(said);  // of an earlier run
    const ReadySocket ready(said);
    desk.Environment(u"NOTIFY_SOCKET"_s, said);
    auto compositor = desk.Start(
        u"weston"_s,
        {u"--backend=x11-backend.so"_s, u"--use-pixman"_s, u"--width=%1"_s.arg(screen.width()),
         u"--height=%1"_s.arg(screen.height()), u"--fullscreen"_s, u"--shell=kiosk-shell.so"_s,
         u"--modules=systemd-notify.so"_s, u"--no-config"_s, u"--idle-time=0"_s, u"--socket="_s + name});
    ready.Wait();
    desk.Environment(u"WAYLAND_DISPLAY"_s, name);
    desk.Environment(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
    desk.Environment(u"QT_QPA_PLATFORM"_s, {});  // its own choice
    desk.Environment(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere"_s);
    return compositor;
}

}  // namespace stage
