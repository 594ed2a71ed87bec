#pragma once
// The limits that hold at the moment: an operator may change them while the service runs. Any thread.

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>

#include "service/relay/options.h"

namespace zephyl {

struct RelayLimits {
    RelayTimes times;
    RelayBounds bounds;
    RelayBudgets budgets;
};

class LiveLimits {
public:
    explicit LiveLimits(const RelayOptions& options) { Replace(options); }
    /// Stays what it is for as long as this exists; ask anew at the next turn.
    const RelayLimits& Now() const { return *mNow.load(std::memory_order_acquire); }
    void Replace(const RelayOptions& options)
    {
        const std::lock_guard lock(mMutex);
        mAll.push_back({options.times, options.bounds, options.budgets});
        mNow.store(&mAll.back(), std::memory_order_release);
    }

private:
    std::mutex mMutex;
    std::deque<RelayLimits> mAll;  // the earlier ones too: somebody may be reading them
    std::atomic<const RelayLimits*> mNow{nullptr};
};

}  // namespace zephyl
