#include "service/relay/channel_files.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <system_error>

#include "service/relay/identity.h"
#include "service/relay/stored.h"

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

// By their first sequence, which their names count in equal width.
std::vector<fs::path> SegmentsOf(const fs::path& folder, const std::string& name)
{
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().extension() == ".log" && entry.path().filename().string().starts_with(name + "-"))
            found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
}

// At no moment is there neither the file nor the part of it that could be read.
void SaveAndPutAside(const fs::path& path, std::uint64_t soundBytes)
{
    std::string sound(soundBytes, '\0');
    std::ifstream(path, std::ios::binary).read(sound.data(), static_cast<std::streamsize>(sound.size()));
    std::error_code there;
    fs::create_hard_link(path, path.string() + ".damaged", there);
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

Damage ChannelFiles::Load(std::uint64_t end, std::uint64_t lost, const MeetingLog::Take& take)
{
    mSegments.clear();  // of an attempt that failed half way
    mRecent = ItemQueue();
    mAppended = mOnDisk = mSafe = mCold = 0;
    mState.lost = mState.begin = lost;
    Damage damage = Damage::None;
    const std::vector<fs::path> paths = SegmentsOf(mFolder, NameOf(mChannel));
    for (const fs::path& path : paths)
        if (LoadSegment(path, path == paths.back(), take) == Damage::Found) damage = Damage::Found;
    mAppended = mOnDisk = mSafe = mState.end = end;
    Roll(end);
    Recount();
    return damage;
}

// The newest one may end in a write that was cut short; in the others that is damage, too.
Damage ChannelFiles::LoadSegment(const fs::path& path, bool newest, const MeetingLog::Take& take)
{
    Segment segment(path);
    Journal journal(path);
    const JournalEnd state = journal.Load([&](std::string_view payload, std::uint64_t at) {
        ItemPtr item = LoadItem(mChannel, payload);
        if (!item || item->sequence <= mAppended || item->sequence <= mState.lost) return;
        mAppended = mSafe = item->sequence;
        segment.Note(*item, at, at + EntryBytes(payload.size()));
        take(*item);
        Add(std::move(item));
    });
    const bool damaged = state == JournalEnd::Damaged || (state == JournalEnd::Torn && !newest);
    if (damaged)
        SaveAndPutAside(path, journal.Bytes());
    else if (segment.Last() == 0)
        fs::remove(path);
    else if (state == JournalEnd::Torn)
        journal.Cut();
    if (!damaged && segment.Last() > 0 && !journal.Sync()) throw StartError("cannot sync " + path.string());
    if (segment.Last() > 0) mSegments.push_back(std::move(segment));
    return damaged ? Damage::Found : Damage::None;
}

fs::path ChannelFiles::SegmentPath(std::uint64_t first) const
{
    char name[40];
    std::snprintf(name, sizeof name, "%s-%020llu.log", NameOf(mChannel),
                  static_cast<unsigned long long>(first));
    return mFolder / name;
}

// --- writing ---------------------------------------------------------------------------------------

void ChannelFiles::Roll(std::uint64_t first)
{
    auto next = std::make_shared<Journal>(SegmentPath(first));
    next->Load([](std::string_view, std::uint64_t) {});
    next->Reserve(std::min(kReserveBytes, mSegmentBytes));
    if (mNow) mFull.push_back(mNow);
    mNow = std::move(next);
    mSegments.emplace_back(mNow->Path());
    mRollAt = mSegmentBytes;
}

// Where no file can be made the old one goes on.
void ChannelFiles::TryRoll()
{
    try {
        Roll(mAppended + 1);
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
    while (mOnDisk < mAppended) {
        const auto& items = mRecent.Items();
        auto at = items.end();
        while (at != items.begin() && (*(at - 1))->sequence > mOnDisk) --at;
        std::string& entries = mEntries;
        entries.clear();
        mPlaces.clear();
        const std::uint64_t place = mNow->Bytes();
        const auto first = at;
        for (; at != items.end() && entries.size() < kLargestSegment; ++at) {
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
    if (mNow->Bytes() > 0) TryRoll();
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
    if (mWanted <= mBound) return paths;
    Recount();
    while (mWanted > mBound && mSegments.size() > 1) {
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
    wanted = {segment->Path(), mChannel,       segment->PlaceFor(from), segment->End(), from,
              mState.begin,    segment->Last()};
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
    fs::rename(path, path.string() + ".damaged", ignored);
    mSegments.erase(at);
}

}  // namespace zephyl
