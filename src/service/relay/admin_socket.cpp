#include "service/relay/admin_socket.h"

#include <spdlog/logger.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include "service/relay/door/login_desk.h"
#include "service/relay/meeting/directory.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace asio = boost::asio;
using asio::local::stream_protocol;
namespace {

constexpr std::size_t kLineBytes = 1024;
constexpr std::string_view kAccount = "account ", kKick = "kick ";
constexpr std::chrono::milliseconds kAcceptPause{100};  // out of descriptors
constexpr time_t kPatience = 5;                         // seconds, of who asks

std::filesystem::path SocketPath(const std::filesystem::path& data)
{
    return data / "admin.sock";
}

}  // namespace

AdminSocket::AdminSocket(Services& services)
    : mServices(services), mPath(SocketPath(services.options.data)), mAcceptor(services.io)
{
    ::unlink(mPath.c_str());  // the folder's lock is ours, so it is a dead one's
    try {
        mAcceptor.open(stream_protocol());
        mAcceptor.bind(stream_protocol::endpoint(mPath.string()));
        if (::chmod(mPath.c_str(), 0600) != 0) throw std::runtime_error("cannot set its mode");
        mAcceptor.listen();
    } catch (const std::exception& error) {
        throw StartError("cannot listen on " + mPath.string() + ": " + error.what());
    }
}

AdminSocket::~AdminSocket()
{
    ::unlink(mPath.c_str());
}

void AdminSocket::Start()
{
    asio::co_spawn(mServices.io, Accept(), asio::detached);
}

asio::awaitable<void> AdminSocket::Accept()
{
    asio::steady_timer pause(mServices.io);
    for (;;) {
        boost::system::error_code error;
        stream_protocol::socket socket =
            co_await mAcceptor.async_accept(asio::redirect_error(asio::use_awaitable, error));
        if (error == asio::error::operation_aborted || error == asio::error::bad_descriptor) co_return;
        if (!error) {
            asio::co_spawn(mServices.io, Serve(std::move(socket)), asio::detached);
            continue;
        }
        pause.expires_after(kAcceptPause);
        co_await pause.async_wait(asio::use_awaitable);
    }
}

asio::awaitable<void> AdminSocket::Serve(stream_protocol::socket socket)
{
    std::string line;
    co_await asio::async_read_until(socket, asio::dynamic_buffer(line, kLineBytes), '\n',
                                    asio::use_awaitable);
    line.resize(line.find('\n'));
    const std::string answer = co_await Answer(line) + "\n";
    co_await asio::async_write(socket, asio::buffer(answer), asio::use_awaitable);
}

asio::awaitable<std::string> AdminSocket::Answer(std::string line)
{
    if (line.starts_with(kAccount)) {
        const std::string handle = line.substr(kAccount.size());
        co_await mServices.directory.AccountChanged(handle, mServices.accounts.Find(handle));
        co_return "ok";
    }
    const std::size_t tab = line.find('\t');
    if (!line.starts_with(kKick) || tab == std::string::npos) co_return "unknown";
    const std::optional<Account> account = mServices.accounts.Find(line.substr(tab + 1));
    const std::optional<HandleForms> whom = ReadHandle(account ? account->handle : "");
    if (!whom) co_return "no account";
    const bool found =
        co_await mServices.directory.Kick(line.substr(kKick.size(), tab - kKick.size()), *whom);
    co_return found ? "ok" : "no meeting";
}

std::optional<std::string> TellDaemon(const std::filesystem::path& data, const std::string& line)
{
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    const std::string path = SocketPath(data).string();
    if (path.size() >= sizeof name.sun_path) return std::nullopt;
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience{kPatience, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    bool told = ::connect(fd, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
    const std::string text = line + "\n";
    char answer[16];
    ssize_t got = 0;
    told = told && ::send(fd, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    told = told && (got = ::recv(fd, answer, sizeof answer, 0)) > 0;
    ::close(fd);
    if (!told) return std::nullopt;
    const std::string_view said(answer, static_cast<std::size_t>(got));
    return std::string(said.substr(0, said.find('\n')));
}

}  // namespace zephyl
