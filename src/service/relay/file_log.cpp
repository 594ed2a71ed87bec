#include "service/relay/file_log.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "service/relay/identity.h"
#include "service/relay/stored.h"
#include "service/relay/stored.pb.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr std::uint32_t kFormat = 1;
constexpr std::uint64_t kSegmentBytes = 8 * 1024 * 1024;
constexpr std::uint64_t kReserveBytes = 1024 * 1024;
constexpr std::uint64_t kSeatsBytes = 1024 * 1024;  // of the seats' file, before it is written anew
constexpr int kOpeningShift = 32;

std::optional<stored::Head> StoredHead(const fs::path& folder)
{
    std::ifstream in(folder / "head", std::ios::binary);
    std::ostringstream bytes;
    stored::Head head;
    if (!in || !(bytes << in.rdbuf()) || !head.ParseFromString(bytes.str())) return std::nullopt;
    if (head.format() != kFormat || head.id().empty()) return std::nullopt;
    return head;
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

}  // namespace

std::optional<MeetingHead> ReadHead(const fs::path& folder)
{
    const auto head = StoredHead(folder);
    if (!head) return std::nullopt;
    return MeetingHead{head->id(), head->code(), head->creator_key(), head->creator_stream()};
}

FileLog::FileLog(fs::path folder, MeetingHead head, const RelayBounds& bounds, SyncThread& sync, Post post,
                 Trouble trouble)
    : mFolder(std::move(folder)),
      mHead(std::move(head)),
      mSync(sync),
      mPost(std::move(post)),
      mTrouble(std::move(trouble)),
      mMemory(bounds)
{
}

FileLog::~FileLog() = default;

// --- opening ---------------------------------------------------------------------------------------

// Each opening counts sequences from a place of its own: what a power cut took from the end is posted again
// under higher ones, so no cursor ever stands in front of something that it has not seen.
void FileLog::OpenHead()
{
    PreparePrivateFolder(mFolder);
    stored::Head head = StoredHead(mFolder).value_or(stored::Head());
    head.set_format(kFormat);
    head.set_id(mHead.id);
    head.set_code(mHead.code);
    head.set_creator_key(mHead.creatorKey);
    head.set_creator_stream(mHead.creatorStream);
    head.set_openings(head.openings() + 1);
    ReplaceFile(mFolder / "head", head.SerializeAsString());
    SyncFolder(mFolder.parent_path());
    mWritten.talk = mWritten.board = std::uint64_t{head.openings()} << kOpeningShift;
}

LogContents FileLog::Open()
{
    OpenHead();
    LogContents contents;
    LoadPart(mTalk, CHANNEL_TALK, contents);
    LoadPart(mBoard, CHANNEL_BOARD, contents);
    LoadSeats(contents);
    std::stable_sort(contents.items.begin(), contents.items.end(),
                     [](const ItemPtr& a, const ItemPtr& b) { return a->sequence < b->sequence; });
    mMemory.Restore(contents.items, mWritten.talk);
    mSafeUpTo = mWritten;
    return contents;
}

void FileLog::LoadPart(Part& part, Channel channel, LogContents& contents)
{
    std::string saved;  // the good part of damaged segments
    for (const fs::path& path : SegmentsOf(mFolder, part.name)) {
        auto segment = std::make_shared<Journal>(path);
        std::string good;
        std::uint64_t last = 0;
        const JournalEnd end = segment->Load([&](std::string_view payload) {
            ItemPtr item = LoadItem(channel, payload);
            if (!item) return;
            StoreItem(good, *item);
            last = item->sequence;
            contents.items.push_back(std::move(item));
        });
        if (end == JournalEnd::Damaged) {
            saved += good;
            fs::rename(path, path.string() + ".damaged");
        } else if (last == 0) {
            fs::remove(path);
        } else if (!segment->Sync()) {
            throw StartError("cannot sync " + path.string());
        } else {
            part.full.push_back({path, last});
        }
    }
    NewSegment(part, mWritten[channel]);
    if (saved.empty()) return;
    part.last = mWritten[channel];  // it goes when everything of before this opening may go
    if (!part.now->Append(saved) || !part.now->Sync())
        throw StartError("cannot write in " + mFolder.string());
}

// Rewritten at each opening with what still holds.
void FileLog::LoadSeats(LogContents& contents)
{
    const fs::path path = mFolder / "seats";
    Journal(path).Load([&](std::string_view payload) { LoadSeatsEntry(payload, contents); });
    for (const SeatEntry& seat : contents.seats) mSeatEntries[seat.number] = seat;
    RewriteSeats(contents.numbers);
}

void FileLog::RewriteSeats(const std::vector<NumbersEntry>& numbers)
{
    std::string entries;
    for (const auto& [number, seat] : mSeatEntries) StoreSeat(entries, seat);
    for (const NumbersEntry& entry : numbers) StoreNumbers(entries, entry);
    ReplaceFile(mFolder / "seats", entries);
    mSeats.now = std::make_shared<Journal>(mFolder / "seats");
    mSeats.now->Load([](std::string_view) {});
    // Of those who are gone only the last one still says something: which numbers were given out.
    std::erase_if(mSeatEntries, [&](const auto& one) {
        return one.second.gone && one.first != mSeatEntries.rbegin()->first;
    });
}

