// The log in files by itself: what it holds in memory, what goes at a bound, and a disk that refuses.

#include "service/relay/file_log.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <boost/asio/io_context.hpp>
#include <csignal>
#include <fstream>

#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

namespace fs = std::filesystem;
constexpr std::size_t kMiB = 1024 * 1024;

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
            folder.path / "meeting", MeetingHead{"id", "code", "key", 1}, bounds, room,
            [this](auto work) { boost::asio::post(io, std::move(work)); },
            [this](bool refused) { trouble += refused ? '-' : '+'; });
        Sequences last = log->Open().lost;
        log->NumbersFrom([] { return std::vector<NumbersEntry>(); });
        damage = log->Replay([&](const LogItem& item) { last[item.channel] = item.sequence; });
        return last;
    }
    void Add(Channel channel, std::size_t bytes, int count = 1)
    {
        for (int i = 0; i < count; ++i) {
            auto item = std::make_shared<LogItem>();
            item->channel = channel;
            item->everyone = true;
            item->kept = channel == CHANNEL_BOARD;
            item->frames = std::string(bytes, static_cast<char>('a' + i % 26));
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
    /// All items behind a cursor, and whether each is what was written.
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
                ++count;
            }
            more = chunk->upTo > from || !chunk->items.empty();
            from = std::max(from, chunk->upTo);
        }
        return count;
    }
    fs::path Oldest(const std::string& part) const
    {
        fs::path oldest;
        for (const auto& entry : fs::directory_iterator(folder.path / "meeting"))
            if (entry.path().filename().string().starts_with(part + "-") &&
                (oldest.empty() || entry.path() < oldest))
                oldest = entry.path();
        return oldest;
    }

    TemporaryFolder folder;
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
    EXPECT_EQ(fs::file_size(Oldest("talk")), 2 * kMiB / 16);  // the empty one of this opening is left
}

TEST_F(FileLogTest, DamageIsPutAsideAndTheRestIsRead)
{
    bounds.boardKept = 16 * kMiB;
    bounds.logInMemory = 0;
    Open();
    Add(CHANNEL_BOARD, 100'000, 50);
    const auto spoil = [&](std::streamoff at) {
        std::fstream(Oldest("board"), std::ios::in | std::ios::out | std::ios::binary)
            .seekp(at)
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

}  // namespace
}  // namespace zephyl
