#include "service/relay/log/file_log.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <system_error>

#include "service/relay/log/stored.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr std::uint64_t kSeatsBytes = 1024 * 1024;  // of the seats' file, before it is written anew
constexpr std::uint64_t kSeatsReserve = 64 * 1024;
constexpr std::size_t kLeastInMemory = 64 * 1024;  // of one meeting, however many there are
constexpr std::size_t kRepeatedBytes = 1024 * 1024;
}  // namespace

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

LogContents FileLog::Open()
{
    PreparePrivateFolder(mFolder);
    mOpening = OpenHead(mFolder, mHead);
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

Replayed FileLog::Replay(const Take& take)
{
    Replayed replayed;
    replayed.headLost = mOpening.headLost;
    const auto one = [&](const LogItem& item) {
        take(item);
        ShrinkMemory();
    };
    mTalk.Load(mOpening.firstSequence, mLost.talk, one, replayed);
    mBoard.Load(mOpening.firstSequence, mLost.board, one, replayed);
    return replayed;
}

// At each opening, and when it has grown, with what still holds.
bool FileLog::RewriteSeats(const std::vector<NumbersEntry>& numbers)
{
    std::string entries = mOpening.entry;
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
    OnlyWhenSafe([this, channel, paths = std::move(paths)] {
        const auto retired = Of(channel).Retire(paths);
        if (!retired.empty())
            OnlyWhenSafe([this, channel, retired] { Of(channel).Reuse(retired, mDisk == Disk::Takes); });
    });
}

// Once a second. What only says which numbers were given out is written elsewhere first.
void FileLog::GiveSpaceBack(Channel channel)
{
    Of(channel).Tick();
    if (mDisk != Disk::Takes || !mNumbers) return;
    if (Of(channel).Idle()) {
        WriteMarks();
        OnlyWhenSafe([this, channel] {
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
    OnlyWhenSafe([this, wanted = std::move(*wanted)] {
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
    OnlyWhenSafe([gone = std::move(gone)] {
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

// --- copying ---------------------------------------------------------------------------------------

std::vector<LogPart> FileLog::Hold()
{
    if (mDisk == Disk::Refuses)
        throw std::runtime_error("its disk takes nothing, so a part is in memory only");
    std::vector<LogPart> parts;
    const auto add = [&](const fs::path& path, std::uint64_t most) {
        files::Descriptor file = files::OpenRegular(path, O_RDONLY | O_NOFOLLOW, files::Owner::Us);
        struct stat info {};
        if (::fstat(file.Number(), &info) != 0) throw std::system_error(errno, std::generic_category(), path);
        const std::uint64_t bytes = std::min<std::uint64_t>(most, static_cast<std::uint64_t>(info.st_size));
        parts.push_back({path.filename(), std::move(file), bytes});
    };
    const auto all = ~std::uint64_t{0};
    if (mSeats) {
        add(mFolder / "head", all);
        add(mSeats->Path(), mSeats->Bytes());
        for (const ChannelFiles* channel : {&mTalk, &mBoard})
            for (const auto& [path, bytes] : channel->Files()) add(path, bytes);
    } else {
        for (const auto& entry : fs::directory_iterator(mFolder)) {
            const std::string name = entry.path().filename();
            if (name == "head" || name == "seats" || entry.path().extension() == ".log")
                add(entry.path(), all);
        }
    }
    mTalk.Hold(true);
    mBoard.Hold(true);
    return parts;
}

void FileLog::Release()
{
    mTalk.Hold(false);
    mBoard.Hold(false);
}

// --- making it last --------------------------------------------------------------------------------

void FileLog::WhenSynced(Done done)
{
    mWaiters.push_back({++mWrites, std::move(done)});
    AskSync();
}

// What takes something away waits for a sync that has not failed.
void FileLog::OnlyWhenSafe(Done done)
{
    mPatient.push_back({++mWrites, std::move(done)});
    AskSync();
}

void FileLog::RunWaiters(std::deque<Waiter>& waiters, std::uint64_t writes)
{
    while (!waiters.empty() && waiters.front().writes <= writes) {
        const Done done = std::move(waiters.front().done);
        waiters.pop_front();
        done();
    }
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
    RunWaiters(mWaiters, covered.writes);
    if (synced) RunWaiters(mPatient, covered.writes);
    if (mWrites > covered.writes) AskSync();
}

}  // namespace zephyl