void FileLog::Remove()
{
    std::error_code ignored;
    fs::remove_all(mFolder, ignored);
}

// --- writing ---------------------------------------------------------------------------------------

void FileLog::NewSegment(Part& part, std::uint64_t first)
{
    char name[32];
    std::snprintf(name, sizeof name, "-%020llu.log", static_cast<unsigned long long>(first));
    if (part.now) {
        part.full.push_back({part.now->Path(), part.last});
        mToSync.push_back(part.now);
    }
    part.now = std::make_shared<Journal>(mFolder / (part.name + name));
    part.now->Load([](std::string_view) {});
    part.now->Reserve(kReserveBytes);
    SyncFolder(mFolder);
}

void FileLog::SetRefused(bool refused)
{
    if (mRefused == refused) return;
    mRefused = refused;
    if (mTrouble) mTrouble(refused);
}

void FileLog::Write(Part& part, const std::string& entries)
{
    ++mWrites;
    part.unwritten += entries;
    const bool written = part.now->Append(part.unwritten);
    if (written) part.unwritten.clear();
    SetRefused(!written);
}

void FileLog::Append(std::vector<ItemPtr> items, Done done)
{
    std::string talk, board;
    for (const ItemPtr& item : items) {
        StoreItem(item->channel == CHANNEL_TALK ? talk : board, *item);
        mWritten[item->channel] = item->sequence;
    }
    for (const Channel channel : {CHANNEL_TALK, CHANNEL_BOARD}) {
        const std::string& entries = channel == CHANNEL_TALK ? talk : board;
        Part& part = Of(channel);
        if (entries.empty()) continue;
        Write(part, entries);
        part.last = mWritten[channel];
        if (part.now->Bytes() > kSegmentBytes) NewSegment(part, mWritten[channel] + 1);
    }
    mMemory.Append(std::move(items), std::move(done));
    AskSync();
}

void FileLog::Seat(const SeatEntry& entry)
{
    std::string stored;
    StoreSeat(stored, entry);
    mSeatEntries[entry.number] = entry;
    Write(mSeats, stored);
    if (mSeats.now->Bytes() > kSeatsBytes && mNumbers && !mRefused) RewriteSeats(mNumbers());
    AskSync();
}

void FileLog::Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done)
{
    mMemory.Read(channel, from, bytes, std::move(done));
}

// Only what is safe goes, and only because of what is safe.
void FileLog::Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll)
{
    readByAll = std::min(readByAll, mSafeUpTo[channel]);
    if (before > mSafeUpTo[channel]) before = 0;
    mMemory.Trim(channel, before, readByAll);
    const ChannelState state = mMemory.State(channel);
    std::uint64_t gone = channel == CHANNEL_TALK ? readByAll : std::min(state.begin, readByAll);
    DropSegments(Of(channel), std::max(gone, state.lost));
    for (Part* part : {&mTalk, &mBoard, &mSeats})  // there may be room again
        if (!part->unwritten.empty()) Write(*part, "");
}

void FileLog::DropSegments(Part& part, std::uint64_t upTo)
{
    if (part.full.empty() || part.full.front().last > upTo) return;
    std::vector<fs::path> paths;
    for (; !part.full.empty() && part.full.front().last <= upTo; part.full.pop_front())
        paths.push_back(part.full.front().path);
    std::string numbers;
    if (mNumbers)
        for (const NumbersEntry& entry : mNumbers()) StoreNumbers(numbers, entry);
    Write(mSeats, numbers);
    WhenSynced([paths] {
        std::error_code ignored;
        for (const fs::path& path : paths) fs::remove(path, ignored);
    });
}

// --- making it last --------------------------------------------------------------------------------

void FileLog::WhenSynced(Done done)
{
    mWaiters.push_back({++mWrites, std::move(done)});
    AskSync();
}

void FileLog::AskSync()
{
    if (mSyncing) return;
    mSyncing = true;
    std::vector<std::shared_ptr<Journal>> files{mTalk.now, mBoard.now, mSeats.now};
    files.insert(files.end(), mToSync.begin(), mToSync.end());
    mToSync.clear();
    // What is written while the sync runs waits for the next one.
    mSync.Ask(std::move(files), [this, post = mPost, alive = std::weak_ptr<int>(mAlive), writes = mWrites,
                                 upTo = mWritten](bool synced) {
        post([this, alive, writes, upTo, synced] {
            if (alive.expired()) return;
            if (!synced) SetRefused(true);
            OnSynced(writes, upTo);
        });
    });
}

void FileLog::OnSynced(std::uint64_t writes, const Sequences& upTo)
{
    mSyncing = false;
    mSafeUpTo = upTo;
    if (mSafe) mSafe(upTo);
    while (!mWaiters.empty() && mWaiters.front().writes <= writes) {
        const Done done = std::move(mWaiters.front().done);
        mWaiters.pop_front();
        done();
    }
    if (mWrites > writes) AskSync();
}

}  // namespace zephyl
