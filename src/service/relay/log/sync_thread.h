#pragma once
// Makes written files last, on a thread of its own, in groups: a slow disk makes the groups larger and
// delays nothing else. Any thread may ask.

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "service/relay/log/journal.h"

namespace zephyl {

class SyncThread {
public:
    SyncThread();
    /// Syncs what is asked for first.
    ~SyncThread();
    SyncThread(const SyncThread&) = delete;
    SyncThread& operator=(const SyncThread&) = delete;

    /// `done` runs on the thread when what had been written before this call will survive a power cut, or
    /// when the disk has refused (false).
    void Ask(std::vector<std::shared_ptr<Journal>> files, std::function<void(bool)> done);

private:
    struct Request {
        std::vector<std::shared_ptr<Journal>> files;
        std::function<void(bool)> done;
    };
    void Run();

    std::mutex mMutex;
    std::condition_variable mWake;
    std::vector<Request> mRequests;
    bool mEnd = false;
    std::thread mThread;
};

}  // namespace zephyl
