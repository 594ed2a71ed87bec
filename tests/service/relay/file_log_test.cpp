// The log in files by itself: what it holds in memory, what goes at a bound, and a disk that refuses.

#include "service/relay/log/file_log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/asio/io_context.hpp>
#include <fstream>
#include <random>

#include "service/relay/log/stored.h"
#include "service/relay/temporary_folder.h"
#include "service/relay/test_disk.h"

namespace zephyl {
namespace {

namespace fs = std::filesystem;
constexpr std::size_t kMiB = 1024 * 1024;
const unsigned kSeeds = std::getenv("LOG_SEEDS") ? std::stoul(std::getenv("LOG_SEEDS")) : 40;

class FileLogTest : public testing::Test {
protected:
    FileLogTest() { bounds.logInMemory = 4 * kMiB; }
    void TearDown() override
    {
        log.reset();
        disk.room = TestDisk::kEnough;
        disk.failingSyncs = 0;
    }

    /// As after a kill: nothing was said to the one before.
    Sequences Open()
    {
        Wait();
        log.reset();
        log = std::make_unique<FileLog>(
            at, MeetingHead{"id", "code", "key", 1}, bounds, room,
            [this](auto work) { boost::asio::post(io, std::move(work)); },
            [this](bool refused) { trouble += refused ? '-' : '+'; });
        const LogContents contents = log->Open();
        Sequences last = contents.lost;
        seats = contents.seats.size();
        log->NumbersFrom([] { return std::vector<NumbersEntry>(); });
        replayed = log->Replay([&](const LogItem& item) {
            last[item.channel] = item.sequence;
            if (onReplay) onReplay(item);
        });
        return last;
    }
    /// Another meeting's, in a folder of its own.
    void OpenNew(const std::string& name)
    {
        at = folder.path / name;
        log.reset();
        trouble.clear();
        onReplay = {};
        Open();
    }
    /// The next one. 'P': a pointer record.
    std::shared_ptr<LogItem> Item(Channel channel, std::size_t bytes, char letter)
    {
        auto item = std::make_shared<LogItem>();
        item->channel = channel;
        item->everyone = true;
        item->kept = channel == CHANNEL_BOARD && letter != 'P';
        item->frames = std::string(bytes, letter);
        item->sequence = log->Next(channel);
        return item;
    }
    void Add(Channel channel, std::size_t bytes, int count = 1, char letter = 0)
    {
        for (int i = 0; i < count; ++i)
            log->Append({Item(channel, bytes, letter ? letter : static_cast<char>('a' + i % 25))}, {});
        Wait();
    }
    void Tick()
    {
        log->Trim(CHANNEL_BOARD, 0, 0);
        Wait();
    }
    /// Until everything so far is safe.
    void Wait()
    {
        bool safe = !log;
        if (log) log->WhenSynced([&] { safe = true; });
        while (!safe) Turn();
    }
    void Turn()
    {
        io.restart();
        io.run_one_for(std::chrono::seconds(10));
    }
    /// All items behind a cursor but pointer records, and whether each is what was written.
    int Count(Channel channel, std::uint64_t from)
    {
        int count = 0;
        for (bool more = true; more;) {
            std::optional<LogChunk> chunk;
            log->Read(channel, from, kMiB, [&](LogChunk read) { chunk = std::move(read); });
            while (!chunk) Turn();
            for (const ItemPtr& item : chunk->items) {
                EXPECT_GT(item->sequence, from);
                EXPECT_EQ(item->frames.find_first_not_of(item->frames[0]), std::string::npos);
                from = item->sequence;
                if (item->frames[0] != 'P') ++count;
            }
            more = chunk->upTo > from || !chunk->items.empty();
            from = std::max(from, chunk->upTo);
        }
        return count;
    }
    fs::path Oldest(const std::string& part) const
    {
        fs::path oldest;
        for (const auto& entry : fs::directory_iterator(at))
            if (entry.path().filename().string().starts_with(part + "-") &&
                (oldest.empty() || entry.path() < oldest))
                oldest = entry.path();
        return oldest;
    }

