#pragma once
// Samples from one thread to another without a lock: one writes, one reads, neither waits or allocates.

#include <algorithm>
#include <array>
#include <atomic>
#include <span>

#include "voice/sound.h"

namespace voice {

class Ring {
public:
    static constexpr std::size_t kSamples = 1 << 14;  // a third of a second

    /// What does not fit is lost. The result: how much did.
    std::size_t Put(std::span<const Sample> sound)
    {
        const std::size_t at = mPut.load(std::memory_order_relaxed);
        const std::size_t room = kSamples - (at - mTaken.load(std::memory_order_acquire));
        const std::size_t count = std::min(room, sound.size());
        for (std::size_t i = 0; i < count; ++i) mSound[(at + i) % kSamples] = sound[i];
        mPut.store(at + count, std::memory_order_release);
        return count;
    }
    /// The result: how much there was.
    std::size_t Take(std::span<Sample> to)
    {
        const std::size_t at = mTaken.load(std::memory_order_relaxed);
        const std::size_t count = std::min(mPut.load(std::memory_order_acquire) - at, to.size());
        for (std::size_t i = 0; i < count; ++i) to[i] = mSound[(at + i) % kSamples];
        mTaken.store(at + count, std::memory_order_release);
        return count;
    }
    /// At least so much, seen from either side.
    std::size_t Held() const
    {
        return mPut.load(std::memory_order_acquire) - mTaken.load(std::memory_order_acquire);
    }

private:
    std::array<Sample, kSamples> mSound{};
    std::atomic<std::size_t> mPut{0}, mTaken{0};
};

}  // namespace voice
