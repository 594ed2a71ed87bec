// The log in files by itself: what it holds in memory, what goes at a bound, and a disk that refuses.

#include "service/relay/log/file_log.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <csignal>
#include <fstream>
#include <random>

#include "service/relay/relay_fixture.h"

namespace {
std::atomic<int> failingSyncs{0};
}

// A disk that fails: the kernel says so once and drops what it could not write, here every item of 'z'.
extern "C" int fdatasync(int file)
{
    if (failingSyncs <= 0) return static_cast<int>(::syscall(SYS_fdatasync, file));
    --failingSyncs;
    struct stat about {};
    ::fstat(file, &about);
    std::string bytes(static_cast<std::size_t>(about.st_size), '\0');
    if (::pread(file, bytes.data(), bytes.size(), 0) == about.st_size) {
        const std::string dropped(1000, 'z');
        for (auto at = bytes.find(dropped); at != std::string::npos; at = bytes.find(dropped))
            bytes.replace(at, dropped.size(), dropped.size(), '\0');
        if (::pwrite(file, bytes.data(), bytes.size(), 0) != about.st_size) std::abort();
    }
    errno = EIO;
    return -1;
}

namespace zephyl {
namespace {

namespace fs = std::filesystem;
constexpr std::size_t kMiB = 1024 * 1024;
const unsigned kSeeds = std::getenv("LOG_SEEDS") ? std::stoul(std::getenv("LOG_SEEDS")) : 40;

class FileLogTest : public testing::Test {
protected:
    FileLogTest() { bounds.logInMemory = 4 * kMiB; }
    void TearDown() override { log.reset(); }

