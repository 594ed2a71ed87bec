#pragma once
// Puts one speaker's packets in order and says what to play next. What arrives evenly waits 60 ms, what
// arrives unevenly up to 200. Pure: the time is passed in. One thread at a time.

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "voice/packet.h"

namespace voice {

class JitterBuffer {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr double kLeastDelayMs = 60, kMostDelayMs = 200;
    static constexpr std::size_t kMostPackets = 50;

    /// `frame`: the sender's count of 20 ms. What came before, comes too late, or is not plausible is
    /// dropped.
    void Put(std::uint64_t frame, const Packet& packet, Clock::time_point now);

    struct Next {
        enum class What { Silence, Packet, Lost } what = What::Silence;
        std::string opus;  // of a packet; of a lost one the packet behind it, when that is there
    };
    /// Asked for every 20 ms that are played, `now`: when that leaves for the sound server.
    Next Take(Clock::time_point now);

    /// How much longer than meant what plays next has waited, in ms; 0 in silence.
    double Excess(Clock::time_point now) const;
    /// How long packets are meant to wait.
    double DelayMs() const { return mDelay; }
    /// Of the last ten seconds of speech.
    int LostPercent() const;

private:
    struct Held {
        std::string opus;
        bool first, last;
    };
    void Begin(std::uint64_t frame, Clock::time_point now);
    void Measure(double transit);
    double TransitOf(std::uint64_t frame, Clock::time_point now) const;
    Next Missing();
    Next Quiet();
    void Count(bool lost);

    // When packets come, against when they were spoken, in ms from the first one.
    std::uint64_t mOriginFrame = 0;
    Clock::time_point mOrigin{};
    bool mBegun = false;
    double mBase = 0;      // the quickest of late
    double mQuickest = 0;  // of this period
    std::size_t mInPeriod = 0;
    std::vector<double> mLately;  // transits, a ring
    std::size_t mLatelyAt = 0;
    double mDelay = kLeastDelayMs;

    std::map<std::uint64_t, Held> mHeld;
    bool mPlaying = false;
    bool mPlayed = false;     // ever
    std::uint64_t mNext = 0;  // to play
    int mConcealed = 0;       // in a row
    int mSinceChange = 0;     // packets since one was left out or put in
    double mLost = 0, mCounted = 0;
};

}  // namespace voice
