#pragma once
// Voice towards one receiver: at most the three loudest of a large meeting, in order, and nothing that is
// old. On the meeting's strand.

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "service/relay/log/log_item.h"
#include "service/relay/meeting/client.h"
#include "service/wire/limits.h"

namespace zephyl {

/// Who is heard where more speak than anybody can follow. Whoever is heard stays until they are silent for
/// kTurn, or somebody else is clearly louder.
class LoudestSpeakers {
public:
    using Clock = std::chrono::steady_clock;

    /// A packet of `from` at `level` (decibels below full scale): whether it is heard.
    bool Hears(SeatNumber from, std::uint32_t level, Clock::time_point now);
    void Forget(SeatNumber from);

private:
    static constexpr std::chrono::milliseconds kTurn{600};
    static constexpr double kClearlyLouder = 6;  // decibels
    static constexpr double kFollows = 0.15;     // a packet's part of its speaker's level

    struct Place {
        SeatNumber from = 0;  // 0: free
        double level = 0;
        Clock::time_point heard{};
    };
    std::array<Place, kVoiceSpeakers> mPlaces{};
};

class VoiceOut {
public:
    using Clock = std::chrono::steady_clock;

    struct Packet {
        SeatNumber from = 0;
        std::uint32_t level = 0;
        std::shared_ptr<const std::string> frame;  // as it goes down
    };
    /// `crowded`: the meeting is a large one. When too much waits, this one is lost.
    void Put(Packet packet, bool crowded, Clock::time_point now);
    /// Nothing more of them is sent.
    void Forget(SeatNumber from);
    void FillRoad(LiveRoad& road, Clock::time_point now);
    void Fill(std::string& batch, Clock::time_point now);
    bool Waits() const { return !mWaiting.empty(); }
    std::size_t WaitingBytes() const;
    /// For a new connection.
    void Reset() { *this = VoiceOut(); }

private:
    struct Waiting {
        Packet packet;
        Clock::time_point since;
    };
    void DropStale(Clock::time_point now);

    LoudestSpeakers mLoudest;
    std::deque<Waiting> mWaiting;
};

}  // namespace zephyl
