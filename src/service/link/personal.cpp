#include "service/link/personal.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
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
constexpr char kNoProgram[] = "cannot run zephyld: ";
constexpr std::chrono::milliseconds kNextTry{50};
constexpr std::chrono::seconds kStartTime{8};

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
        // What a program does with its signals is its own affair; the daemon wants to be ended by them.
        sigset_t none;
        ::sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::signal(SIGPIPE, SIG_DFL);
        const int nothing = ::open("/dev/null", O_RDWR);
        ::dup2(nothing, STDIN_FILENO);
        ::dup2(ends[1], STDOUT_FILENO);
        ::dup2(nothing, STDERR_FILENO);
        ::execlp(path.c_str(), path.c_str(), "serve", "--personal", static_cast<char*>(nullptr));
        const char* why = ::strerror(errno);
        const bool told = ::write(STDOUT_FILENO, kNoProgram, sizeof kNoProgram - 1) >= 0 &&
                          ::write(STDOUT_FILENO, why, std::strlen(why)) >= 0;
        ::_exit(told ? 127 : 126);
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
    if (line.starts_with(kNoProgram)) throw std::runtime_error(line);
}

asio::awaitable<std::shared_ptr<Connection>> Session::OpenTarget()
{
    if (mTarget.personal) co_return co_await OpenPersonal();
    co_return co_await Connection::Open(mContext, mTarget.host, mTarget.port);
}

/// Null: nobody answers there, or not who the door file promises.
asio::awaitable<std::shared_ptr<Connection>> Session::TryDoor()
{
    const auto door = ReadDoorFile(DoorFilePath());
    if (!door) co_return nullptr;
    std::shared_ptr<Connection> connection;
    try {
        connection = co_await Connection::Open(mContext, "127.0.0.1", door->port);
    } catch (const std::exception& e) {
        mNeeds.log(QStringLiteral("This computer's service does not answer: %1")
                       .arg(QString::fromStdString(ProblemText(e))));
    }
    if (!connection || connection->Peer().fingerprint != door->fingerprint) co_return nullptr;
    mDoor = door->door;
    mExpectedKey = door->fingerprint;
    co_return connection;
}

/// Several clients may start one at the same moment; all but one end at once, maybe before the one that stays
/// has opened its door. So whoever finds none looks again.
asio::awaitable<std::shared_ptr<Connection>> Session::OpenPersonal()
{
    const auto deadline = std::chrono::steady_clock::now() + kStartTime;
    do {
        if (auto connection = co_await TryDoor()) co_return connection;
        co_await StartPersonalService(mNeeds.zephyldPath);
        if (auto connection = co_await TryDoor()) co_return connection;
        asio::steady_timer pause(mIo, kNextTry);
        co_await pause.async_wait(asio::as_tuple(asio::use_awaitable));
    } while (std::chrono::steady_clock::now() < deadline);
    throw std::runtime_error("it could not be started");
}

}  // namespace zephyl::link
