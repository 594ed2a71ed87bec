// What every meeting's log promises, wherever it stands; and one that stands in an engine, when that fails.

#include "service/cluster/log_stand.h"
#include "service/cluster/pair.h"

namespace zephyl {
namespace {

using Texts = std::vector<std::string>;
constexpr std::size_t kMiB = 1024 * 1024;

struct Logs : testing::TestWithParam<const char*> {
    void SetUp() override
    {
        const std::string where = GetParam();
        if (where == "ram") {
            stand =
                std::make_unique<LogStand>([](LogStand& s) { return std::make_unique<MemoryLog>(s.bounds); });
        } else if (where == "files") {
            stand = std::make_unique<LogStand>(LogInFiles);
        } else {
            pair = PairIn(where);
            if (!pair) GTEST_SKIP() << "no NATS server is installed";
            stand = std::make_unique<LogStand>(
                [this](LogStand& s) { return LogInEngine(s, *pair->one, epochs); });
        }
        lasts = where != "ram";
        stand->Open();
    }
    /// As a kill and a new start, where something outlives that.
    void Reopen()
    {
        stand->Wait();
        if (lasts) stand->Open();
    }
    MeetingLog& Log() { return *stand->log; }

    std::unique_ptr<Pair> pair;
    std::uint64_t epochs = 0;
    std::unique_ptr<LogStand> stand;
    bool lasts = true;
};
INSTANTIATE_TEST_SUITE_P(In, Logs, testing::Values("ram", "files", "memory", "nats"));

TEST_P(Logs, GivesBackInOrderWhatItWasGiven)
{
    Texts board, talk;
    std::uint64_t last = 0;
    std::size_t kept = 0;
    for (int i = 0; i < 60; ++i) {
        const char letter = i % 7 == 3 ? 'P' : static_cast<char>('a' + i % 19);
        const std::size_t bytes = i == 40 ? 3 * kMiB + 7 : 50'000 + static_cast<std::size_t>(i);
        const std::uint64_t sequence = stand->Put(CHANNEL_BOARD, bytes, letter);
        EXPECT_GT(sequence, last);
        last = sequence;
        if (letter != 'P') kept += bytes;
        board.push_back(letter + std::to_string(bytes));
        if (i % 10 != 0) continue;
        stand->Put(CHANNEL_TALK, 100 + static_cast<std::size_t>(i), 't');
        talk.push_back("t" + std::to_string(100 + i));
    }
    stand->Wait();
    EXPECT_EQ(stand->safe.board, last);
    Texts delivered;
    for (const std::string& one : stand->delivered)
        if (one[0] != 't') delivered.push_back(one);
    EXPECT_EQ(delivered, board);
    for (int opened = 0; opened < 2; ++opened) {
        EXPECT_EQ(stand->Read(CHANNEL_BOARD, 0), board);
        EXPECT_EQ(stand->Read(CHANNEL_TALK, 0), talk);
        EXPECT_LE(Log().Bytes().memory, lasts ? kMiB : 8 * kMiB);
        EXPECT_LE(*stand->room.memory, kMiB);
        EXPECT_EQ(Log().BoardBytes(), kept);
        Reopen();
        EXPECT_GE(Log().State(CHANNEL_BOARD).end, last);
    }
    EXPECT_GT(stand->Put(CHANNEL_BOARD, 10), last);
}

TEST_P(Logs, LetsGoWhatNobodyWantsAndKeepsTheRest)
{
    std::vector<std::uint64_t> sequences;
    for (int i = 0; i < 40; ++i)
        sequences.push_back(stand->Put(CHANNEL_BOARD, 40'000, i % 2 == 0 ? 'a' : 'P'));
    for (int i = 0; i < 40; ++i) stand->Put(CHANNEL_TALK, 40'000, 't');
    stand->Wait();
    Log().Trim(CHANNEL_BOARD, sequences[10], sequences[21]);
    Log().Trim(CHANNEL_TALK, 0, Log().State(CHANNEL_TALK).end);
    stand->Wait();
    EXPECT_EQ(Log().State(CHANNEL_BOARD).begin, sequences[10] - 1);
    for (int opened = 0; opened < 2; ++opened) {
        int kept = 0, passing = 0;
        for (const std::string& one : stand->Read(CHANNEL_BOARD, sequences[10] - 1))
            ++(one[0] == 'P' ? passing : kept);
        EXPECT_EQ(kept, 15);
        EXPECT_GE(passing, 9);  // those that somebody still wants, and perhaps some beside them
        Reopen();
    }
    EXPECT_LT(stand->items.size(), 60u);  // of 80: of what all have read little is left
}

TEST_P(Logs, AtItsBoundTheOldestGoAndThatIsNotForgotten)
{
    if (!lasts) stand->bounds.talkKept = kMiB;  // of a new one
    stand->bounds.talkKept = kMiB;
    stand->Wait();
    stand->Open();
    for (int i = 0; i < 40; ++i) stand->Put(CHANNEL_TALK, 100'000, static_cast<char>('a' + i % 20));
    stand->Wait();
    const std::uint64_t lost = Log().State(CHANNEL_TALK).lost;
    EXPECT_GT(lost, 0u);
    const Texts left = stand->Read(CHANNEL_TALK, lost);
    EXPECT_GE(left.size(), 5u);
    EXPECT_LE(left.size(), 11u);
    EXPECT_EQ(left.back(), "t100000");
    Reopen();
    EXPECT_GE(Log().State(CHANNEL_TALK).lost, lost);
    EXPECT_EQ(stand->Read(CHANNEL_TALK, lost), left);
}

TEST_P(Logs, RemembersSeatsAndNumbers)
{
    if (!lasts) GTEST_SKIP();
    stand->numbers = {{"ann", 7, {3, 4}, {"refused"}}};
    SeatEntry seat;
    for (SeatNumber number = 1; number <= 3; ++number) {
        seat.number = number;
        seat.handle = "h" + std::to_string(number);
        seat.gone = number == 1;
        Log().Seat(seat);
    }
    for (std::uint64_t i = 1; i <= 3000; ++i) {  // more than is kept in one piece
        seat.read = {i, 2 * i};
        seat.tokenHashes[0] = std::string(100, static_cast<char>('a' + i % 20));
        Log().Seat(seat);
        if (i % 100 == 0) stand->Wait();
    }
    for (int i = 0; i < 3; ++i) stand->Put(CHANNEL_TALK, 200'000, 't');
    for (int i = 0; i < 4; ++i) {  // seconds in which nothing comes
        stand->Wait();
        Log().Trim(CHANNEL_TALK, 0, Log().State(CHANNEL_TALK).end);
    }
    Reopen();
    std::map<SeatNumber, SeatEntry> seats;
    for (const SeatEntry& one : stand->contents->seats) seats[one.number] = one;
    ASSERT_EQ(seats.count(2) + seats.count(3), 2u);
    EXPECT_TRUE(!seats.contains(1) || seats[1].gone);
    EXPECT_EQ(seats[3].read.board, 6000u);
    EXPECT_EQ(seats[3].handle, "h3");
    ASSERT_EQ(stand->contents->numbers.size(), 1u);
    EXPECT_EQ(stand->contents->numbers[0].have.board, 4u);
    EXPECT_EQ(stand->contents->numbers[0].refused, std::vector<std::string>{"refused"});
}

TEST_P(Logs, NothingIsLeftOfOneThatWasRemoved)
{
    if (!lasts) GTEST_SKIP();
    for (int i = 0; i < 5; ++i) stand->Put(CHANNEL_BOARD, 100);
    SeatEntry seat;
    seat.number = 1;
    Log().Seat(seat);
    stand->Wait();
    Log().Remove();
    // While it goes whoever opens it may meet an end that has gone, as if somebody else had it.
    while (!stand->TryOpen() || !stand->items.empty() || !stand->contents->seats.empty()) {
    }
}

// --- in an engine ----------------------------------------------------------------------------------

struct EngineLogs : testing::TestWithParam<const char*> {
    void SetUp() override
    {
        pair = PairIn(GetParam());
        if (!pair) GTEST_SKIP() << "no NATS server is installed";
    }
    std::unique_ptr<Pair> pair;
    std::uint64_t epochs = 0;
    LogStand one{[this](LogStand& stand) { return LogInEngine(stand, *pair->one, epochs); }};
    LogStand other{[this](LogStand& stand) { return LogInEngine(stand, *pair->other, epochs); }};
};
INSTANTIATE_TEST_SUITE_P(In, EngineLogs, testing::Values("memory", "nats", "three"));

TEST_P(EngineLogs, WhoeverOpenedItLastIsTheOneWhoWrites)
{
    one.Open();
    one.Put(CHANNEL_TALK, 10, 'a');
    one.Wait();
    one.Put(CHANNEL_TALK, 11, 'b');  // may come before the other, or not at all
    other.Open();
    other.Put(CHANNEL_TALK, 12, 'c');
    other.Wait();
    one.Put(CHANNEL_TALK, 13, 'd');
    one.Until([&] { return one.lost; });
    const Texts left = other.Read(CHANNEL_TALK, 0);
    const bool came = std::find(one.delivered.begin(), one.delivered.end(), "b11") != one.delivered.end();
    EXPECT_EQ(left, came ? (Texts{"a10", "b11", "c12"}) : (Texts{"a10", "c12"}));
    EXPECT_EQ(std::count(one.delivered.begin(), one.delivered.end(), "d13"), 0);
    one.lost = false;
    EXPECT_TRUE(one.TryOpen());  // and back
    EXPECT_EQ(one.items, left);
    other.Put(CHANNEL_BOARD, 14);
    other.Until([&] { return other.lost; });
}

struct MemoryEngineLog : testing::Test {
    InMemory pair;
    std::uint64_t epochs = 0;
    LogStand stand{[this](LogStand& s) { return LogInEngine(s, *pair.one, epochs); }};
};

TEST_F(MemoryEngineLog, WhatWasNotAnsweredStandsThereOnceAndInOrder)
{
    stand.Open();
    for (int i = 0; i < 30; ++i) {
        if (i % 3 == 0) pair.One().LoseAnswers(1 + i % 2);
        if (i % 5 == 4) pair.One().Cut();
        stand.Put(CHANNEL_BOARD, i == 17 ? 2'500'000 : 100 + static_cast<std::size_t>(i),
                  i % 4 == 0 ? 'P' : 'a');
        if (i % 5 != 4) stand.Wait();
        pair.One().Mend();
    }
    stand.Wait();
    EXPECT_EQ(stand.delivered, stand.given);
    EXPECT_EQ(stand.Read(CHANNEL_BOARD, 0), stand.given);
    stand.Open();
    EXPECT_EQ(stand.items, stand.given);
}

TEST_F(MemoryEngineLog, GoesOnFromWhatServersStillHaveThatLostSomethingStored)
{
    stand.Open();
    for (const char letter : {'a', 'b'}) {
        stand.Put(CHANNEL_TALK, 10, letter);
        stand.Wait();
    }
    pair.cluster.LoseLast(std::string(kEngineLogs) + "m1.talk");
    stand.Put(CHANNEL_TALK, 10, 'c');
    stand.Until([&] {
        stand.log->Trim(CHANNEL_BOARD, 0, 0);  // as each second
        return stand.lost;
    });
    EXPECT_EQ(stand.trouble, "-");
    stand.Open();
    EXPECT_EQ(stand.items, Texts{"a10"});
}

TEST_F(MemoryEngineLog, WhatItHasReadAndWhatPassesDoesNotStayThere)
{
    stand.Open();
    for (int i = 0; i < 200; ++i) {
        stand.Put(CHANNEL_BOARD, 5000, 'P');
        stand.Wait();
    }
    const std::string subject = std::string(kEngineLogs) + "m1.passing";
    EXPECT_EQ(pair.cluster.Entries(subject), 201u);
    stand.log->Trim(CHANNEL_BOARD, 0, stand.log->State(CHANNEL_BOARD).end);
    stand.Wait();
    pair.One().Settle();
    EXPECT_LE(pair.cluster.Entries(subject), 20u);
}

TEST_F(MemoryEngineLog, OneThatCannotBeOpenedSaysSo)
{
    pair.One().Cut();
    EXPECT_FALSE(stand.TryOpen());
    pair.One().Mend();
    pair.cluster.SetFull(true);
    EXPECT_FALSE(stand.TryOpen());
    pair.cluster.SetFull(false);
    EXPECT_TRUE(stand.TryOpen());
}

TEST(NatsLog, WaitsWhileTheStreamIsFullAndGoesOn)
{
    QUORVIA_NEEDS_NATS();
    InNats pair(1, 4 * kMiB);
    std::uint64_t epochs = 0;
    LogStand stand([&](LogStand& s) { return LogInEngine(s, *pair.one, epochs); });
    stand.Open();
    for (std::size_t i = 0; stand.trouble.empty(); ++i) {
        const std::uint64_t end = stand.Put(CHANNEL_TALK, 100'000 + i, 't');
        stand.Until([&] { return !stand.trouble.empty() || stand.safe.talk == end; });
    }
    EXPECT_EQ(stand.trouble, "-");
    EXPECT_TRUE(stand.log->Bytes().refused);
    EXPECT_EQ(stand.delivered.size() + 1, stand.given.size());
    bool room = false;
    pair.one->Purge(std::string(kEngineLogs) + "m1.talk", 20,
                    [&](EngineResult) { boost::asio::post(stand.io, [&] { room = true; }); });
    stand.Until([&] { return room; });
    stand.log->Trim(CHANNEL_BOARD, 0, 0);  // as a second later
    stand.Until([&] { return stand.trouble == "-+"; });
    stand.Wait();
    EXPECT_EQ(stand.delivered, stand.given);
}

TEST(NatsLog, GoesOnWhenItsServerWasKilledOrStoodStill)
{
    QUORVIA_NEEDS_NATS();
    InNats pair(1);
    std::uint64_t epochs = 0;
    LogStand stand([&](LogStand& s) { return LogInEngine(s, *pair.one, epochs); });
    stand.Open();
    const auto put = [&] { stand.Put(CHANNEL_TALK, 100 + stand.given.size(), 't'); };
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < 50; ++i) put();
        if (round % 2 == 0)
            pair.nats.Kill();
        else
            pair.nats.Freeze();
        for (int i = 0; i < 50; ++i) put();
        WaitFor(*pair.one, false);
        if (round % 2 == 0)
            pair.nats.Start();
        else
            pair.nats.Thaw();
        stand.Wait();
    }
    EXPECT_EQ(stand.delivered, stand.given);
    EXPECT_EQ(stand.Read(CHANNEL_TALK, 0), stand.given);
    stand.Open();
    EXPECT_EQ(stand.items, stand.given);
}

// As keepers of one meeting take turns: what one was told of stands there for the next, once and in order; of
// what it was not told of, any part.
TEST(NatsLog, LosesNothingWhileServersDieAndItsKeeperChanges)
{
    QUORVIA_NEEDS_NATS();
    InNats pair(3);
    std::uint64_t epochs = 0;
    const unsigned rounds = std::getenv("LOG_ROUNDS") ? std::stoul(std::getenv("LOG_ROUNDS")) : 3;
    LogStand one([&](LogStand& s) { return LogInEngine(s, *pair.one, epochs); });
    LogStand other([&](LogStand& s) { return LogInEngine(s, *pair.other, epochs); });
    const auto open = [](LogStand& stand) {
        while (!stand.TryOpen()) {  // while there is no quorum
        }
        stand.delivered.clear();
        stand.lost = false;
    };
    open(one);
    constexpr std::size_t kLate = 10;
    std::size_t bytes = 100;
    Texts told;  // in order
    for (unsigned round = 0; round < rounds; ++round) {
        LogStand& keeper = round % 2 == 0 ? one : other;
        LogStand& next = round % 2 == 0 ? other : one;
        const auto put = [&](std::size_t count) {
            for (std::size_t i = 0; i < count; ++i)
                keeper.Put(CHANNEL_BOARD, ++bytes, i % 5 == 2 ? 'P' : 'a');
        };
        const std::size_t victim = round % pair.nats.Count();
        put(20);
        WaitForCopies(*pair.one);
        pair.nats.Kill(victim);
        put(20);
        keeper.Wait();  // two of three are enough
        told.insert(told.end(), keeper.delivered.begin(), keeper.delivered.end());
        ASSERT_EQ(keeper.delivered.size(), 40u) << "round " << round;
        keeper.delivered.clear();
        put(kLate);  // nobody waits for these
        pair.nats.Start(victim);
        open(next);
        keeper.Until([&] { return keeper.lost || keeper.delivered.size() == kLate; });
        told.insert(told.end(), keeper.delivered.begin(), keeper.delivered.end());
        ASSERT_GE(next.items.size(), told.size()) << "round " << round;
        ASSERT_TRUE(std::equal(told.begin(), told.end(), next.items.begin())) << "round " << round;
        ASSERT_LE(next.items.size(), told.size() + kLate - keeper.delivered.size());
        told = next.items;
    }
}

TEST(NatsLog, WaitsWithoutAQuorumAndSaysSo)
{
    QUORVIA_NEEDS_NATS();
    InNats pair(3);
    std::uint64_t epochs = 0;
    LogStand stand([&](LogStand& s) { return LogInEngine(s, *pair.one, epochs); });
    stand.Open();
    for (std::size_t alone = 0; alone < 3; ++alone) {  // one of them is who the engine is connected to
        for (std::size_t i = 0; i < 3; ++i)
            if (i != alone) pair.nats.Freeze(i);
        stand.delivered.clear();
        stand.trouble.clear();
        stand.given.clear();
        for (std::size_t i = 0; i < 20; ++i) stand.Put(CHANNEL_TALK, 100 + i, 't');
        stand.Until([&] { return stand.trouble == "-"; });  // while it tries again and again
        EXPECT_LT(stand.delivered.size(), stand.given.size());
        for (std::size_t i = 0; i < 3; ++i)
            if (i != alone) pair.nats.Thaw(i);
        stand.Wait();
        EXPECT_EQ(stand.delivered, stand.given);
    }
    const Texts left = stand.Read(CHANNEL_TALK, 0);
    while (!stand.TryOpen()) {  // until they agree again on who leads
    }
    EXPECT_EQ(left.size(), 60u);
    EXPECT_EQ(stand.items, left);
}

}  // namespace
}  // namespace zephyl
