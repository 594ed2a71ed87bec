#include "service/relay/log/channel_files.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <system_error>

#include "service/relay/log/stored.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr std::uint64_t kLargestSegment = 8 * 1024 * 1024;
constexpr std::uint64_t kReserveBytes = 1024 * 1024;
constexpr std::size_t kEntriesKept = 256 * 1024;  // of memory, between writes
constexpr std::size_t kSegmentsInBound = 16;      // so the oldest go in small steps

const char* NameOf(Channel channel)
{
    return channel == CHANNEL_TALK ? "talk" : "board";
}

constexpr std::size_t kSpareBytes = 8 * 1024 * 1024;
constexpr std::size_t kDeadPart = 16;      // of the bound, before segments are written anew
constexpr std::size_t kFootprintPart = 4;  // of the bound: the files are never larger than it by more

// By their first sequence, which their names count in equal width. What was only on its way goes.
std::vector<fs::path> SegmentsOf(const fs::path& folder, const std::string& name)
{
    std::vector<fs::path> found;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (!entry.path().filename().string().starts_with(name + "-")) continue;
        if (entry.path().extension() == ".log") found.push_back(entry.path());
        if (entry.path().extension() == ".spare" || entry.path().extension() == ".new")
            fs::remove(entry.path(), ignored);
    }
    std::sort(found.begin(), found.end());
    return found;
}

fs::path Aside(const fs::path& path)
{
    return path.string() + ".damaged";
}

// Not for want of descriptors or memory: what cannot be read now will not be later.
bool CannotBeRead(const std::system_error& error)
{
    for (const int code : {EIO, ELOOP, EACCES, EPERM, EISDIR, ENXIO})
        if (error.code().value() == code) return true;
    return false;
}

// At no moment is there neither the file nor the part of it that could be read.
void SaveAndPutAside(const fs::path& path, std::uint64_t soundBytes)
{
    std::string sound(soundBytes, '\0');
    std::ifstream(path, std::ios::binary).read(sound.data(), static_cast<std::streamsize>(sound.size()));
    std::error_code there;
    fs::create_hard_link(path, Aside(path), there);
    ReplaceFile(path, sound);
}

}  // namespace

ChannelFiles::ChannelFiles(fs::path folder, Channel channel, std::size_t bound)
    : mFolder(std::move(folder)),
      mChannel(channel),
      mBound(bound),
      mSegmentBytes(std::min<std::uint64_t>(kLargestSegment, bound / kSegmentsInBound))
{
}

// --- opening ---------------------------------------------------------------------------------------

void ChannelFiles::Load(std::uint64_t end, std::uint64_t lost, const MeetingLog::Take& take,
                        Replayed& replayed)
{
    mSegments.clear();  // of an attempt that failed half way
    mRecent = ItemQueue();
    mAppended = mOnDisk = mSafe = mCold = 0;
    mState.lost = mState.begin = lost;
    const std::vector<fs::path> paths = SegmentsOf(mFolder, NameOf(mChannel));
    for (const fs::path& path : paths) try {
            LoadSegment(path, path == paths.back(), end, take, replayed);
        } catch (const std::system_error& error) {
            if (!CannotBeRead(error)) throw;
            fs::rename(path, Aside(path));
            replayed.damage = Damage::Found;
        }
    mAppended = mOnDisk = mSafe = mState.end = end;
    Roll(end);
    mQuietTicks = 2;
    Recount();
}

// The newest one may end in a write that was cut short; in the others that is damage, too. What stands in
// an earlier one already was written again after a failed sync, or is what is left of a file that was to be
// written over.
void ChannelFiles::LoadSegment(const fs::path& path, bool newest, std::uint64_t end,
                               const MeetingLog::Take& take, Replayed& replayed)
{
    std::optional<Segment> segment;
    Journal journal(path, Marked::Yes);
    std::size_t unknown = 0;
    const JournalEnd state = journal.Load([&](std::string_view payload, std::uint64_t at) {
        ItemPtr item = LoadItem(mChannel, payload);
        if (item && item->sequence <= mState.lost) return;
        const bool none = !item || item->sequence > end;  // given out by no opening before this one
        if (none) ++unknown;
        if (none || item->sequence <= mAppended) {
            ++replayed.skipped;
            return;
        }
        mAppended = mSafe = item->sequence;
        if (!segment) segment.emplace(path, journal.Mark());
        segment->Note(*item, at, at + EntryBytes(payload.size()));
        take(*item);
        Add(std::move(item));
    });
    const bool damaged = state == JournalEnd::Damaged || (state == JournalEnd::Torn && !newest);
    if (damaged)
        SaveAndPutAside(path, journal.Bytes());
    else if (!segment && unknown > 0)
        fs::rename(path, Aside(path));
    else if (!segment)
        fs::remove(path);
    else if (state == JournalEnd::Torn)
        journal.Cut();
    if (!damaged && segment && !journal.Sync()) throw StartError("cannot sync " + path.string());
    if (segment) mSegments.push_back(std::move(*segment));
    if (damaged || (!segment && unknown > 0)) replayed.damage = Damage::Found;
}

