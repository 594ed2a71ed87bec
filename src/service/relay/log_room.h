#pragma once
// What the logs of all meetings share: the thread that makes them last, the one that reads cold parts, and
// the sum of what they hold in memory. Outlives them.

#include <atomic>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <functional>

#include "service/relay/sync_thread.h"

namespace zephyl {

/// One thread, beside the io threads, for reads that wait for a disk. Any thread may ask.
class ReadThread {
public:
    ~ReadThread() { mThread.join(); }
    void Run(std::function<void()> work) { boost::asio::post(mThread, std::move(work)); }

private:
    boost::asio::thread_pool mThread{1};
};

struct LogRoom {
    explicit LogRoom(std::size_t bound) : memoryBound(bound) {}
    SyncThread sync;
    ReadThread reads;
    std::atomic<std::size_t> memory{0};  // bytes of items
    const std::size_t memoryBound;
};

}  // namespace zephyl
