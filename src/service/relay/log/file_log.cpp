#include "service/relay/log/file_log.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "service/relay/log/stored.h"
#include "service/relay/log/stored.pb.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr std::uint32_t kFormat = 2;
constexpr std::uint64_t kSeatsBytes = 1024 * 1024;  // of the seats' file, before it is written anew
constexpr std::uint64_t kSeatsReserve = 64 * 1024;
constexpr std::size_t kLeastInMemory = 64 * 1024;  // of one meeting, however many there are
constexpr std::size_t kRepeatedBytes = 1024 * 1024;
constexpr int kOpeningShift = 32;

std::optional<stored::Head> StoredHead(const fs::path& folder)
{
    std::ifstream in(folder / "head", std::ios::binary);
    std::ostringstream bytes;
    stored::Head head;
    if (!in || !(bytes << in.rdbuf())) return std::nullopt;
    TakeEntries(bytes.view(), 0, 0, [&](std::string_view payload, std::uint64_t) {
        if (!head.ParseFromArray(payload.data(), static_cast<int>(payload.size()))) head.Clear();
    });
    if (head.format() != kFormat || head.id().empty()) return std::nullopt;
    return head;
}

}  // namespace

std::optional<MeetingHead> ReadHead(const fs::path& folder)
{
    const auto head = StoredHead(folder);
    if (!head) return std::nullopt;
    return MeetingHead{head->id(), head->code(), head->creator_key(), head->creator_stream()};
}

FileLog::FileLog(fs::path folder, MeetingHead head, const RelayBounds& bounds, LogRoom& room, Post post,
                 Trouble trouble)
    : mFolder(std::move(folder)),
      mHead(std::move(head)),
      mMemoryBound(bounds.logInMemory),
      mRoom(room),
      mMemory(room.memory),
      mPost(std::move(post)),
      mTrouble(std::move(trouble)),
      mTalk(mFolder, CHANNEL_TALK, bounds.talkKept),
      mBoard(mFolder, CHANNEL_BOARD, bounds.boardKept)
{
}

FileLog::~FileLog()
{
    *mMemory -= mCounted;
}

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
    std::string entry;
    AppendEntry(entry, head.SerializeAsString());
    ReplaceFile(mFolder / "head", entry);
    SyncFolder(mFolder.parent_path());
    mFirstSequence = std::uint64_t{head.openings()} << kOpeningShift;
}

LogContents FileLog::Open()
{
    OpenHead();
    LogContents contents;
    const fs::path path = mFolder / "seats";
    if (const auto kind = fs::symlink_status(path).type();
        kind != fs::file_type::regular && kind != fs::file_type::not_found)
        fs::rename(path, path.string() + ".damaged");
    const JournalEnd end = Journal(path).Load(
        [&](std::string_view payload, std::uint64_t) { LoadSeatsEntry(payload, contents); });
    std::error_code ignored;
    if (end == JournalEnd::Damaged) fs::copy_file(path, path.string() + ".damaged", ignored);
    for (const SeatEntry& seat : contents.seats) mSeatEntries[seat.number] = seat;
    mLost = contents.lost;
    if (!RewriteSeats(contents.numbers)) throw StartError("cannot write in " + mFolder.string());
    return contents;
}

Damage FileLog::Replay(const Take& take)
{
    const auto one = [&](const LogItem& item) {
        take(item);
        ShrinkMemory();
    };
    const Damage talk = mTalk.Load(mFirstSequence, mLost.talk, one);
    const Damage board = mBoard.Load(mFirstSequence, mLost.board, one);
    return talk == Damage::Found ? talk : board;
}

// At each opening, and when it has grown, with what still holds.
bool FileLog::RewriteSeats(const std::vector<NumbersEntry>& numbers)
{
    std::string entries;
    for (const auto& [number, seat] : mSeatEntries) StoreSeat(entries, seat);
    for (const NumbersEntry& entry : numbers) StoreNumbers(entries, entry);
    StoreLost(entries, mLost);
    try {
        ReplaceFile(mFolder / "seats", entries);
        auto seats = std::make_shared<Journal>(mFolder / "seats");
        seats->Load([](std::string_view, std::uint64_t) {});
        seats->Reserve(kSeatsReserve);
        mSeats = std::move(seats);
    } catch (const std::system_error&) {
        return false;
    }
    // Of those who are gone only the last one still says something: which numbers were given out; and who may
    // not come back.
    std::erase_if(mSeatEntries, [&](const auto& one) {
        return one.second.gone && !one.second.barred && one.first != mSeatEntries.rbegin()->first;
    });
    return true;
}