fs::path ChannelFiles::SegmentPath(std::uint64_t first) const
{
    char name[64];
    std::snprintf(name, sizeof name, "%s-%020llu-%010u.log", NameOf(mChannel),
                  static_cast<unsigned long long>(first), mRolls);
    return mFolder / name;
}

// --- writing ---------------------------------------------------------------------------------------

void ChannelFiles::Roll(std::uint64_t first)
{
    ++mRolls;
    if (mNow && !mSuspect) mNow->Cut();
    std::shared_ptr<Journal> next = FreshFile(SegmentPath(first));
    if (mNow && !mSuspect) mFull.push_back(mNow);
    mSuspect = false;
    mNow = std::move(next);
    mSegments.emplace_back(mNow->Path(), mNow->Mark());
    mRollAt = mSegmentBytes;
    mQuietTicks = 0;
    mGrown = mThinnable = true;
}

// One that cannot be begun leaves nothing behind.
std::shared_ptr<Journal> ChannelFiles::FreshFile(const fs::path& path)
{
    std::shared_ptr<Journal> file;
    const bool over = !mSpare.empty();
    try {
        if (over) {
            file = std::move(mSpare.back());
            mSpare.pop_back();
            file->Rename(path);
        } else {
            file = std::make_shared<Journal>(path, Marked::Yes);
        }
        file->Begin();
    } catch (const std::system_error&) {
        std::error_code ignored;
        fs::remove(file ? file->Path() : path, ignored);
        throw;
    }
    mOver = over;
    if (!mOver) file->Reserve(std::min(kReserveBytes, mSegmentBytes));
    return file;
}

// Where no file can be made the old one goes on.
void ChannelFiles::TryRoll()
{
    try {
        Roll(mOnDisk + 1);
    } catch (const std::system_error&) {
        mRollAt = mNow->Bytes() + mSegmentBytes;
    }
}

void ChannelFiles::Add(ItemPtr item)
{
    mAppended = item->sequence;
    mWanted += item->frames.size();
    mRecent.Add(std::move(item));
}

bool ChannelFiles::Write()
{
    if (mSuspect) {
        try {
            Roll(mSafe + 1);
        } catch (const std::system_error&) {
            return false;
        }
    }
    while (mOnDisk < mAppended) {
        const auto& items = mRecent.Items();
        auto at = items.end();
        while (at != items.begin() && (*(at - 1))->sequence > mOnDisk) --at;
        std::string& entries = mEntries;
        entries.clear();
        mPlaces.clear();
        const std::uint64_t place = mNow->Bytes();
        const auto first = at;
        for (; at != items.end() && entries.size() < mSegmentBytes; ++at) {
            mPlaces.push_back(place + entries.size());
            StoreItem(entries, **at);
        }
        if (!mNow->Append(entries)) return false;
        mPlaces.push_back(mNow->Bytes());
        for (std::size_t i = 0; first + static_cast<std::ptrdiff_t>(i) != at; ++i)
            mSegments.back().Note(*first[static_cast<std::ptrdiff_t>(i)], mPlaces[i], mPlaces[i + 1]);
        mOnDisk = at == items.end() ? mAppended : (*(at - 1))->sequence;
        if (mNow->Bytes() > mRollAt) TryRoll();
    }
    if (mEntries.capacity() > kEntriesKept) mEntries = std::string();
    return true;
}

void ChannelFiles::TakeToSync(Journals& files)
{
    files.insert(files.end(), mFull.begin(), mFull.end());
    files.push_back(mNow);
    mFull.clear();
}

void ChannelFiles::Distrust()
{
    mOnDisk = mSafe;
    for (Segment& segment : mSegments) segment.Distrust(mSafe);
    mFull.clear();
    mSuspect = true;
}

// --- letting go ------------------------------------------------------------------------------------

void ChannelFiles::Recount()
{
    mWanted = 0;
    for (const Segment& segment : mSegments) mWanted += segment.WantedBytes(mState.begin, mReadByAll);
    for (auto at = mRecent.Items().rbegin(); at != mRecent.Items().rend() && (*at)->sequence > mOnDisk; ++at)
        mWanted += (*at)->frames.size();
}

std::size_t ChannelFiles::KeptBytes() const
{
    std::size_t bytes = 0;
    for (const Segment& segment : mSegments) bytes += segment.KeptBytes(mState.begin);
    return bytes;
}

