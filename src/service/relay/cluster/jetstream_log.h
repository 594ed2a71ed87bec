#pragma once
// A log that stands in the engine, where other relays find it. Items are delivered, and safe, once the engine
// has them; the newest stand in memory too. While the engine takes nothing the meeting waits, and goes on by
// itself.
//
// Talk, board and seats are a subject each. Board items that newcomers do not get have one of their own
// where they come without others, so that they can go by themselves: "passing".

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/relay/cluster/batch_stream.h"
#include "service/relay/cluster/chain_index.h"
#include "service/relay/cluster/engine.h"
#include "service/relay/cluster/log_chain.h"
#include "service/relay/log/item_queue.h"
#include "service/relay/log/log_room.h"
#include "service/relay/log/meeting_log.h"
#include "service/relay/options.h"

namespace zephyl {

/// What a log tells, and whom. On the strand, but for `post` and what `epoch` is given, which any thread
/// calls.
struct JetStreamWays {
    std::function<void(std::function<void()>)> post;  // as FileLog's
    std::function<void(bool refused)> trouble;        // once when nothing is taken, once when it is again
    std::function<void()> lost;  // another relay has opened it: this one keeps it no more
    std::function<void(std::string subject)> remove;  // for good; the log is gone by then
    std::function<void(std::chrono::steady_clock::duration, std::function<void()>)> later;  // on the strand
    /// A batch of items is about to be written, in one entry; null: nobody wants to know. Returns at once.
    std::function<void(const ChainName&, std::shared_ptr<const std::string> batch)> writes = {};
};

/// The subjects of a log, behind its name.
inline constexpr char kSeatsChain[] = "seats", kTalkChain[] = "talk", kBoardChain[] = "board",
                      kPassingChain[] = "passing";

class JetStreamLog final : public MeetingLog {
public:
    /// `name`: of letters and digits, the meeting's own. `epoch`: above all with which that was ever opened.
    JetStreamLog(const std::string& name, std::uint64_t epoch, const RelayBounds& bounds, LogRoom& room,
                 Engine& engine, JetStreamWays ways);
    ~JetStreamLog() override;

    LogContents Open() override;
    Replayed Replay(const Take& take) override;
    void OpenLater(Opened opened) override;
    void ReplayLater(Take take, ReplayDone done) override;
    void Remove() override;
    void End() override;
    /// All that it consists of.
    static std::vector<std::string> Subjects(const std::string& name);
    std::uint64_t Next(Channel channel) override { return ++Of(channel).state.end; }
    void Append(std::vector<ItemPtr> items, Done done) override;
    void Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done) override;
    void Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll) override;
    void Seat(const SeatEntry& entry) override;
    ChannelState State(Channel channel) const override
    {
        return channel == CHANNEL_TALK ? mTalk.state : mBoard.state;
    }
    std::size_t BoardBytes() const override;
    LogBytes Bytes() const override;
    bool Waits() const override { return true; }
    bool Full() const override { return mTalk.waitingBytes + mBoard.waitingBytes > mMemoryBound; }
    std::vector<LogPart> Hold() override;
    void Release() override {}
    void WhenSafe(Safe safe) override { mSafe = std::move(safe); }
    void WhenSynced(Done done) override;
    void NumbersFrom(AskNumbers ask) override { mNumbers = std::move(ask); }

