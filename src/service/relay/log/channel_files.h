#pragma once
// One channel of a meeting in segment files: the newest items stand in memory too, older ones are read from
// the files. On the meeting's strand.

#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/relay/log/item_queue.h"
#include "service/relay/log/journal.h"
#include "service/relay/log/segment.h"

namespace zephyl {

class ChannelFiles {
public:
    using Journals = std::vector<std::shared_ptr<Journal>>;

    /// `bound`: of what is kept, in bytes.
    ChannelFiles(std::filesystem::path folder, Channel channel, std::size_t bound);

    /// Reads what the folder holds and begins a new segment behind `end`. A file with damage in its middle
    /// is put aside, with what stood in front of it saved; one that cannot be read, as it is. Adds to
    /// `replayed`. Throws std::exception.
    void Load(std::uint64_t end, std::uint64_t lost, const MeetingLog::Take& take, Replayed& replayed);

    std::uint64_t Next() { return ++mState.end; }
    const ChannelState& State() const { return mState; }
    std::uint64_t Appended() const { return mAppended; }
    std::uint64_t OnDisk() const { return mOnDisk; }
    std::size_t KeptBytes() const;
    std::size_t WantedBytes() const { return mWanted; }
    std::size_t MemoryBytes() const { return mRecent.Bytes(); }

    void Add(ItemPtr item);
    /// Writes what the disk does not have yet. False: it takes nothing; what is missing stays in memory.
    bool Write();
    /// Files to be synced, the full ones once.
    void TakeToSync(Journals& files);
    /// A sync has covered everything up to here.
    void Safe(std::uint64_t upTo) { mSafe = upTo; }
    /// A sync failed: what none has covered is written again, to another file, before anything else is.
    void Distrust();

    /// As MeetingLog's; says which files may be deleted.
    std::vector<std::filesystem::path> Trim(std::uint64_t before, std::uint64_t readByAll);
    /// At the bound the oldest go. The same.
    std::vector<std::filesystem::path> KeepBound();
    /// Files that may be deleted now. While much is written some are kept, for a moment: writing over a file
    /// costs a third less than writing a new one.
    Journals Retire(const std::vector<std::filesystem::path>& paths);
    /// Those that Retire kept have safe names; not safe: they go after all.
    void Reuse(const Journals& retired, bool safe);
    /// Once a second: a file that waits, or the old end of one, stays no longer than it is of use.
    void Tick();
    /// Nothing has been written for a second and nobody wants what stands in the newest segment.
    bool Idle() const;
    /// Empties the newest segment. Precondition: Idle.
    void Restart();
    /// What to write anew, when much of the closed segments is wanted by nobody.
    std::optional<Thinning> ToThin() const;
    /// It is written; returns which files may go once the folder's names are safe.
    std::vector<std::filesystem::path> Thinned(const Thinning& wanted, std::optional<Segment> thin);
    /// Does this name still stand for this file?
    bool Holds(const std::filesystem::path& path, std::uint64_t mark) const;
    /// Lets the oldest item stand in its file only. False: none may.
    bool ForgetOldest();

    /// Where everything stands, and how many bytes of each file count.
    std::vector<std::pair<std::filesystem::path, std::uint64_t>> Files() const;
    /// While somebody holds them, files are deleted but not written over.
    void Hold(bool held) { mHeld += held ? 1 : -1; }

    /// False: `wanted` must be read from a file first.
    bool Read(std::uint64_t from, std::size_t bytes, LogChunk& chunk, ColdRead& wanted) const;
    /// The file is not what was written: aside with it, and whoever had not read it misses something.
    void PutAside(const std::filesystem::path& path);

private:
    std::filesystem::path SegmentPath(std::uint64_t first) const;
    void LoadSegment(const std::filesystem::path& path, bool newest, std::uint64_t end,
                     const MeetingLog::Take& take, Replayed& replayed);
    std::shared_ptr<Journal> FreshFile(const std::filesystem::path& path);
    void Roll(std::uint64_t first);
    std::size_t DeadBytes(const Segment& segment) const;
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
    Journals mFull;            // not yet handed to a sync
    Journals mSpare;           // files to be written over
    std::size_t mRetired = 0;  // more of them, whose names are not safe yet
    std::uint64_t mRollAt = 0;
    unsigned mRolls = 0;  // of this opening; names count them
    int mHeld = 0;
    int mQuietTicks = 0;        // without a new segment
    bool mOver = false;         // the newest segment is written over an old one
    bool mSuspect = false;      // the disk may have dropped what was written to it
    bool mGrown = false;        // a segment has begun since the bound was looked at
    bool mThinnable = true;     // until one could not be
    std::uint64_t mAtTick = 0;  // mAppended, then
    std::uint64_t mAtLastTick = 0;
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
