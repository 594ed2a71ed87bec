#pragma once
// Notices that the computer has slept, as soon as it is awake. Steady clocks stand still meanwhile, so
// nothing that they measure would. Network thread.

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <functional>

namespace zephyl::link {

/// How long this computer has slept since it was started, as its clocks tell.
std::chrono::milliseconds SleptSoFar();

class SleepWatch {
public:
    using Slept = std::function<std::chrono::milliseconds()>;

    /// `slept` as SleptSoFar.
    SleepWatch(const boost::asio::any_io_executor& executor, Slept slept);
    /// Waits until it has slept for so long that somebody may miss this computer, and then was awake; how
    /// long that was. Zero: Stop was called.
    boost::asio::awaitable<std::chrono::milliseconds> Woken();
    void Stop();

private:
    const Slept mSlept;
    std::chrono::milliseconds mKnown;
    boost::asio::posix::stream_descriptor mTimer;  // once a second, and at once behind a sleep
};

}  // namespace zephyl::link
