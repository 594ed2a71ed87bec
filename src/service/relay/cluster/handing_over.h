#pragma once
// When who leads a stream is to leave that to another server. A server that is cut off from the leader, and
// not from the third, asks the third again and again to be chosen: nobody leads for most of the time then, or
// two believe that they do. Led by the third, which reaches both, the stream goes on at once. Pure.

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "service/relay/cluster/jetstream.h"

namespace zephyl::jetstream {

class HandingOver {
public:
    using Clock = std::chrono::steady_clock;
    /// What a leader says. True: it has not heard one of the others, the rest have everything, and it was not
    /// tried yet whether another one hears it. Of a server that is away for everybody this is true as well:
    /// whoever asks finds out.
    bool MayHelp(const StreamFacts& facts, Clock::time_point now);
    /// For ten seconds all servers were heard and had everything, and nothing has changed since but what may
    /// be mended. Who was just started, or put back, is left alone.
    bool WasWell(Clock::time_point now) const;
    /// It is still so, and who leads will not choose the one that it does not hear.
    bool IsTime(const StreamFacts& facts, Clock::time_point now) const;
    /// Who leads was asked to: the next answers are of before.
    void IsAsked(Clock::time_point now) { mAsked = now; }
    /// Somebody else is about to.
    void IsTried(Clock::time_point now) { mTried = now; }
    /// Nothing else is tried until all servers were heard again.
    void IsOfNoUse() { mInVain = true; }

private:
    bool LeadsBadly(const StreamFacts& facts, Clock::time_point now) const;

    struct Leader {
        Clock::time_point since, last;  // that it said so
    };
    std::map<std::string, Leader> mLeaders;
    std::string mUnheard, mUnheardBy;
    std::optional<Clock::time_point> mTried, mAsked, mWellSince;
    bool mWasWell = false;
    bool mInVain = false;
};

}  // namespace zephyl::jetstream
