#pragma once
// A log that outlives the process and the machine's power. Talk and board stand in segments of their own in
// the meeting's folder, seats in a third file. The newest items stand in memory; older ones are read from the
// files by a thread of its own.
//
// Items are written before they are delivered and made last afterwards, in groups. A volume that is full
// does not end the meeting: it goes on in memory and writes what it keeps when there is room.

#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "service/relay/log/channel_files.h"
#include "service/relay/log/log_room.h"
#include "service/relay/log/meeting_head.h"
#include "service/relay/log/meeting_log.h"
#include "service/relay/options.h"

namespace zephyl {

class FileLog final : public MeetingLog {
public:
    /// Runs work on the meeting's strand, later, if the log still exists then. Any thread.
    using Post = std::function<void(std::function<void()>)>;
    /// Told once when the disk refuses, and once when it takes again. On the strand.
    using Trouble = std::function<void(bool refused)>;

    FileLog(std::filesystem::path folder, MeetingHead head, const RelayBounds& bounds, LogRoom& room,
            Post post, Trouble trouble);
    ~FileLog() override;

    LogContents Open() override;
    Replayed Replay(const Take& take) override;
    void Remove() override;
    std::uint64_t Next(Channel channel) override { return Of(channel).Next(); }
    void Append(std::vector<ItemPtr> items, Done done) override;
    void Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done) override;
    void Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll) override;
    void Seat(const SeatEntry& entry) override;
    ChannelState State(Channel channel) const override
    {
        return channel == CHANNEL_TALK ? mTalk.State() : mBoard.State();
    }
    std::size_t BoardBytes() const override { return mBoard.KeptBytes(); }
    LogBytes Bytes() const override
    {
        return {mTalk.WantedBytes(), mBoard.WantedBytes(), mTalk.MemoryBytes() + mBoard.MemoryBytes(),
                mDisk == Disk::Refuses};
    }
    std::vector<LogPart> Hold() override;
    void Release() override;
    void WhenSafe(Safe safe) override { mSafe = std::move(safe); }
    void WhenSynced(Done done) override;
    void NumbersFrom(AskNumbers ask) override { mNumbers = std::move(ask); }

private:
    enum class Disk {
        Takes,
        Refuses,
        TakesAgain,  // what it had missed is written, not yet safe
    };
    struct Waiter {
        std::uint64_t writes;
        Done done;
    };
    /// What a sync that begins now will cover.
    struct Covered {
        std::uint64_t writes;
        Sequences appended, onDisk;
    };
    ChannelFiles& Of(Channel channel) { return channel == CHANNEL_TALK ? mTalk : mBoard; }
    void WriteItems();
    void WriteSeats(std::string entries);
    bool RewriteSeats(const std::vector<NumbersEntry>& numbers);
    void WriteMarks();
    void Delete(Channel channel, std::vector<std::filesystem::path> paths);
    void GiveSpaceBack(Channel channel);
    void ThinOut(Channel channel);
    void EndThinning(const Thinning& wanted, std::optional<Segment> thin);
    void ShrinkMemory();
    void ReadFromFile(const ColdRead& wanted, ReadDone done);
    void OnlyWhenSafe(Done done);
    void AskSync();
    void RunWaiters(std::deque<Waiter>& waiters, std::uint64_t writes);
    void OnSynced(bool synced, const Covered& covered);
    void Refuse();
    bool Retry();

    const std::filesystem::path mFolder;
    const MeetingHead mHead;
    const std::size_t mMemoryBound;
    LogRoom& mRoom;  // not in the destructor: it may have gone
    const std::shared_ptr<std::atomic<std::size_t>> mMemory;
    const Post mPost;
    const Trouble mTrouble;
    ChannelFiles mTalk, mBoard;
    std::shared_ptr<Journal> mSeats;
    std::map<SeatNumber, SeatEntry> mSeatEntries;
    Sequences mLost;  // as written
    Opening mOpening;
    std::uint64_t mWrites = 0;  // counts them
    bool mSyncing = false;
    bool mThinning = false;
    Disk mDisk = Disk::Takes;
    std::uint64_t mRetriedAt = 0;  // of mWrites
    std::deque<Waiter> mWaiters;
    std::deque<Waiter> mPatient;  // those that no failed sync lets go on
    std::vector<std::function<void()>> mReadsToRepeat;
    std::size_t mCounted = 0;  // bytes, in the room's sum
    Safe mSafe;
    AskNumbers mNumbers;
    std::shared_ptr<int> mAlive = std::make_shared<int>();
};

}  // namespace zephyl
