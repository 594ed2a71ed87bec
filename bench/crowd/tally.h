#pragma once
// What the processes of bots count, in memory that they share with the one that asks.

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>

namespace crowd {

enum class Phase { In, Idle, Load, Drain, Out };

enum Kind { Line, Stroke, Pointer, Receipt, Voice, Video, kKinds };
inline constexpr const char* kKindNames[] = {"lines", "strokes", "pointers", "receipts", "voice", "video"};
/// Kept by the service until everybody has it, so none may be missing.
constexpr bool IsKept(Kind kind)
{
    return kind < Voice;
}

using Count = std::atomic<std::uint64_t>;

/// How often something took how long; each step is a twelfth wider than the one before.
class Times {
public:
    void Add(double microseconds)
    {
        const double step = std::log2(std::max(microseconds, 1.0)) * kEachOctave;
        ++mSteps[std::min(static_cast<std::size_t>(step), mSteps.size() - 1)];
    }
    void AddTo(std::array<std::uint64_t, 256>& sum) const
    {
        for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += mSteps[i];
    }
    static constexpr double kEachOctave = 8;

private:
    std::array<Count, 256> mSteps{};
};

struct Tally {
    std::atomic<Phase> phase{Phase::In};
    Count present, left;
    Count later, lost, refused, skipped;  // "try later" to a login, connections that ended, posts, gaps
    Count missing, twice, disorder, damaged;
    std::array<Count, kKinds> sent{}, received{};
    std::array<Times, kKinds> times{};
    Times comingIn, comingBack;   // from the first try to the seat, with all that was waited for
    std::array<char, 120> why{};  // of the last connection that ended
};

}  // namespace crowd
