#pragma once
// What the logs of all meetings share: the thread that makes them last, the one that reads cold parts, and
// the sum of what they hold in memory.

#include <atomic>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <functional>
#include <memory>

#include "service/relay/log/sync_thread.h"

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
    const std::shared_ptr<std::atomic<std::size_t>> memory =
        std::make_shared<std::atomic<std::size_t>>(0);  // bytes of items; the logs hold it, too
    std::atomic<std::size_t> memoryBound;
};

}  // namespace zephyl
