#include "service/relay/log/sync_thread.h"

#include <chrono>

namespace zephyl {
namespace {
constexpr std::chrono::milliseconds kAtMostEvery{20};
}

SyncThread::SyncThread() : mThread([this] { Run(); }) {}

SyncThread::~SyncThread()
{
    {
        const std::lock_guard lock(mMutex);
        mEnd = true;
    }
    mWake.notify_one();
    mThread.join();
}

void SyncThread::Ask(std::vector<std::shared_ptr<Journal>> files, std::function<void(bool)> done)
{
    {
        const std::lock_guard lock(mMutex);
        mRequests.push_back({std::move(files), std::move(done)});
    }
    mWake.notify_one();
}

void SyncThread::Run()
{
    auto next = std::chrono::steady_clock::now();
    std::unique_lock lock(mMutex);
    for (;;) {
        mWake.wait(lock, [this] { return mEnd || !mRequests.empty(); });
        if (mRequests.empty()) return;
        while (!mEnd && mWake.wait_until(lock, next) != std::cv_status::timeout) {
        }
        std::vector<Request> round;
        round.swap(mRequests);
        lock.unlock();
        next = std::chrono::steady_clock::now() + kAtMostEvery;
        for (const Request& request : round) {
            bool synced = true;
            for (const auto& file : request.files) synced = file->Sync() && synced;
            request.done(synced);
        }
        lock.lock();
    }
}

}  // namespace zephyl
