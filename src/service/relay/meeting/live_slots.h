#pragma once
// Live frames towards one receiver: one slot per sender and type, the newest wins; on the way is only
// what the receiver has shown to keep up with. On the meeting's strand.

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "service/relay/log/log_item.h"
#include "service/relay/meeting/client.h"
#include "service/wire/live_allowance.h"

namespace zephyl {

struct LiveFrame {
    std::string frames;         // as they go down
    std::size_t bodyBytes = 0;  // what the receiver answers for
};

class LiveSlots {
public:
    using Clock = std::chrono::steady_clock;

    void Put(SeatNumber from, int type, std::shared_ptr<const LiveFrame> frame);
    void Forget(SeatNumber from);
    /// All live body bytes of this connection that have arrived at the receiver.
    void OnRead(std::uint64_t bytes, Clock::time_point now);
    /// Hands over what goes by `road` at this moment; the rest of it keeps its place, and does not go with a
    /// batch meanwhile.
    void FillRoad(LiveRoad& road);
    /// A frame is half sent, or one waits for a batch and may go.
    bool Ready(Clock::time_point now);
    void Fill(std::string& batch, std::size_t limit, Clock::time_point now);
    std::size_t WaitingBytes() const;
    /// What waits goes unsent.
    void Shed() { mSlots.clear(); }
    /// For a new connection.
    void Reset() { *this = LiveSlots(); }

private:
    struct Slot {
        SeatNumber from;
        int type;
        std::shared_ptr<const LiveFrame> frame;
        bool byRoad = false;
    };
    std::deque<Slot>::iterator NextOfBatch();

    std::deque<Slot> mSlots;                // in the order in which they began to wait
    std::shared_ptr<const LiveFrame> mNow;  // half sent
    std::size_t mAt = 0;
    std::uint64_t mSent = 0, mRead = 0;
    LiveAllowance mAllowance;
};

}  // namespace zephyl
