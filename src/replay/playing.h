#pragma once
// How fast a replay goes: as the meeting did, times a speed, long pauses shortened. Pure.

#include <cstdint>
#include <functional>

class Playing {
public:
    static constexpr std::int64_t kLongestPause = 3000;  // milliseconds of the meeting

    /// `timeOf`: of an item, in milliseconds; 0 where that is not known.
    explicit Playing(std::function<std::int64_t(int item)> timeOf) : mTimeOf(std::move(timeOf)) {}
    void Begin() { mCredit = 0; }
    /// Where to be of `items` when `elapsed` milliseconds have passed at `speed` since the last call, which
    /// led to `position`.
    int Next(int position, int items, std::int64_t elapsed, int speed);

private:
    const std::function<std::int64_t(int)> mTimeOf;
    std::int64_t mCredit = 0;  // of the meeting's time, not yet used
};