void FileLog::Remove()
{
    const auto remove = [folder = mFolder] {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    };
    remove();
    if (mThinning) mRoom.reads.Run(remove);  // behind what writes there now
}

// --- writing ---------------------------------------------------------------------------------------

void FileLog::Append(std::vector<ItemPtr> items, Done done)
{
    ++mWrites;
    for (ItemPtr& item : items) Of(item->channel).Add(std::move(item));
    if (mDisk != Disk::Refuses) WriteItems();
    if (done) done();
    Delete(CHANNEL_TALK, mTalk.KeepBound());
    Delete(CHANNEL_BOARD, mBoard.KeepBound());
    ShrinkMemory();
    AskSync();
}

void FileLog::WriteItems()
{
    const bool talk = mTalk.Write();
    const bool board = mBoard.Write();
    if (!talk || !board) Refuse();
}

void FileLog::Seat(const SeatEntry& entry)
{
    std::string stored;
    StoreSeat(stored, entry);
    mSeatEntries[entry.number] = entry;
    WriteSeats(std::move(stored));
    AskSync();
}

// What is not taken stands in what is written anew when there is room.
void FileLog::WriteSeats(std::string entries)
{
    ++mWrites;
    if (mDisk == Disk::Refuses) return;
    bool written = mSeats->Append(entries);
    if (written && mSeats->Bytes() > kSeatsBytes && mNumbers) written = RewriteSeats(mNumbers());
    if (!written) Refuse();
}

void FileLog::Refuse()
{
    const Disk before = std::exchange(mDisk, Disk::Refuses);
    if (before == Disk::Takes) mTrouble(true);
}

// At once and then at every tick, until a sync says that everything is there.
bool FileLog::Retry()
{
    if (!mNumbers || !mTalk.Write() || !mBoard.Write() || !RewriteSeats(mNumbers())) return false;
    mDisk = Disk::TakesAgain;
    mRetriedAt = ++mWrites;
    AskSync();
    return true;
}

// --- letting go ------------------------------------------------------------------------------------

void FileLog::Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll)
{
    Delete(channel, Of(channel).Trim(before, readByAll));
    ShrinkMemory();
    GiveSpaceBack(channel);
    if (channel != CHANNEL_BOARD) return;
    if (mDisk == Disk::Refuses) Retry();
    std::vector<std::function<void()>> reads;
    reads.swap(mReadsToRepeat);
    for (const auto& read : reads) read();
}

// What must outlive the items that go.
void FileLog::WriteMarks()
{
    mLost = {mTalk.State().lost, mBoard.State().lost};
    std::string entries;
    for (const NumbersEntry& entry : mNumbers()) StoreNumbers(entries, entry);
    StoreLost(entries, mLost);
    WriteSeats(std::move(entries));
    AskSync();
}

void FileLog::Delete(Channel channel, std::vector<fs::path> paths)
{
    if (paths.empty()) return;
    WriteMarks();
    WhenSynced([this, channel, paths = std::move(paths)] {
        const auto retired = Of(channel).Retire(paths);
        if (!retired.empty())
            WhenSynced([this, channel, retired] { Of(channel).Reuse(retired, mDisk == Disk::Takes); });
    });
}

// Once a second. What only says which numbers were given out is written elsewhere first.
void FileLog::GiveSpaceBack(Channel channel)
{
    Of(channel).Tick();
    if (mDisk != Disk::Takes || !mNumbers) return;
    if (Of(channel).Idle()) {
        WriteMarks();
        WhenSynced([this, channel] {
            if (mDisk == Disk::Takes && Of(channel).Idle()) Of(channel).Restart();
        });
    }
    ThinOut(channel);
}

void FileLog::ThinOut(Channel channel)
{
    auto wanted = mThinning || mDisk != Disk::Takes ? std::nullopt : Of(channel).ToThin();
    if (!wanted) return;
    mThinning = true;
    WriteMarks();
    WhenSynced([this, wanted = std::move(*wanted)] {
        mRoom.reads.Run([this, post = mPost, alive = std::weak_ptr<int>(mAlive), wanted] {
            const auto thin = std::make_shared<std::optional<Segment>>(Thin(wanted));
            post([this, alive, wanted, thin] {
                if (!alive.expired()) EndThinning(wanted, std::move(*thin));
            });
        });
    });
}

