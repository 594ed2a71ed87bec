#include "service/link/personal.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "service/link/session_parts.h"
#include "service/wire/door_file.h"

extern char** environ;

namespace zephyl::link {

namespace asio = boost::asio;

namespace {

constexpr std::size_t kReadyLineBytes = 1024;

/// Starts it in between, so that nobody has to wait for it when it ends one day: the shell-like middle
/// process ends at once and is waited for here. Returns the reading end of the daemon's standard output.
int Spawn(const std::string& path)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::system_category(), "pipe");
    const pid_t middle = ::fork();
    if (middle == 0) {
        ::setsid();
        if (::fork() != 0) ::_exit(0);
        const int nothing = ::open("/dev/null", O_RDWR);
        ::dup2(nothing, STDIN_FILENO);
        ::dup2(ends[1], STDOUT_FILENO);
        ::dup2(nothing, STDERR_FILENO);
        ::execlp(path.c_str(), path.c_str(), "serve", "--personal", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    const int failed = errno;
    ::close(ends[1]);
    if (middle < 0) {
        ::close(ends[0]);
        throw std::system_error(failed, std::system_category(), "fork");
    }
    ::waitpid(middle, nullptr, 0);
    return ends[0];
}

}  // namespace

asio::awaitable<void> StartPersonalService(std::string zephyldPath)
{
    if (zephyldPath.empty()) throw std::runtime_error("the program zephyld is not found");
    asio::posix::stream_descriptor output(co_await asio::this_coro::executor, Spawn(zephyldPath));
    std::string line;
    co_await asio::async_read_until(output, asio::dynamic_buffer(line, kReadyLineBytes), '\n',
                                    asio::as_tuple(asio::use_awaitable));
}

asio::awaitable<std::shared_ptr<Connection>> Session::OpenTarget()
{
    if (mTarget.personal) co_return co_await OpenPersonal();
    co_return co_await Connection::Open(mContext, mTarget.host, mTarget.port);
}

asio::awaitable<std::shared_ptr<Connection>> Session::OpenPersonal()
{
    const std::filesystem::path file = DoorFilePath();
    std::string problem;
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (const auto door = ReadDoorFile(file)) {
            try {
                auto connection = co_await Connection::Open(mContext, "127.0.0.1", door->port);
                if (connection->Peer().fingerprint == door->fingerprint) {
                    mDoor = door->door;
                    mExpectedKey = door->fingerprint;
                    co_return connection;
                }
                problem = "somebody else answers in place of this computer's service";
            } catch (const std::exception& e) {
                problem = e.what();
            }
        }
        if (attempt == 0) co_await StartPersonalService(mNeeds.zephyldPath);
    }
    throw std::runtime_error("the service of this computer could not be started" +
                             (problem.empty() ? std::string() : ": " + problem));
}

}  // namespace zephyl::link
