#pragma once
// How often a service may make the link say something: a few at once, then one a second. Pure.

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

namespace zephyl::link {

class Remarks {
public:
    using Time = std::chrono::steady_clock::time_point;

    bool May(Time now)
    {
        const auto passed = (now - mLast) / std::chrono::seconds(1);
        if (passed > 0) {
            mLeft = int(std::min<decltype(passed)>(kAtOnce, mLeft + passed));
            mLast = now;
        }
        if (mLeft == 0) return false;
        --mLeft;
        return true;
    }
    /// How many were kept back since the last one, when another may go; none: keep it back, too.
    std::optional<unsigned> Next(Time now)
    {
        if (May(now)) return std::exchange(mKept, 0u);
        ++mKept;
        return std::nullopt;
    }

private:
    static constexpr int kAtOnce = 10;
    Time mLast{};
    int mLeft = kAtOnce;
    unsigned mKept = 0;
};

}  // namespace zephyl::link