// Only what is safe goes, and only because of what is safe.
std::vector<fs::path> ChannelFiles::Trim(std::uint64_t before, std::uint64_t readByAll)
{
    mReadByAll = std::max(mReadByAll, std::min(readByAll, mSafe));
    if (before > 0 && before <= mSafe) mState.begin = std::max(mState.begin, before - 1);
    mRecent.Trim(mState.begin, mReadByAll);
    std::vector<fs::path> gone = TakeUnwanted();
    Recount();
    return gone;
}

// Never the one that is written.
std::vector<fs::path> ChannelFiles::TakeUnwanted()
{
    std::vector<fs::path> paths;
    for (auto at = mSegments.begin(); at + 1 < mSegments.end();) {
        if (at->Last() <= mSafe && at->WantedBytes(mState.begin, mReadByAll) == 0) {
            paths.push_back(at->Path());
            at = mSegments.erase(at);
        } else {
            ++at;
        }
    }
    return paths;
}

void ChannelFiles::Lose(std::uint64_t upTo)
{
    mState.lost = std::max(mState.lost, upTo);
    mState.begin = std::max(mState.begin, upTo);
    mReadByAll = std::max(mReadByAll, upTo);
    mRecent.Trim(mState.begin, mReadByAll);
}

std::vector<fs::path> ChannelFiles::KeepBound()
{
    std::vector<fs::path> paths;
    if (mWanted <= mBound && !std::exchange(mGrown, false)) return paths;
    Recount();
    const auto footprint = [this] {
        std::size_t bytes = 0;
        for (const Segment& segment : mSegments) bytes += segment.End();
        return bytes;
    };
    while ((mWanted > mBound || footprint() > mBound + mBound / kFootprintPart) && mSegments.size() > 1) {
        Lose(mSegments.front().Last());
        paths.push_back(mSegments.front().Path());
        mSegments.pop_front();
        Recount();
    }
    while (mWanted > mBound && mRecent.Count() > 1) {  // what the disk has not taken
        mWanted -= mRecent.Items().front()->frames.size();
        Lose(mRecent.FirstSequence());
    }
    return paths;
}

bool ChannelFiles::ForgetOldest()
{
    if (mRecent.Empty() || mRecent.FirstSequence() > mSafe) return false;
    mCold = mRecent.DropFront();
    return true;
}

// --- reading ---------------------------------------------------------------------------------------

bool ChannelFiles::Read(std::uint64_t from, std::size_t bytes, LogChunk& chunk, ColdRead& wanted) const
{
    const auto segment = from >= mCold
                             ? mSegments.end()
                             : std::find_if(mSegments.begin(), mSegments.end(),
                                            [&](const Segment& known) { return known.Last() > from; });
    if (segment == mSegments.end()) {
        chunk = mRecent.Read(from, bytes);
        return true;
    }
    wanted = {segment->Path(), mChannel, segment->Mark(), segment->PlaceFor(from),
              segment->End(),  from,     mState.begin,    segment->Last()};
    return false;
}

void ChannelFiles::PutAside(const fs::path& path)
{
    const auto at = std::find_if(mSegments.begin(), mSegments.end(),
                                 [&](const Segment& known) { return known.Path() == path; });
    if (at == mSegments.end()) return;
    Lose(std::min(at->Last(), mCold));
    if (at->Last() > mCold || at + 1 == mSegments.end()) return;  // the rest of it stands in memory
    std::error_code ignored;
    fs::rename(path, Aside(path), ignored);
    mSegments.erase(at);
}

bool ChannelFiles::Holds(const fs::path& path, std::uint64_t mark) const
{
    return std::any_of(mSegments.begin(), mSegments.end(),
                       [&](const Segment& known) { return known.Mark() == mark && known.Path() == path; });
}

std::vector<std::pair<fs::path, std::uint64_t>> ChannelFiles::Files() const
{
    std::vector<std::pair<fs::path, std::uint64_t>> files;
    for (const Segment& segment : mSegments) {
        const bool written = mNow && segment.Path() == mNow->Path();
        files.emplace_back(segment.Path(), written ? mNow->Bytes() : segment.End());
    }
    return files;
}

// --- giving space back -----------------------------------------------------------------------------

