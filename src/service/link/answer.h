#pragma once
// An answer that the network thread gives and the user-interface thread waits for.

#include <mutex>
#include <optional>
#include <utility>

#include "contract/link_needs.h"

namespace zephyl::link {

/// Shared between the two threads; whoever waits may give up and let go of it. Safe on any thread.
template <class T>
class Answer final : public PendingAnswer {
public:
    bool Done() const override
    {
        const std::lock_guard lock(mMutex);
        return mValue.has_value();
    }

    void WhenDone(std::function<void()> wake) override
    {
        {
            const std::lock_guard lock(mMutex);
            if (!mValue) {
                mWake = std::move(wake);
                return;
            }
        }
        wake();
    }

    /// The first value counts.
    void Finish(T value)
    {
        std::function<void()> wake;
        {
            const std::lock_guard lock(mMutex);
            if (mValue) return;
            mValue = std::move(value);
            wake = std::exchange(mWake, nullptr);
        }
        if (wake) wake();
    }

    /// None: not given yet.
    std::optional<T> Value() const
    {
        const std::lock_guard lock(mMutex);
        return mValue;
    }

private:
    mutable std::mutex mMutex;
    std::optional<T> mValue;
    std::function<void()> mWake;
};

}  // namespace zephyl::link
