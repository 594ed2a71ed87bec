#pragma once
// How near the process is to the memory it may use, and so what is given up. Any thread.

#include <atomic>
#include <cstddef>

namespace zephyl {

/// Each level includes the ones before it.
enum class Pressure { None, ShedLive, RefuseLogins, DetachLagging };

class MemoryWatch {
public:
    /// `most`: bytes in memory; 0: no limit.
    explicit MemoryWatch(std::size_t most) : mMost(most) {}
    /// From the next look on.
    void Replace(std::size_t most) { mMost = most; }
    /// Bytes, at the last look.
    std::size_t Used() const { return mUsed; }
    std::size_t Most() const { return mMost; }
    /// Looks anew. Returns true when the level has changed.
    bool Measure();
    Pressure Level() const { return mLevel.load(std::memory_order_relaxed); }
    bool Under(Pressure level) const { return Level() >= level; }
    static Pressure LevelOf(std::size_t used, std::size_t most);

private:
    std::atomic<std::size_t> mMost, mUsed{0};
    std::atomic<Pressure> mLevel{Pressure::None};
};

}  // namespace zephyl