private:
    /// A subject of items.
    struct Lane {
        std::unique_ptr<LogChain> chain;
        ChainIndex index;
        std::uint64_t before = 0;  // what stood there at the opening ends with it
        std::uint64_t rest = 0;    // what stands in front of it is to go; 0: nothing is
    };
    struct Side {
        explicit Side(Channel its, std::size_t most) : channel(its), bound(most) {}
        const Channel channel;
        const std::size_t bound;
        std::array<Lane, 2> lanes;  // what is kept, or mixed; what passes: the board's alone
        std::deque<ItemPtr> waiting;
        std::size_t waitingBytes = 0;
        std::vector<ItemPtr> underWay;
        std::chrono::steady_clock::time_point sent{};  // the last batch
        bool several = false;                          // items in that
        bool held = false;                             // until it is time for the next one
        std::uint64_t given = 0, stored = 0;           // items of this opening
        std::deque<std::pair<std::uint64_t, Done>> done;
        ItemQueue recent;
        ChannelState state;
        std::uint64_t storedUpTo = 0;
        std::uint64_t cold = 0;  // items up to here stand in the engine only
        std::uint64_t readByAll = 0;
        std::size_t wanted = 0;  // bytes, about
    };
    struct SeatsEntry {
        std::string bytes;
        bool whole = false;  // says everything: what is in front of it may go
    };
    struct Waiter {
        std::uint64_t talk, board, seats;
        Done done;
    };
    struct Replaying;
    struct ColdReading;

    Side& Of(Channel channel) { return channel == CHANNEL_TALK ? mTalk : mBoard; }
    std::vector<LogChain*> Chains() const;
    void GoOn();
    void OnChanged();

    static std::string SubjectOf(const std::string& name, const char* what)
    {
        return kEngineLogs + name + "." + what;
    }

    // opening
    void MakeChains();
    void ReadSeats(const std::shared_ptr<BatchStream>& stream);
    void FailOpening(const std::string& why);
    void AllOpened();
    void FinishOpening(std::exception_ptr trouble);
    void ReplayOn(const std::shared_ptr<Replaying>& replaying);
    void ReadForReplay(const std::shared_ptr<Replaying>& replaying, std::size_t source);
    void TakeReplayed(Replaying& replaying, Lane& lane, const ItemPtr& item, std::uint64_t first);

    // writing
    void Pump(Side& side);
    bool Hold(Side& side);
    void OnStored(Side& side, Lane& lane, std::uint64_t first);
    void PumpSeats();
    void WriteSeats(std::string entries);
    std::string AllSeats();
    void WriteMarks();
    void RunWaiters();

    // letting go
    void Recount(Side& side);
    void Lose(Side& side, std::uint64_t upTo);
    void KeepBound(Side& side);
    void DropUnwanted(Side& side);
    void LetGo(Side& side);
    void ShrinkMemory();

    // reading
    void ReadCold(const std::shared_ptr<ColdReading>& reading);
    void ReadOn(const std::shared_ptr<ColdReading>& reading, const std::shared_ptr<BatchStream>& stream,
                const std::function<void()>& finish);

    const std::string mName;
    const std::uint64_t mEpoch;
    const std::size_t mMemoryBound;
    LogRoom& mRoom;  // not in the destructor: it may have gone
    const std::shared_ptr<std::atomic<std::size_t>> mMemory;
    Engine& mEngine;
    const JetStreamWays mWays;
    std::unique_ptr<ChainSurroundings> mAround;
    Side mTalk, mBoard;
    std::unique_ptr<LogChain> mSeats;
    std::uint64_t mSeatsBefore = 0;
    std::map<SeatNumber, SeatEntry> mSeatEntries;
    std::deque<SeatsEntry> mSeatsWaiting;
    std::size_t mSeatsUnderWay = 0;  // entries
    std::uint64_t mSeatsGiven = 0, mSeatsStored = 0;
    std::size_t mSeatsBytes = 0;  // that stand there
    std::deque<Waiter> mWaiters;
    std::vector<std::function<void()>> mReadsToRepeat;
    Opened mOpened;
    LogContents mContents;
    std::uint64_t mOpening = 0;  // counts them
    std::size_t mChainsToOpen = 0;
    bool mRefused = false;
    std::size_t mCounted = 0;  // bytes, in the room's sum
    Safe mSafe;
    AskNumbers mNumbers;
    std::shared_ptr<int> mAlive = std::make_shared<int>();
    Engine::Ears mEars;
};

}  // namespace zephyl
