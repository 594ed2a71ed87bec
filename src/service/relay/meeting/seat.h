#pragma once
// One handle's place in a meeting. On the meeting's strand.

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "service/relay/meeting/client.h"
#include "service/relay/meeting/lane_out.h"
#include "service/relay/meeting/live_slots.h"
#include "service/relay/meeting/meeting_keeper.h"
#include "service/relay/meeting/session.h"
#include "service/relay/meeting/voice_out.h"
#include "service/wire/framing.h"

namespace zephyl {

/// What is remembered of a sender's own numbers; outlives the seat, so that nothing it sends twice counts
/// twice.
struct StreamMemory {
    struct Waiting {
        std::uint64_t sequence, number;
    };
    std::uint64_t stream = 0;
    Sequences have;                   // highest own numbers
    Sequences safe;                   // of them, what the log has safely
    std::deque<std::string> refused;  // said again with every place: the client may have missed it
    std::deque<Waiting> talk, board;  // appended, not yet safe
    std::deque<Waiting>& Of(Channel channel) { return channel == CHANNEL_TALK ? talk : board; }
};

/// What a seat needs of its meeting while it writes.
class SeatSurroundings {
public:
    virtual ~SeatSurroundings() = default;
    virtual MeetingLog& Log() = 0;
    virtual void AddAttendees(google::protobuf::RepeatedPtrField<Attendee>& to) const = 0;
    virtual void Wake(SeatNumber seat) = 0;
};

enum class SeatState { Present, Detached, Away };

class Seat final : public BatchSource {
public:
    using Clock = std::chrono::steady_clock;

    Seat(SeatNumber seatNumber, std::shared_ptr<Session> whose, std::shared_ptr<MeetingHold> held,
         std::shared_ptr<StreamMemory> numbers, SeatSurroundings& around, const RelayBounds& bounds);

    /// Control first and what little voice there is, then talk and board, then live with a fifth of the batch
    /// when it waits.
    void Fill(std::string& batch, std::size_t limit) override;
    void FillRoad(LiveRoad& road) override
    {
        voice.FillRoad(road, Clock::now());
        live.FillRoad(road);
    }
    /// What came past the log waits for a batch.
    bool WaitsForBatch(Clock::time_point now) { return voice.Waits() || live.Ready(now); }
    void BeginAt(const Sequences& cursor, const Sequences& entered);
    /// After a cut: where it is known to stand, or where the client says that it does if that is further, but
    /// not beyond what there is.
    void GoOnAt(const Sequences& cursor);
    void OnRead(const zephyl::Read& read, Clock::time_point now);
    Sequences ReadUpTo() const { return {mTalk.ReadUpTo(), mBoard.ReadUpTo()}; }
    /// What it costs the service that it does not read, or has half sent.
    std::size_t LagBytes() const
    {
        return mTalk.LagBytes() + mBoard.LagBytes() + incoming.HeldBytes() + live.WaitingBytes() +
               voice.WaitingBytes();
    }
    Header AcceptedNow() const;
    bool Concerns(const LogItem& item) const
    {
        return (item.channel == CHANNEL_TALK ? mTalk : mBoard).Concerns(item);
    }

    /// Draws a new token for Resume. The one that the client has `shown`, or else the one before, stays good
    /// until the first frame on the new connection, however many answers are lost until then.
    std::string NewToken(const std::string& shown);
    bool TokenFits(const std::string& token) const;
    void TokenArrived() { tokenHashes[1].clear(); }
    SeatEntry Entry() const;

    const SeatNumber number;
    std::shared_ptr<Session> session;  // of the login that took the seat last
    const std::shared_ptr<MeetingHold> hold;
    const std::shared_ptr<StreamMemory> numbers;
    std::shared_ptr<Client> client;  // null: detached or away
    SeatState state = SeatState::Present;
    Clock::time_point cutOff{};  // when the client went
    Clock::time_point spokeAt{};
    bool timeIsUp = false;      // away for too long; gone when that is safe
    bool dirty = false;         // something may be ready for it
    bool roadDirty = false;     // something came for it past the log
    bool acceptedNews = false;  // numbers have become safe
    LiveSlots live;
    VoiceOut voice;
    std::vector<SeatNumber> talksWith;      // sorted; each of them hears it that talks with it, too
    std::map<int, std::uint64_t> lastLive;  // its own frames' numbers, by type
    ItemReader incoming;
    Sequences enteredAt;
    bool placesOwn = false;  // its client asked for the places of its own items
    std::array<std::string, 2> tokenHashes;
    std::shared_ptr<void> letsIn;  // whom it asked to let in; not for longer than it is there

private:
    void PutSkipped(std::string& batch, Channel channel, std::uint64_t upTo);

    SeatSurroundings& mAround;
    LaneOut mTalk, mBoard;
};

}  // namespace zephyl
