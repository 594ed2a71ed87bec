#pragma once
// What has happened since the start, for an operator. Any thread.

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>

namespace zephyl {

using Count = std::atomic<std::uint64_t>;

/// How long things took, by how many took at most so long.
struct Durations {
    static constexpr std::array kBounds{0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1.0, 2.5, 5.0};  // seconds

    void Add(std::chrono::microseconds took)
    {
        std::size_t at = 0;
        while (at < kBounds.size() && static_cast<double>(took.count()) > kBounds[at] * 1e6) ++at;
        ++counts[at];
        microseconds += static_cast<std::uint64_t>(took.count());
    }
    std::array<Count, kBounds.size() + 1> counts{};  // the last one: of those above all bounds
    Count microseconds{0};
};

struct Counters {
    Count connections{0};         // taken
    Count banned{0}, tooMany{0};  // connections turned away
    Count loginsOk{0}, loginsWrong{0}, loginsLater{0}, loginsBanned{0};
    Count receivedBytes{0}, sentBytes{0};     // of frames, before TLS
    Count posts{0}, liveFrames{0}, voice{0};  // taken from clients, however many got them
    Durations delays;                         // of pings
};

}  // namespace zephyl
