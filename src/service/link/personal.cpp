#include "service/link/personal.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "service/link/opening.h"
#include "service/link/session.h"
#include "service/wire/door_file.h"

namespace zephyl::link {

namespace asio = boost::asio;
using namespace asio::experimental::awaitable_operators;

namespace {

constexpr std::size_t kReadyLineBytes = 1024;
constexpr char kNoProgram[] = "cannot run zephyld: ";
constexpr std::chrono::milliseconds kNextTry{50};
constexpr std::chrono::seconds kStartTime{8};
constexpr std::chrono::milliseconds kDoorTime{2000};  // on loopback even a busy machine is faster

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
        if (nothing < 0) ::_exit(126);
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

asio::awaitable<Started> StartPersonalService(std::string zephyldPath, std::chrono::milliseconds limit)
{
    if (zephyldPath.empty()) throw std::runtime_error("the program zephyld is not found");
    const auto executor = co_await asio::this_coro::executor;
    asio::posix::stream_descriptor output(executor, Spawn(zephyldPath));
    asio::steady_timer timer(executor, limit);
    std::string line;
    const auto told = co_await (asio::async_read_until(output, asio::dynamic_buffer(line, kReadyLineBytes),
                                                       '\n', asio::as_tuple(asio::use_awaitable)) ||
                                timer.async_wait(asio::as_tuple(asio::use_awaitable)));
    if (told.index() != 0) throw std::runtime_error("zephyld was started and says nothing");
    if (line.starts_with(kNoProgram)) throw std::runtime_error(line);
    if (line.starts_with(kCannotServe))
        throw std::runtime_error(
            line.substr(sizeof kCannotServe - 1, line.find('\n') - (sizeof kCannotServe - 1)));
    co_return line.empty() ? Started::AnotherServes : Started::Serves;
}

asio::awaitable<std::shared_ptr<Connection>> Session::OpenAt(ServiceAddress relay)
{
    if (mTarget.personal) co_return co_await OpenPersonal();
    Destination to = Towards(relay);
    // A name that nobody answers for holds up those of its kind only.
    Resolver& names = mRound.IsHome(relay) || to.proxy ? mResolver : mOtherNames;
    co_return co_await Open(names, mContext, std::move(to));
}

/// By the same road to another relay. Throws when the proxy's setting cannot be read.
Destination Session::Towards(const ServiceAddress& relay) const
{
    Destination to = mTarget.to;
    if (mRound.IsHome(relay)) return to;
    to.host = relay.host;
    to.port = relay.port;
    if (to.protocol == Protocol::Http) to.proxy = ProxyFor(mTarget.proxy, to.host, to.port, TheEnvironment());
    return to;
}

/// Null: nobody answers at the port of the door file.
asio::awaitable<std::shared_ptr<Connection>> Session::Knock(std::uint16_t port)
{
    std::string problem;
    try {
        Destination to = mTarget.to;
        to.host = "127.0.0.1";
        to.port = port;
        co_return co_await Open(mResolver, mContext, std::move(to));
    } catch (const std::exception& e) {
        problem = ProblemText(e);
    }
    mNeeds.log(
        QStringLiteral("This computer's service does not answer: %1").arg(QString::fromStdString(problem)));
    co_return nullptr;
}

/// Null: nobody answers there within `limit`, or not who the door file promises. At the port of a service
/// that is dead somebody may be who takes connections and says nothing.
asio::awaitable<std::shared_ptr<Connection>> Session::TryDoor(std::chrono::milliseconds limit)
{
    const auto door = ReadDoorFile(DoorFilePath());
    if (!door) co_return nullptr;
    asio::steady_timer timer(mIo, limit);
    auto first = co_await (Knock(door->port) || timer.async_wait(asio::as_tuple(asio::use_awaitable)));
    if (first.index() != 0) {
        mNeeds.log(QStringLiteral("This computer's service does not answer: nothing comes from its port"));
        co_return nullptr;
    }
    const std::shared_ptr<Connection> connection = std::get<0>(std::move(first));
    if (!connection || connection->Peer().fingerprint != door->fingerprint) co_return nullptr;
    mDoor = door->door;
    mExpectedKey = door->fingerprint;
    co_return connection;
}

/// Several clients may start one at the same moment; all but one end at once, maybe before the one that stays
/// has opened its door. So whoever finds none looks again.
asio::awaitable<std::shared_ptr<Connection>> Session::OpenPersonal()
{
    using std::chrono::steady_clock;
    const auto deadline = steady_clock::now() + kStartTime;
    const auto left = [&] {
        return std::max(kNextTry,
                        std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()));
    };
    Started started = Started::Serves;
    do {
        if (auto connection = co_await TryDoor(std::min(kDoorTime, left()))) co_return connection;
        started = co_await StartPersonalService(mNeeds.zephyldPath, left());
        // One that lives and is slow has half of the time that is left.
        const auto patience = started == Started::AnotherServes ? std::max(kDoorTime, left() / 2) : left();
        if (auto connection = co_await TryDoor(patience)) co_return connection;
        asio::steady_timer pause(mIo, kNextTry);
        co_await pause.async_wait(asio::as_tuple(asio::use_awaitable));
    } while (steady_clock::now() < deadline);
    throw std::runtime_error(started == Started::AnotherServes ? "it runs, but does not answer"
                                                               : "it was started, but does not answer");
}

}  // namespace zephyl::link