// Its other parts stand until no power cut can bring back the first one as it was.
void FileLog::EndThinning(const Thinning& wanted, std::optional<Segment> thin)
{
    mThinning = false;
    auto gone = Of(wanted.channel).Thinned(wanted, std::move(thin));
    WhenSynced([gone = std::move(gone)] {
        std::error_code ignored;
        for (const fs::path& path : gone) fs::remove(path, ignored);
    });
    ThinOut(wanted.channel);
}

void FileLog::ShrinkMemory()
{
    const auto inMemory = [this] { return mTalk.MemoryBytes() + mBoard.MemoryBytes(); };
    const auto count = [&] {
        const std::size_t now = inMemory();
        *mMemory += now - mCounted;
        mCounted = now;
    };
    count();
    while (mCounted > mMemoryBound || (mCounted > kLeastInMemory && *mMemory > mRoom.memoryBound)) {
        ChannelFiles& larger = mTalk.MemoryBytes() > mBoard.MemoryBytes() ? mTalk : mBoard;
        ChannelFiles& other = &larger == &mTalk ? mBoard : mTalk;
        if (!larger.ForgetOldest() && !other.ForgetOldest()) return;
        count();
    }
}

// --- reading ---------------------------------------------------------------------------------------

void FileLog::Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done)
{
    LogChunk chunk;
    ColdRead wanted;
    if (Of(channel).Read(from, bytes, chunk, wanted)) return done(std::move(chunk));
    ReadFromFile(wanted, std::move(done));
}

// A file that was written anew or over meanwhile is looked up again.
void FileLog::ReadFromFile(const ColdRead& wanted, ReadDone done)
{
    mRoom.reads.Run([this, post = mPost, alive = std::weak_ptr<int>(mAlive), wanted, done = std::move(done)] {
        auto chunk = std::make_shared<LogChunk>();
        const ColdResult result = ReadCold(wanted, *chunk);
        post([this, alive, wanted, done, chunk, result] {
            if (alive.expired()) return;
            if (result == ColdResult::Busy) {
                mReadsToRepeat.push_back([this, wanted, done] { ReadFromFile(wanted, done); });
                return;
            }
            if (result == ColdResult::Damaged && !Of(wanted.channel).Holds(wanted.path, wanted.mark))
                return Read(wanted.channel, wanted.from, kRepeatedBytes, done);
            if (result == ColdResult::Damaged) {
                Of(wanted.channel).PutAside(wanted.path);
                WriteMarks();
                *chunk = {{}, wanted.from};  // what it misses is said by the channel's state
            }
            done(std::move(*chunk));
        });
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
    ChannelFiles::Journals files;
    mTalk.TakeToSync(files);
    mBoard.TakeToSync(files);
    files.push_back(mSeats);
    // What is written while the sync runs waits for the next one.
    const Covered covered{mWrites, {mTalk.Appended(), mBoard.Appended()}, {mTalk.OnDisk(), mBoard.OnDisk()}};
    mRoom.sync.Ask(std::move(files),
                   [this, post = mPost, alive = std::weak_ptr<int>(mAlive), covered](bool synced) {
                       post([this, alive, covered, synced] {
                           if (!alive.expired()) OnSynced(synced, covered);
                       });
                   });
}

// A disk that has not kept what it took is given it again at once, in other files, and nothing counts as
// safe before that is. While it refuses that too, what the meeting has in memory counts: it must go on.
void FileLog::OnSynced(bool synced, const Covered& covered)
{
    mSyncing = false;
    if (synced) {
        mTalk.Safe(covered.onDisk.talk);
        mBoard.Safe(covered.onDisk.board);
        if (mDisk == Disk::TakesAgain && covered.writes >= mRetriedAt) {
            mDisk = Disk::Takes;
            mTrouble(false);
        }
    } else {
        mTalk.Distrust();
        mBoard.Distrust();
        const bool first = mDisk == Disk::Takes;
        Refuse();
        if (first && Retry()) return;
    }
    ShrinkMemory();
    if (mSafe) mSafe(covered.appended);
    while (!mWaiters.empty() && mWaiters.front().writes <= covered.writes) {
        const Done done = std::move(mWaiters.front().done);
        mWaiters.pop_front();
        done();
    }
    if (mWrites > covered.writes) AskSync();
}

}  // namespace zephyl