    TestDisk& disk = TestDisk::The();
    TemporaryFolder folder;
    fs::path at = folder.path / "meeting";
    RelayBounds bounds;
    boost::asio::io_context io;
    LogRoom room{kLogsInMemoryBytes};
    std::unique_ptr<FileLog> log;
    std::string trouble;
    Replayed replayed;
    std::size_t seats = 0;
    MeetingLog::Take onReplay;
};

TEST_F(FileLogTest, DamageIsPutAsideAndTheRestIsRead)
{
    bounds.boardKept = 16 * kMiB;
    bounds.logInMemory = 0;
    Open();
    Add(CHANNEL_BOARD, 100'000, 50);
    const auto spoil = [&](std::streamoff place) {
        std::fstream(Oldest("board"), std::ios::in | std::ios::out | std::ios::binary)
            .seekp(place)
            .write("xxxx", 4);
    };
    spoil(350'000);
    Open();
    EXPECT_EQ(replayed.damage, Damage::Found);
    EXPECT_TRUE(fs::exists(Oldest("board").string() + ".damaged"));
    EXPECT_EQ(Count(CHANNEL_BOARD, 0), 50 - 8);  // eleven in that file, three of them in front of the damage
    spoil(150'000);                              // while it is served
    EXPECT_EQ(Count(CHANNEL_BOARD, 0), 1);
    const std::uint64_t lost = log->State(CHANNEL_BOARD).lost;
    EXPECT_EQ(Count(CHANNEL_BOARD, lost), 39);  // who had not read it finds that said
}

// Whatever was kept in memory, in however many segments, is in the files once it is said to be.
TEST_F(FileLogTest, GoesOnInMemoryWhileTheDiskTakesNothing)
{
    bounds.boardKept = bounds.talkKept = 16 * kMiB;  // segments of 1 MiB
    const struct {
        const char* what;
        std::size_t bytes;
        int items;
        std::vector<long long> rooms;  // one after another, until there is enough
    } rows[] = {
        {"less than a segment", 100'000, 5, {0}},
        {"several segments", 170'000, 60, {200'000}},
        {"items larger than one", 3 * kMiB, 4, {0}},
        {"full again in the middle of each pass", 170'000, 60, {0, 900'000, 3'000'000, 2'000'000}},
        {"full again between the channels", 300'000, 20, {0, 6'200'000}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        OpenNew(row.what);
        for (const Channel channel : {CHANNEL_TALK, CHANNEL_BOARD}) Add(channel, 100'000, 5);
        Sequences safe;
        log->WhenSafe([&](const Sequences& upTo) { safe = upTo; });
        for (const long long left : row.rooms) {
            disk.room = left;
            if (left == row.rooms.front())
                for (const Channel channel : {CHANNEL_TALK, CHANNEL_BOARD})
                    Add(channel, row.bytes, row.items);
            log->Seat({});
            Tick();
            EXPECT_EQ(trouble, "-");
            EXPECT_EQ(safe.talk, log->State(CHANNEL_TALK).end);
            EXPECT_EQ(Count(CHANNEL_TALK, 0), 5 + row.items);
        }
        disk.room = TestDisk::kEnough;
        Tick();
        EXPECT_EQ(trouble, "-+");
        for (int kill = 0; kill < 2; ++kill) {
            for (const Channel channel : {CHANNEL_TALK, CHANNEL_BOARD}) {
                EXPECT_EQ(Count(channel, 0), 5 + row.items + kill);
                Add(channel, 10);
            }
            Open();
            EXPECT_EQ(replayed.damage, Damage::None);
        }
    }
}

TEST_F(FileLogTest, WhatAFailedSyncMayHaveDroppedIsWrittenAgainBeforeItCounts)
{
    for (const int failures : {1, 2, 5}) {
        SCOPED_TRACE(failures);
        OpenNew(std::to_string(failures));
        Add(CHANNEL_TALK, 1000, 3);
        std::uint64_t safe = 0;
        log->WhenSafe([&](const Sequences& upTo) {
            EXPECT_TRUE(upTo.talk == safe || failures > 1 || disk.failingSyncs == 0);
            safe = upTo.talk;
        });
        disk.failingSyncs = failures;
        Add(CHANNEL_TALK, 1000, 3, 'z');
        while (disk.failingSyncs > 0) Tick();
        Tick();
        EXPECT_EQ(safe, log->State(CHANNEL_TALK).end);
        EXPECT_EQ(trouble, "-+");
        Open();
        EXPECT_EQ(Count(CHANNEL_TALK, 0), 6);
    }
}

// Pointer records between strokes: their space comes back, and a copy of the folder at any moment is whole.
TEST_F(FileLogTest, AFolderHoldsLittleMoreThanWhatIsWanted)
{
    bounds.boardKept = 16 * kMiB;
    bounds.logInMemory = 0;
    Open();
    const fs::path own = at;
    for (int round = 1; round <= 40; ++round) {
        Add(CHANNEL_BOARD, 20'000, 3);
        Add(CHANNEL_BOARD, 20'000, 60, 'P');
        log->Trim(CHANNEL_BOARD, 0, log->State(CHANNEL_BOARD).end);
        for (int turn = 0; turn < round % 7; ++turn) Turn();
        if (round % 5 != 0) continue;
        Wait();
        const fs::path copy = folder.path / std::to_string(round);
        fs::copy(own, copy);
        std::uintmax_t bytes = 0;
        for (const auto& entry : fs::directory_iterator(copy)) bytes += fs::file_size(entry);
        EXPECT_LT(bytes, 20 * kMiB);
        EXPECT_EQ(Count(CHANNEL_BOARD, 0), 3 * round);
        auto kept = std::move(log);
        at = copy;
        Open();
        EXPECT_EQ(replayed.damage, Damage::None);
        log->Trim(CHANNEL_BOARD, 0, log->State(CHANNEL_BOARD).end);
        EXPECT_EQ(Count(CHANNEL_BOARD, 0), 3 * round);
        log = std::move(kept);
        at = own;
    }
}

/// What a test has told the log and was told by it, held against what an opening finds.
struct Told {
    struct One {
        std::size_t bytes;
        char letter;
    };
    std::map<std::uint64_t, One> items;      // of one channel, by sequence
    std::uint64_t delivered = 0, safe = 0;   // while the disk took all
    std::uint64_t begin = 0, readByAll = 0;  // as Trim was told
    std::uint64_t lost = 0;
    bool Needs(std::uint64_t sequence, const One& one, bool killed, bool trouble) const
    {
        const bool passing = one.letter == 'P';
        return sequence <= (killed && !trouble ? delivered : safe) && sequence > lost &&
               sequence > (passing ? readByAll : begin);
    }
};

// A kill, and a loss of power, between any two steps of whatever the log does.
TEST_F(FileLogTest, AtNoMomentIsAnythingMissingThatWasSaidToBeThere)
{
    bounds.boardKept = bounds.talkKept = 2 * kMiB;  // segments of 128 KiB
    struct Moment {
        fs::path at;
        bool killed, trouble;
        std::map<Channel, Told> told;
    };
    for (unsigned seed = 0; seed < kSeeds / 8; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::map<Channel, Told> told;
        std::deque<Moment> moments;
        OpenNew(std::to_string(seed));
        disk.Watch(at);
        disk.drops = false;
        const auto healthy = [&] { return trouble.empty() || trouble.back() == '+'; };
        log->WhenSafe([&](const Sequences& upTo) {
            for (auto& [channel, one] : told)
                if (healthy()) one.safe = std::max(one.safe, upTo[channel]);
        });
        disk.beforeSteps = [&] {
            if (random() % 100 != 0) return;
            for (auto& [channel, one] : told) one.lost = log->State(channel).lost;
            const fs::path copy = at.string() + "-" + std::to_string(moments.size());
            moments.push_back({copy, random() % 2 == 0, !healthy(), told});
            if (moments.back().killed)
                disk.CopyAfterKill(copy);
            else
                disk.CopyAfterPowerCut(copy, random);
        };
        for (int step = 0; step < 80; ++step) {
            const Channel channel = random() % 2 ? CHANNEL_TALK : CHANNEL_BOARD;
            Told& one = told[channel];
            const std::uint64_t end = log->State(channel).end;
            switch (random() % 12) {
                case 0: disk.room = random() % 2 ? random() % 600'000 : 0; break;
                case 1: disk.failingSyncs = 1 + static_cast<int>(random() % 3); break;
                case 2:
                case 3: disk.room = TestDisk::kEnough; break;
                case 4:
                    one.readByAll =
                        std::max(one.readByAll, end - std::min<std::uint64_t>(end, random() % 20));
                    if (random() % 4 == 0) one.begin = one.readByAll - 1;
                    break;
                case 5: Turn(); break;
                case 6: Wait(); break;
                default:
                    for (unsigned i = random() % 8; i < 8; ++i) {
                        const std::size_t sizes[] = {50, 3'000, 40'000, 200'000};
                        const Told::One what{sizes[random() % 4] / (i + 1) + 1, random() % 2 ? 'P' : 'k'};
                        const auto item = Item(channel, what.bytes, what.letter);
                        item->kept = what.letter != 'P';  // of both channels
                        const std::uint64_t sequence = item->sequence;
                        one.items[sequence] = what;
                        log->Append({item}, [&] {
                            if (healthy()) one.delivered = sequence;
                        });
                    }
            }
            for (const Channel tick : {CHANNEL_TALK, CHANNEL_BOARD})  // a tick
                if (step % 3 == 0) log->Trim(tick, told[tick].begin + 1, told[tick].readByAll);
        }
        disk.beforeSteps = {};
        disk.room = TestDisk::kEnough;
        disk.failingSyncs = 0;
        for (const Moment& moment : moments) {
            SCOPED_TRACE(moment.at.filename().string() + (moment.killed ? " killed" : " without power"));
            log.reset();
            at = moment.at;
            std::map<Channel, std::map<std::uint64_t, std::string>> found;
            onReplay = [&](const LogItem& item) { found[item.channel][item.sequence] = item.frames; };
            Open();
            for (const auto& [channel, one] : moment.told)
                for (const auto& [sequence, what] : one.items) {
                    if (!one.Needs(sequence, what, moment.killed, moment.trouble)) continue;
                    ASSERT_TRUE(found[channel][sequence] == std::string(what.bytes, what.letter))
                        << sequence << " of " << one.delivered << " delivered, " << one.safe << " safe";
                }
        }
        disk.Forget();
    }
    disk.drops = true;
}

TEST_F(FileLogTest, WhateverStandsInTheFolderItOpensAndNumbersNothingTwice)
{
    bounds.boardKept = bounds.talkKept = 4 * kMiB;
    Open();
    Add(CHANNEL_TALK, 5'000, 100);
    Add(CHANNEL_BOARD, 5'000, 100);
    log.reset();
    const fs::path sound = at;
    std::uint64_t last = 0;
    const auto opens = [&] {
        const Sequences found = Open();
        Add(CHANNEL_BOARD, 10);
        EXPECT_GT(log->State(CHANNEL_BOARD).end, std::max(found.board, last));
        EXPECT_GE(Count(CHANNEL_BOARD, 0) + Count(CHANNEL_TALK, 0), 1);
        log.reset();
    };
    for (unsigned seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        at = folder.path / "spoiled";
        fs::copy(sound, at);
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(at))
            if (entry.path().filename() != "head") files.push_back(entry.path());
        std::sort(files.begin(), files.end());
        const fs::path path = files[random() % files.size()];
        const auto size = static_cast<unsigned>(fs::file_size(path));
        switch (seed % 8) {
            case 0: fs::resize_file(path, random() % (size + 1)); break;
            case 1: fs::resize_file(path, 0); break;
            case 2:
                fs::remove(path);
                fs::create_symlink("/etc/passwd", path);
                break;
            case 3:
                fs::remove(path);
                fs::create_directory(path);
                break;
            case 4: std::ofstream(at / "talk-foreign.log") << "none of ours"; break;
            default:
                std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
                const std::streamoff place = random() % size;
                file.seekg(place);
                const char spoiled = static_cast<char>(file.get() ^ (1 << random() % 8));
                file.seekp(place).put(spoiled);
        }
        opens();
        fs::remove_all(at);
    }
    at = sound;
}

// The head stands in two files. Whatever happens to one of them, the meeting keeps its name, and no number
// is given out twice.
TEST_F(FileLogTest, WhateverHappensToOneOfItsHeadsTheMeetingGoesOn)
{
    for (int opening = 0; opening < 3; ++opening) Open();
    Add(CHANNEL_TALK, 10);
    const std::uint64_t last = log->State(CHANNEL_TALK).end;
    log.reset();
    const fs::path sound = at;
    const auto head = static_cast<unsigned>(fs::file_size(sound / "head"));
    const auto flip = [](const fs::path& path, unsigned place, unsigned bytes) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(place);
        std::string spoiled(bytes, '\0');
        file.read(spoiled.data(), bytes);
        for (char& byte : spoiled) byte = static_cast<char>(~byte);
        file.seekp(place).write(spoiled.data(), bytes);
    };
    std::vector<std::pair<std::string, std::function<void(const fs::path&)>>> faults{
        {"nothing", [](auto&) {}},
        {"missing", [](auto& path) { fs::remove(path); }},
        {"a folder", [](auto& path) { fs::remove(path), fs::create_directory(path); }},
        {"a link", [](auto& path) { fs::remove(path), fs::create_symlink("/dev/zero", path); }},
        {"a pipe", [](auto& path) { fs::remove(path), ::mkfifo(path.c_str(), 0600); }},
        {"the first half", [&](auto& path) { flip(path, 0, head / 2); }},
        {"the second half", [&](auto& path) { flip(path, head / 2, head / 2); }},
    };
    for (unsigned place = 0; place < head; ++place) {
        faults.emplace_back("byte", [&flip, place](auto& path) { flip(path, place, 1); });
        if (place % 8 == 0) faults.emplace_back("cut", [place](auto& path) { fs::resize_file(path, place); });
    }
    const auto reads = [&] {
        const auto read = ReadHead(at);
        return read && read->id == "id" && read->code == "code" && read->creatorKey == "key" &&
               read->creatorStream == 1;
    };
    for (const char* file : {"head", "seats"})
        for (const auto& [what, fault] : faults) {
            SCOPED_TRACE(file + (": " + what));
            at = folder.path / "spoiled";
            fs::copy(sound, at);
            fault(at / file);
            EXPECT_TRUE(reads());
            Open();
            EXPECT_EQ(Count(CHANNEL_TALK, 0), 1);
            EXPECT_EQ(log->State(CHANNEL_TALK).end >> 32, (last >> 32) + 1);
            EXPECT_EQ(replayed.headLost, what != "nothing" && file == std::string("head"));
            log.reset();
            fs::remove_all(at / "head");  // both were written again
            EXPECT_TRUE(reads());
            fs::remove_all(at);
        }
    fs::copy(sound, at);
    for (const char* file : {"head", "seats"}) flip(at / file, 20, 2);
    EXPECT_FALSE(ReadHead(at));  // left alone
    at = sound;
}

// As a service before this one left it: one head, and nothing of it in the seats.
TEST_F(FileLogTest, AFolderOfBeforeOpensAndAHeadThatIsBehindGivesOutNoNumberTwice)
{
    Open();
    log->Seat({1, false, false, false, "bob", "address", 7, 1, {"token", ""}, {1, 2}, {3, 4}});
    Add(CHANNEL_BOARD, 10, 3);
    log.reset();
    std::string seat;
    StoreSeat(seat, {1, false, false, false, "bob", "address", 7, 1, {"token", ""}, {1, 2}, {3, 4}});
    std::ofstream(at / "seats", std::ios::binary) << seat;
    const fs::path head = folder.path / "old head";
    fs::copy_file(at / "head", head);
    for (int opening = 2; opening < 4; ++opening) {
        ASSERT_TRUE(ReadHead(at));
        Open();
        EXPECT_EQ(log->State(CHANNEL_BOARD).end >> 32, opening);
        EXPECT_EQ(Count(CHANNEL_BOARD, 0), 3);
        EXPECT_EQ(seats, 1u);
        log.reset();
    }
    fs::remove(at / "seats");
    fs::copy_file(head, at / "head", fs::copy_options::overwrite_existing);  // restored from somewhere
    Open();
    EXPECT_EQ(log->State(CHANNEL_BOARD).end >> 32, 4u);
}

// Segments as they may stand in a folder, whoever wrote them.
TEST_F(FileLogTest, AnOpeningGivesBackEachItemOnceAndCountsWhatItSkips)
{
    constexpr std::uint64_t first = std::uint64_t{1} << 32;
    const struct {
        const char* what;
        std::vector<std::pair<std::uint64_t, std::vector<std::uint64_t>>>
            files;  // name, sequences; 0: no item
        int given;
        std::size_t skipped;
        bool aside;
    } rows[] = {
        {"in order", {{1, {1, 2}}, {3, {3}}}, 3, 0, false},
        {"named after its newest item", {{1, {1, 2}}, {5, {3, 4, 5}}, {5, {6}}}, 6, 0, false},
        {"written again after a failed sync", {{1, {1, 2, 3}}, {2, {2, 3, 4}}}, 4, 2, false},
        {"older ones under a new name", {{1, {2, 3}}, {4, {1, 2}}}, 2, 2, false},
        {"no item", {{1, {1, 0, 2}}}, 2, 1, false},
        {"nothing but that", {{1, {1}}, {2, {0}}}, 1, 1, true},
        {"the last number before this opening", {{1, {1, first}}}, 2, 0, false},
        {"numbers that nobody gave out yet", {{1, {1, first + 1, 2, ~std::uint64_t{0}}}}, 2, 2, false},
        {"a name that is no number of ours", {{~std::uint64_t{0}, {1}}}, 1, 0, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        at = folder.path / row.what;
        fs::create_directories(at);
        int count = 0;
        for (const auto& [name, sequences] : row.files) {
            char path[64];
            std::snprintf(path, sizeof path, "talk-%020llu-%010d.log", static_cast<unsigned long long>(name),
                          ++count);
            Journal file(at / path, Marked::Yes);
            file.Begin();
            for (const std::uint64_t sequence : sequences) {
                LogItem item;
                item.channel = CHANNEL_TALK;
                item.everyone = true;
                item.sequence = sequence;
                item.frames = "x";
                std::string entry;
                sequence == 0 ? AppendEntry(entry, "\xff\xff\xff\xff") : StoreItem(entry, item);
                ASSERT_TRUE(file.Append(entry));
            }
        }
        std::vector<std::uint64_t> given;
        onReplay = [&](const LogItem& item) { given.push_back(item.sequence); };
        Open();
        EXPECT_EQ(static_cast<int>(given.size()), row.given);
        EXPECT_TRUE(std::is_sorted(given.begin(), given.end()));
        EXPECT_EQ(replayed.skipped, row.skipped);
        EXPECT_EQ(replayed.damage == Damage::Found, row.aside);
        EXPECT_EQ(log->State(CHANNEL_TALK).end, first);
        log.reset();
    }
}

TEST_F(FileLogTest, TrimTakesOnlyWhatIsSafeAndNeverGoesBack)
{
    constexpr std::uint64_t first = std::uint64_t{1} << 32;
    Open();
    Add(CHANNEL_BOARD, 10, 10);
    const struct {
        std::uint64_t before;
        int left;
    } rows[] = {
        {0, 10}, {first + 1, 10}, {first + 4, 7},  {first + 3, 7},
        {0, 7},  {first + 10, 1}, {first + 11, 1}, {~std::uint64_t{0}, 1},
    };
    for (const auto& row : rows) {
        log->Trim(CHANNEL_BOARD, row.before, ~std::uint64_t{0});
        Wait();
        EXPECT_EQ(Count(CHANNEL_BOARD, 0), row.left) << row.before;
    }
}

// The newest segment is emptied once nobody wants what it holds, whatever step of it a full disk refuses.
TEST_F(FileLogTest, ASegmentBegunAnewLosesNothingThatComesAfter)
{
    for (long long left = 0; left <= 72; left += 8) {
        SCOPED_TRACE(left);
        OpenNew(std::to_string(left));
        Add(CHANNEL_TALK, 1000, 3, 'P');
        for (int tick = 0; tick < 4; ++tick) {
            if (tick == 1) disk.room = left;  // it has been idle since the one before
            log->Trim(CHANNEL_TALK, 0, log->State(CHANNEL_TALK).end);
            Wait();
        }
        disk.room = TestDisk::kEnough;
        Tick();
        Add(CHANNEL_TALK, 1000, 2);
        int before = 0;
        onReplay = [&](const LogItem& item) { before += item.frames[0] == 'P'; };
        Open();
        EXPECT_EQ(Count(CHANNEL_TALK, 0), 2);
        EXPECT_TRUE(before == 0 || left < 72);
    }
}

}  // namespace
}  // namespace zephyl
