#pragma once
// One channel of a meeting in segment files: the newest items stand in memory too, older ones are read from
// the files. On the meeting's strand.

#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "service/relay/item_queue.h"
#include "service/relay/journal.h"
#include "service/relay/segment.h"

namespace zephyl {

class ChannelFiles {
public:
    using Journals = std::vector<std::shared_ptr<Journal>>;

    /// `bound`: of what is kept, in bytes.
    ChannelFiles(std::filesystem::path folder, Channel channel, std::size_t bound);

    /// Reads what the folder holds and begins a new segment behind `end`. A file with damage in its middle
    /// is put aside, with what stood in front of it saved. Throws std::exception.
    Damage Load(std::uint64_t end, std::uint64_t lost, const MeetingLog::Take& take);

    std::uint64_t Next() { return ++mState.end; }
    const ChannelState& State() const { return mState; }
    std::uint64_t Appended() const { return mAppended; }
    std::uint64_t OnDisk() const { return mOnDisk; }
    std::size_t KeptBytes() const;
    std::size_t MemoryBytes() const { return mRecent.Bytes(); }

    void Add(ItemPtr item);
    /// Writes what the disk does not have yet. False: it takes nothing; what is missing stays in memory.
    bool Write();
    /// Files to be synced, the full ones once.
    void TakeToSync(Journals& files);
    /// A sync has covered everything up to here.
    void Safe(std::uint64_t upTo) { mSafe = upTo; }
    /// A sync failed: what it did not cover before is written again, to another file.
    void Distrust();

    /// As MeetingLog's; says which files may be deleted.
    std::vector<std::filesystem::path> Trim(std::uint64_t before, std::uint64_t readByAll);
    /// At the bound the oldest go. The same.
    std::vector<std::filesystem::path> KeepBound();
    /// Lets the oldest item stand in its file only. False: none may.
    bool ForgetOldest();

    /// False: `wanted` must be read from a file first.
    bool Read(std::uint64_t from, std::size_t bytes, LogChunk& chunk, ColdRead& wanted) const;
    /// The file is not what was written: aside with it, and whoever had not read it misses something.
    void PutAside(const std::filesystem::path& path);

private:
    std::filesystem::path SegmentPath(std::uint64_t first) const;
    Damage LoadSegment(const std::filesystem::path& path, bool newest, const MeetingLog::Take& take);
    void Roll(std::uint64_t first);
    void TryRoll();
    void Recount();
    void Lose(std::uint64_t upTo);
    std::vector<std::filesystem::path> TakeUnwanted();

    const std::filesystem::path mFolder;
    const Channel mChannel;
    const std::size_t mBound;
    const std::uint64_t mSegmentBytes;
    std::deque<Segment> mSegments;  // the last one is written
    std::shared_ptr<Journal> mNow;
    Journals mFull;  // not yet handed to a sync
    std::uint64_t mRollAt = 0;
    ItemQueue mRecent;
    ChannelState mState;
    std::uint64_t mAppended = 0, mOnDisk = 0, mSafe = 0;
    std::uint64_t mCold = 0;  // items up to here stand in files only
    std::uint64_t mReadByAll = 0;
    std::size_t mWanted = 0;             // bytes, about
    std::vector<std::uint64_t> mPlaces;  // of one write, as mEntries; kept for the next one
    std::string mEntries;
};

}  // namespace zephyl
