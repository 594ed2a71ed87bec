#pragma once
// What leaves next: voice, talk, then board, one item at a time in each, and the newest live picture of each
// type in turn, which gets a fifth of a batch when it waits. Pure. Network thread.

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "service/link/outbox.h"
#include "service/wire/framing.h"
#include "service/wire/limits.h"

namespace zephyl::link {

/// A way for live pictures beside the connection.
class LiveRoad {
public:
    using Clock = std::chrono::steady_clock;
    virtual ~LiveRoad() = default;
    /// A picture of so many bytes goes this way now.
    virtual bool Takes(std::size_t bodyBytes) const = 0;
    /// When the next one may: `now` at the earliest.
    virtual Clock::time_point Free(Clock::time_point now) = 0;
    virtual void Put(std::string_view frame, Clock::time_point now) = 0;
};

class Lanes {
public:
    using Clock = std::chrono::steady_clock;

    explicit Lanes(Outbox& outbox) : mOutbox(outbox) {}

    /// What the service takes of live pictures in a second; 0: the usual.
    void SetLiveLimits(std::uint64_t frames, std::uint64_t bytes);
    /// Takes the place of the one of its type that waits.
    void SetLive(Outgoing picture);
    /// A frame of voice. It goes in front of everything, or not at all: old ones go to nobody, and when too
    /// much waits, this one is lost.
    void PutVoice(std::string frame, Clock::time_point now);
    /// Nothing that was said before leaves any more.
    void ForgetVoice() { mVoice.clear(); }
    /// Appends frames up to about a batch. Live pictures stay a little below what the service takes, or it
    /// would stop reading lines as well. The result: when one that waits may go; max: none waits.
    Clock::time_point Fill(std::string& batch, Clock::time_point now);
    /// Hands over the live pictures that go by `road` at this moment; those that have to wait for it do not
    /// go with a batch meanwhile. The result: when to ask again; max: none waits.
    Clock::time_point FillRoad(LiveRoad& road, Clock::time_point now);
    /// There is no such way any more.
    void NoRoad() { mByRoad.clear(); }
    /// A new connection: whatever was half sent begins anew, live pictures are forgotten.
    void Reset();
    /// Posts leave only between Enter and Leave.
    void SetOpen(bool open) { mOpen = open; }

private:
    struct Going {
        OutboxEntryPtr entry;
        std::optional<ItemCutter> cutter;
    };
    bool Step(Going& lane, Channel channel, std::string& batch);
    bool StepLive(std::string& batch, Clock::time_point now);
    bool BeginLive(Clock::time_point now);
    Clock::duration LiveCost(std::size_t bytes) const;
    bool WaitsForBatch() const;
    void DropStaleVoice(Clock::time_point now);
    std::vector<Outgoing> TakeNext(bool byRoad);

    struct Said {
        std::string frame;
        Clock::time_point at;
    };

    Outbox& mOutbox;
    std::deque<Said> mVoice;
    Going mTalk, mBoard;
    std::map<int, std::vector<Outgoing>> mLiveWaiting;  // by type; parts of one audience
    std::set<int> mByRoad;                              // types of those that wait for the road
    std::vector<Outgoing> mLiveGoing;                   // the last one is being cut
    std::optional<ItemCutter> mLiveCutter;
    std::uint64_t mLiveFrames = 0;
    std::uint64_t mFramesEachSecond = kLiveFramesEachSecond, mBytesEachSecond = kLiveBytesEachSecond;
    int mLiveType = 0;  // of the last one that began
    Clock::time_point mLiveDue;
    bool mOpen = false;
};

}  // namespace zephyl::link
