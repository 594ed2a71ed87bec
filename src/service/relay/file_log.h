#pragma once
// A log that outlives the process and the machine's power. Talk and board stand in segments of their own in
// the meeting's folder, seats in a third file; what has been written is read again from memory.
//
// Items are written before they are delivered and made last afterwards, in groups. A volume that is full
// does not end the meeting: it goes on in memory and writes what it keeps when there is room.

#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "service/relay/memory_log.h"
#include "service/relay/sync_thread.h"

namespace zephyl {

/// What names a meeting on disk.
struct MeetingHead {
    std::string id;
    std::string code;
    std::string creatorKey;
    std::uint64_t creatorStream = 0;
};
/// None when the folder holds no head that can be read.
std::optional<MeetingHead> ReadHead(const std::filesystem::path& folder);

class FileLog final : public MeetingLog {
public:
    /// Runs work on the meeting's strand, later.
    using Post = std::function<void(std::function<void()>)>;
    /// Told once when the disk refuses, and once when it takes again. On the strand.
    using Trouble = std::function<void(bool refused)>;

    FileLog(std::filesystem::path folder, MeetingHead head, const RelayBounds& bounds, SyncThread& sync,
            Post post, Trouble trouble);
    ~FileLog() override;

    LogContents Open() override;
    void Remove() override;
    std::uint64_t Next(Channel channel) override { return mMemory.Next(channel); }
    void Append(std::vector<ItemPtr> items, Done done) override;
    void Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done) override;
    void Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll) override;
    void Seat(const SeatEntry& entry) override;
    ChannelState State(Channel channel) const override { return mMemory.State(channel); }
    void WhenSafe(Safe safe) override { mSafe = std::move(safe); }
    void WhenSynced(Done done) override;
    void NumbersFrom(AskNumbers ask) override { mNumbers = std::move(ask); }

private:
    struct Segment {
        std::filesystem::path path;
        std::uint64_t last = 0;
    };
    struct Part {
        std::string name;
        std::deque<Segment> full;
        std::shared_ptr<Journal> now;
        std::uint64_t last = 0;  // sequence in `now`
        std::string unwritten;   // what the disk has not taken
    };
    struct Waiter {
        std::uint64_t writes;
        Done done;
    };
    Part& Of(Channel channel) { return channel == CHANNEL_TALK ? mTalk : mBoard; }
    void OpenHead();
    void LoadPart(Part& part, Channel channel, LogContents& contents);
    void LoadSeats(LogContents& contents);
    void Write(Part& part, const std::string& entries);
    void NewSegment(Part& part, std::uint64_t first);
    void DropSegments(Part& part, std::uint64_t upTo);
    void RewriteSeats(const std::vector<NumbersEntry>& numbers);
    void AskSync();
    void OnSynced(std::uint64_t writes, const Sequences& upTo);
    void SetRefused(bool refused);

    const std::filesystem::path mFolder;
    MeetingHead mHead;
    SyncThread& mSync;
    const Post mPost;
    const Trouble mTrouble;
    MemoryLog mMemory;
    Part mTalk{"talk", {}, {}, 0, {}}, mBoard{"board", {}, {}, 0, {}}, mSeats{"seats", {}, {}, 0, {}};
    std::vector<std::shared_ptr<Journal>> mToSync;  // full, not yet safe
    Sequences mWritten, mSafeUpTo;
    std::uint64_t mWrites = 0;  // counts them
    bool mSyncing = false;
    bool mRefused = false;
    std::map<SeatNumber, SeatEntry> mSeatEntries;
    std::deque<Waiter> mWaiters;
    Safe mSafe;
    AskNumbers mNumbers;
    std::shared_ptr<int> mAlive = std::make_shared<int>();
};

}  // namespace zephyl
