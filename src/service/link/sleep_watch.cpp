#include "service/link/sleep_watch.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <system_error>
#include <utility>

namespace zephyl::link {

namespace asio = boost::asio;

namespace {

constexpr time_t kEverySecond = 1;
constexpr std::chrono::milliseconds kShort{1000};  // nobody misses it for so long

std::chrono::milliseconds Now(clockid_t clock)
{
    timespec now{};
    ::clock_gettime(clock, &now);
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::seconds(now.tv_sec) +
                                                                 std::chrono::nanoseconds(now.tv_nsec));
}

/// By a clock that goes on during sleep: a timer of it that is overdue fires with the waking.
int MakeTimer()
{
    const int timer = ::timerfd_create(CLOCK_BOOTTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (timer < 0) throw std::system_error(errno, std::system_category(), "no timer");
    const itimerspec often{{kEverySecond, 0}, {kEverySecond, 0}};
    ::timerfd_settime(timer, 0, &often, nullptr);
    return timer;
}

}  // namespace

std::chrono::milliseconds SleptSoFar()
{
    return Now(CLOCK_BOOTTIME) - Now(CLOCK_MONOTONIC);
}

SleepWatch::SleepWatch(const asio::any_io_executor& executor, Slept slept)
    : mSlept(std::move(slept)), mKnown(mSlept()), mTimer(executor, MakeTimer())
{
}

asio::awaitable<std::chrono::milliseconds> SleepWatch::Woken()
{
    for (;;) {
        const auto [stopped] = co_await mTimer.async_wait(asio::posix::stream_descriptor::wait_read,
                                                          asio::as_tuple(asio::use_awaitable));
        if (stopped) co_return std::chrono::milliseconds(0);
        std::uint64_t times = 0;
        if (::read(mTimer.native_handle(), &times, sizeof times) < 0) continue;
        const std::chrono::milliseconds before = std::exchange(mKnown, mSlept());
        if (mKnown - before >= kShort) co_return mKnown - before;
    }
}

void SleepWatch::Stop()
{
    boost::system::error_code ignored;
    mTimer.close(ignored);
}

}  // namespace zephyl::link