    /// As after a kill: nothing was said to the one before.
    Sequences Open()
    {
        Wait();
        log.reset();
        log = std::make_unique<FileLog>(
            at, MeetingHead{"id", "code", "key", 1}, bounds, room,
            [this](auto work) { boost::asio::post(io, std::move(work)); },
            [this](bool refused) { trouble += refused ? '-' : '+'; });
        Sequences last = log->Open().lost;
        log->NumbersFrom([] { return std::vector<NumbersEntry>(); });
        damage = log->Replay([&](const LogItem& item) { last[item.channel] = item.sequence; });
        return last;
    }
    void Add(Channel channel, std::size_t bytes, int count = 1, char letter = 0)
    {
        for (int i = 0; i < count; ++i) {
            auto item = std::make_shared<LogItem>();
            item->channel = channel;
            item->everyone = true;
            item->kept = channel == CHANNEL_BOARD && letter != 'P';  // a pointer record
            item->frames = std::string(bytes, letter ? letter : static_cast<char>('a' + i % 25));
            item->sequence = log->Next(channel);
            log->Append({std::move(item)}, {});
        }
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

    TemporaryFolder folder;
    fs::path at = folder.path / "meeting";
    RelayBounds bounds;
    boost::asio::io_context io;
    LogRoom room{kLogsInMemoryBytes};
    std::unique_ptr<FileLog> log;
    std::string trouble;
    Damage damage = Damage::None;
};

TEST_F(FileLogTest, HoldsOnlyTheNewestInMemoryAndReadsTheRest)
{
    Open();
    Add(CHANNEL_BOARD, 100'000, 300);
    Add(CHANNEL_BOARD, 7 * kMiB);  // one item larger than a read
    Add(CHANNEL_TALK, 1000, 3);
    EXPECT_LE(*room.memory, 4 * kMiB);
    for (int opened = 0; opened < 2; ++opened) {
        EXPECT_EQ(Count(CHANNEL_BOARD, 0), 301);
        EXPECT_EQ(Count(CHANNEL_TALK, 0), 3);
        Open();
        EXPECT_LE(*room.memory, 4 * kMiB);
        EXPECT_EQ(log->BoardBytes(), 300 * 100'000 + 7 * kMiB);
    }
    const std::uint64_t end = log->State(CHANNEL_BOARD).end;
    log->Trim(CHANNEL_BOARD, (std::uint64_t{1} << 32) + 251, end);
    EXPECT_EQ(Count(CHANNEL_BOARD, 0), 51);
}

TEST_F(FileLogTest, AtItsBoundTheOldestGoAndAKillForgetsNoGap)
{
    bounds.talkKept = 2 * kMiB;
    Open();
    Add(CHANNEL_TALK, 10'000, 400);
    const std::uint64_t lost = log->State(CHANNEL_TALK).lost;
    EXPECT_GT(lost, 0u);
    const int left = Count(CHANNEL_TALK, lost);
    EXPECT_GT(left, 180);
    EXPECT_LT(left, 215);
    Open();
    EXPECT_EQ(log->State(CHANNEL_TALK).lost, lost);
    EXPECT_EQ(Count(CHANNEL_TALK, lost), left);
    const std::uint64_t end = log->State(CHANNEL_TALK).end;
    log->Trim(CHANNEL_TALK, 0, end);
    Wait();
    EXPECT_EQ(Count(CHANNEL_TALK, 0), 0);
    EXPECT_LT(fs::file_size(Oldest("talk")), 2 * kMiB / 16 + 64);  // the empty one of this opening is left
}

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
    EXPECT_EQ(damage, Damage::Found);
    EXPECT_TRUE(fs::exists(Oldest("board").string() + ".damaged"));
    EXPECT_EQ(Count(CHANNEL_BOARD, 0), 50 - 8);  // eleven in that file, three of them in front of the damage
    spoil(150'000);                              // while it is served
    EXPECT_EQ(Count(CHANNEL_BOARD, 0), 1);
    const std::uint64_t lost = log->State(CHANNEL_BOARD).lost;
    EXPECT_EQ(Count(CHANNEL_BOARD, lost), 39);  // who had not read it finds that said
}

// A limit of the process stands for a full volume: a write fails in its middle.
TEST_F(FileLogTest, GoesOnInMemoryWhileTheDiskTakesNothing)
{
    std::signal(SIGXFSZ, SIG_IGN);
    Open();
    Add(CHANNEL_TALK, 100'000, 5);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{700'000, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    std::uint64_t safe = 0;
    log->WhenSafe([&](const Sequences& upTo) { safe = upTo.talk; });
    Add(CHANNEL_TALK, 100'000, 5);
    log->Seat({});
    EXPECT_EQ(safe, log->State(CHANNEL_TALK).end);
    log->Trim(CHANNEL_BOARD, 0, 0);  // a tick: no room yet
    EXPECT_EQ(trouble, "-");
    EXPECT_EQ(Count(CHANNEL_TALK, 0), 10);
    ::setrlimit(RLIMIT_FSIZE, &before);
    log->Trim(CHANNEL_BOARD, 0, 0);
    Add(CHANNEL_TALK, 100'000);
    EXPECT_EQ(trouble, "-+");
    Open();
    EXPECT_EQ(Count(CHANNEL_TALK, 0), 11);
    EXPECT_EQ(damage, Damage::None);
}

TEST_F(FileLogTest, WhatAFailedSyncMayHaveDroppedIsWrittenAgainBeforeItCounts)
{
    for (const int failures : {1, 2, 5}) {
        SCOPED_TRACE(failures);
        at = folder.path / std::to_string(failures);
        log.reset();
        trouble.clear();
        Open();
        Add(CHANNEL_TALK, 1000, 3);
        std::uint64_t safe = 0;
        log->WhenSafe([&](const Sequences& upTo) {
            EXPECT_TRUE(upTo.talk == safe || failures > 1 || failingSyncs == 0);
            safe = upTo.talk;
        });
        failingSyncs = failures;
        Add(CHANNEL_TALK, 1000, 3, 'z');
        while (failingSyncs > 0) {
            log->Trim(CHANNEL_BOARD, 0, 0);  // a tick
            Wait();
        }
        log->Trim(CHANNEL_BOARD, 0, 0);
        Wait();
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
        EXPECT_EQ(damage, Damage::None);
        log->Trim(CHANNEL_BOARD, 0, log->State(CHANNEL_BOARD).end);
        EXPECT_EQ(Count(CHANNEL_BOARD, 0), 3 * round);
        log = std::move(kept);
        at = own;
    }
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
    at = folder.path / "headless";
    fs::copy(sound, at);
    fs::resize_file(at / "head", 0);
    EXPECT_FALSE(ReadHead(at));  // left alone
    at = sound;
}

}  // namespace
}  // namespace zephyl