// Under another name first, and written over only when that is safe: else a power cut could leave an old
// name with new entries behind it.
ChannelFiles::Journals ChannelFiles::Retire(const std::vector<fs::path>& paths)
{
    Journals retired;
    const std::size_t most =
        mHeld > 0 || mQuietTicks > 1 ? 0 : std::max<std::size_t>(2, kSpareBytes / mSegmentBytes);
    for (const fs::path& path : paths) {
        std::error_code ignored;
        if (mSpare.size() + mRetired >= most) {
            fs::remove(path, ignored);
            continue;
        }
        try {
            auto file = std::make_shared<Journal>(path, Marked::Yes);
            file->Rename(fs::path(path).replace_extension(".spare"));
            retired.push_back(std::move(file));
            ++mRetired;
        } catch (const std::system_error&) {
            fs::remove(path, ignored);
        }
    }
    if (!retired.empty()) mNow->NamesChanged();
    return retired;
}

void ChannelFiles::Reuse(const Journals& retired, bool safe)
{
    std::error_code ignored;
    mRetired -= retired.size();
    for (const auto& file : retired) {
        if (safe && mQuietTicks <= 1)
            mSpare.push_back(file);
        else
            fs::remove(file->Path(), ignored);
    }
}

void ChannelFiles::Tick()
{
    mAtLastTick = std::exchange(mAtTick, mAppended);
    if (++mQuietTicks > 1) {
        std::error_code ignored;
        for (const auto& file : mSpare) fs::remove(file->Path(), ignored);
        mSpare.clear();
    }
    if (!mOver || mAtLastTick != mAppended) return;
    try {
        mNow->Cut();
        mNow->Reserve(std::min(kReserveBytes, mSegmentBytes));
        mOver = false;
    } catch (const std::system_error&) {
        // at the next one then
    }
}

bool ChannelFiles::Idle() const
{
    const Segment& newest = mSegments.back();
    return mHeld == 0 && !mSuspect && newest.Last() > 0 && mAtLastTick == mAppended && mOnDisk == mAppended &&
           mSafe >= mAppended && newest.WantedBytes(mState.begin, mReadByAll) == 0;
}

void ChannelFiles::Restart()
{
    try {
        mNow->Begin();
        mNow->Cut();
    } catch (const std::system_error&) {
        mSuspect = true;  // under which mark it stands is not known: what comes goes to another one
    }
    mSegments.back() = Segment(mNow->Path(), mNow->Mark());
    mRollAt = mSegmentBytes;
}

std::size_t ChannelFiles::DeadBytes(const Segment& segment) const
{
    const std::size_t wanted = segment.WantedBytes(mState.begin, mReadByAll);
    return segment.Last() > mSafe || segment.End() < wanted ? 0 : segment.End() - wanted;
}

// The one with most dead bytes, with those beside it as long as all that is wanted fits into one.
std::optional<Thinning> ChannelFiles::ToThin() const
{
    if (!mThinnable || mSegments.size() < 2) return std::nullopt;
    const auto closed = mSegments.end() - 1;
    std::size_t dead = 0;
    auto from = mSegments.begin();
    for (auto at = from; at != closed; ++at) {
        dead += DeadBytes(*at);
        if (DeadBytes(*at) > DeadBytes(*from)) from = at;
    }
    if (dead <= mBound / kDeadPart) return std::nullopt;
    const auto wanted = [this](const Segment& one) { return one.WantedBytes(mState.begin, mReadByAll); };
    auto to = from + 1;
    std::size_t bytes = wanted(*from);
    for (; from != mSegments.begin() && bytes + wanted(*(from - 1)) <= mSegmentBytes; --from)
        bytes += wanted(*(from - 1));
    for (; to != closed && to->Last() <= mSafe && bytes + wanted(*to) <= mSegmentBytes; ++to)
        bytes += wanted(*to);
    Thinning thinning{{}, {}, {}, mChannel, mState.begin, mReadByAll};
    for (; from != to; ++from) {
        thinning.paths.push_back(from->Path());
        thinning.marks.push_back(from->Mark());
        thinning.ends.push_back(from->End());
    }
    return thinning;
}

std::vector<fs::path> ChannelFiles::Thinned(const Thinning& wanted, std::optional<Segment> thin)
{
    const fs::path& path = wanted.paths.front();
    const fs::path fresh = path.string() + ".new";
    std::error_code error;
    mThinnable = thin.has_value();
    bool still = mThinnable && thin->Last() > 0;
    for (std::size_t i = 0; i < wanted.paths.size(); ++i)
        still = still && Holds(wanted.paths[i], wanted.marks[i]);
    if (still) fs::rename(fresh, path, error);
    if (!still || error) {
        fs::remove(fresh, error);
        return {};
    }
    const auto first = std::find_if(mSegments.begin(), mSegments.end(),
                                    [&](const Segment& one) { return one.Path() == path; });
    *first = std::move(*thin);
    mSegments.erase(first + 1, first + static_cast<std::ptrdiff_t>(wanted.paths.size()));
    mNow->NamesChanged();
    Recount();
    return {wanted.paths.begin() + 1, wanted.paths.end()};
}

}  // namespace zephyl
