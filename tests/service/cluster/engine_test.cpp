// What every engine promises. A row is an engine; each test has two relays that share it.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <set>

#include "service/cluster/pair.h"

namespace zephyl {
namespace {

using namespace std::chrono_literals;

std::vector<std::string> All(Engine& engine, const std::string& subject, std::uint64_t from = 0)
{
    std::vector<std::string> all;
    for (;;) {
        const auto [result, entries] = Await<EngineResult, std::vector<EngineEntry>>(
            [&](auto done) { engine.Read(subject, from, 1, done); });
        EXPECT_EQ(result, EngineResult::Ok);
        if (entries.empty()) return all;
        for (const EngineEntry& entry : entries) all.push_back(entry.bytes);
        from = entries.back().sequence + 1;
    }
}

EngineResult Question(Engine& engine, const std::string& subject, const std::string& bytes)
{
    return std::get<0>(
        Await<EngineResult, std::string>([&](auto done) { engine.Ask(subject, bytes, 100ms, done); }));
}

/// What was heard, in order, by whoever waits for it.
class Heard {
public:
    void Take(std::string what)
    {
        const std::lock_guard lock(mMutex);
        mAll.push_back(std::move(what));
        mNews.notify_all();
    }
    std::vector<std::string> WaitFor(const std::string& last)
    {
        std::unique_lock lock(mMutex);
        mNews.wait(lock, [&] { return !mAll.empty() && mAll.back() == last; });
        return mAll;
    }

private:
    std::mutex mMutex;
    std::condition_variable mNews;
    std::vector<std::string> mAll;
};

struct Engines : testing::TestWithParam<const char*> {
    void SetUp() override
    {
        pair = PairIn(GetParam());
        if (!pair) GTEST_SKIP() << "no NATS server is installed";
    }
    Engine& One() { return *pair->one; }
    Engine& Other() { return *pair->other; }
    std::unique_ptr<Pair> pair;
};
INSTANTIATE_TEST_SUITE_P(Of, Engines, testing::Values("memory", "nats", "three", "leaderless"));

TEST_P(Engines, OneWriterOfTwoIsRefused)
{
    const Stored first = Append(One(), "zephyl.log.a", "1", 0);
    ASSERT_EQ(first.result, EngineResult::Ok);
    ASSERT_EQ(Append(One(), "zephyl.log.b", "elsewhere", 0).result, EngineResult::Ok);
    const Stored second = Append(Other(), "zephyl.log.a", "2", first.sequence);
    ASSERT_EQ(second.result, EngineResult::Ok);
    EXPECT_GT(second.sequence, first.sequence);
    EXPECT_EQ(Append(One(), "zephyl.log.a", "late", first.sequence).result, EngineResult::Other);
    EXPECT_EQ(Append(One(), "zephyl.log.a", "as if new", 0).result, EngineResult::Other);
    EXPECT_EQ(All(One(), "zephyl.log.a"), (std::vector<std::string>{"1", "2"}));
    const auto [result, last] =
        Await<EngineResult, EngineEntry>([&](auto done) { One().Last("zephyl.log.a", done); });
    EXPECT_EQ(result, EngineResult::Ok);
    EXPECT_EQ(last.sequence, second.sequence);
    EXPECT_EQ(last.bytes, "2");
}

// Behind it in time is behind it where it is heard.
TEST_P(Engines, AnEntryIsHeardWhenItIsWrittenAndInOrderWithWords)
{
    Heard heard;
    const auto take = [&](const EngineWord& word) {
        heard.Take(std::string(word.bytes.substr(0, word.bytes.find(' '))));
    };
    const auto entries = Other().Listen("zephyl.log.a", take), words = Other().Listen("word", take);
    while (Question(One(), "word", "there?") == EngineResult::Missing) {
    }
    heard.WaitFor("there?");
    std::vector<std::string> said;
    for (std::uint64_t i = 0, last = 0; i < 40; ++i) {
        // Also one that is refused, and large ones.
        const std::string entry = "entry" + std::to_string(i), word = "word" + std::to_string(i);
        const std::string bytes = entry + " " + std::string(i % 2 ? 300'000 : 0, 'x');
        const Stored stored = Append(One(), "zephyl.log.a", bytes, i == 7 ? last + 1 : last);
        if (stored.result == EngineResult::Ok) last = stored.sequence;
        One().Publish("word", word);
        said.insert(said.end(), {entry, word});
    }
    std::vector<std::string> all = heard.WaitFor("word39");
    std::erase(all, "there?");
    EXPECT_EQ(all, said);
}

TEST_P(Engines, WhatIsPurgedIsGoneAndTheRestStays)
{
    std::uint64_t last = 0;
    for (const char* bytes : {"1", "2", "3"}) last = Append(One(), "zephyl.log.a", bytes, last).sequence;
    Await<EngineResult>([&](auto done) { One().Purge("zephyl.log.a", last, done); });
    while (All(Other(), "zephyl.log.a") != std::vector<std::string>{"3"}) {  // a copy may be behind
    }
    const Stored newest = Append(Other(), "zephyl.log.a", "4", last);
    ASSERT_EQ(newest.result, EngineResult::Ok);
    // Whoever is wrong about what stands there leaves the newest, and who means all lets that go too.
    for (const auto& [before, left] :
         {std::pair(newest.sequence + 7, std::vector<std::string>{"4"}), {kEveryEntry, {}}}) {
        std::tuple<EngineResult> purged;
        do
            purged =
                Await<EngineResult>([&, to = before](auto done) { One().Purge("zephyl.log.a", to, done); });
        while (std::get<0>(purged) != EngineResult::Ok || All(One(), "zephyl.log.a") != left);
    }
}

// Of more than one read gives, in number and in size, while somebody else begins to read as well.
TEST_P(Engines, ALongLogIsReadOnWhereTheReadBeforeEnded)
{
    constexpr std::size_t each = 20'000;
    std::vector<std::string> written, read;
    std::uint64_t last = 0;
    for (int i = 0; i < 1'200; ++i) {
        written.push_back(std::to_string(i) + std::string(i == 50 ? 3 * each : i < 100 ? 2'000 : 0, 'x'));
        last = Append(One(), "zephyl.log.a", written.back(), last).sequence;
    }
    const auto from = [this](std::uint64_t sequence) {
        return std::get<1>(Await<EngineResult, std::vector<EngineEntry>>(
            [&](auto done) { One().Read("zephyl.log.a", sequence, each, done); }));
    };
    for (std::uint64_t next = 0; next <= last;) {
        for (const EngineEntry& entry : from(next)) {
            read.push_back(entry.bytes);
            next = entry.sequence + 1;
        }
        if (read.size() % 2 == 0) {
            EXPECT_EQ(from(0).front().bytes, written.front());
        }
    }
    EXPECT_EQ(read, written);
}

TEST_P(Engines, AWordReachesWhoListensInOrder)
{
    Heard heard;
    auto ears = Other().Listen("to.b.>", [&](const EngineWord& word) {
        const std::string bytes(word.bytes);
        heard.Take(bytes);
        if (!word.answerTo.empty()) Other().Publish(std::string(word.answerTo), "answer to " + bytes);
    });
    while (Question(One(), "to.b.first", "there?") == EngineResult::Missing) {
    }
    One().Publish("to.c.x", "not this");
    One().Publish("to.b", "nor this");
    for (int i = 0; i < 100; ++i) One().Publish("to.b." + std::to_string(i % 3), std::to_string(i));
    const auto [result, answer] =
        Await<EngineResult, std::string>([&](auto done) { One().Ask("to.b.x", "question", 10s, done); });
    EXPECT_EQ(result, EngineResult::Ok);
    EXPECT_EQ(answer, "answer to question");
    const auto all = heard.WaitFor("question");
    ASSERT_EQ(all.size(), 102u);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(all[static_cast<std::size_t>(i) + 1], std::to_string(i));
    ears.reset();
    while (Question(One(), "to.b.x", "anybody?") != EngineResult::Missing) {
    }
}

TEST_P(Engines, AValueIsOneWritersAndEverybodySeesIt)
{
    Heard heard;
    const auto watch = [&](Engine& engine) {
        return engine.Watch(
            "codes",
            [&](const EngineEntry& entry, bool removed) {
                heard.Take(entry.subject + (removed ? " gone" : "=" + entry.bytes));
            },
            [&] { heard.Take("all"); });
    };
    const Stored first = Put(One(), "codes", "1", 0);
    ASSERT_EQ(first.result, EngineResult::Ok);
    const auto ears = watch(Other());
    heard.WaitFor("all");
    EXPECT_EQ(Put(Other(), "codes", "mine", 0).result, EngineResult::Other);
    const Stored second = Put(Other(), "codes", "2", first.sequence);
    ASSERT_EQ(second.result, EngineResult::Ok);
    heard.WaitFor("key=2");  // nobody is told of what is not there any more
    const auto [removed, mark] = Await<EngineResult, std::uint64_t>(
        [&](auto done) { One().Remove("codes", "key", second.sequence, done); });
    EXPECT_EQ(removed, EngineResult::Ok);
    heard.WaitFor("key gone");
    const auto [result, entry] =
        Await<EngineResult, EngineEntry>([&](auto done) { Other().Get("codes", "key", done); });
    EXPECT_EQ(result, EngineResult::Missing);
    EXPECT_EQ(entry.sequence, mark);
    EXPECT_EQ(Put(One(), "codes", "3", 0).result, EngineResult::Other);
    EXPECT_EQ(Put(One(), "codes", "3", mark).result, EngineResult::Ok);
    EXPECT_EQ(heard.WaitFor("key=3"),
              (std::vector<std::string>{"key=1", "all", "key=2", "key gone", "key=3"}));
}

/// To servers that let everybody in, and of JetStream answer nothing but how its stream is, where that is
/// well.
class Doubtful final : public NatsConnection {
public:
    struct All {
        std::mutex mutex;
        std::condition_variable news;
        std::set<std::string> well;
        std::vector<std::string> engines, probed;  // the servers of what an engine uses, and of what it asks

        bool WaitFor(const std::function<bool()>& done)
        {
            std::unique_lock lock(mutex);
            return news.wait_for(lock, 60s, done);
        }
    };
    Doubtful(All& all, const NatsServer& server, Take take)
        : mAll(all), mHost(server.host), mTake(std::move(take))
    {
    }
    void Send(const std::string& subject, const std::string& answerTo, const NatsHeaders&,
              std::string_view) override
    {
        bool answers = subject.starts_with("$JS.API.STREAM.CREATE.");
        if (subject.starts_with("$JS.API.STREAM.INFO.")) {
            const std::lock_guard lock(mAll.mutex);
            answers = mAll.well.contains(mHost);
            if (!mOfEngine) mAll.probed.push_back(mHost);
            mAll.news.notify_all();
        }
        if (subject.ends_with("beat")) mTake({{}, subject, {}, {}, {}, {}});
        if (answers) mTake({{}, answerTo, {}, {}, {}, R"({"config":{},"state":{}})"});
    }
    void Listen(const std::string& subject) override
    {
        if (!subject.ends_with(".*")) return;
        mOfEngine = true;
        const std::lock_guard lock(mAll.mutex);
        mAll.engines.push_back(mHost);
        mAll.news.notify_all();
    }
    void Ignore(const std::string&) override {}
    std::size_t MostBytes() const override { return 2 * kEngineBytes; }

private:
    All& mAll;
    const std::string mHost;
    const Take mTake;
    bool mOfEngine = false;
};

TEST(NatsEngine, LeavesAServerOnlyForABetterOne)
{
    Doubtful::All all;
    NatsSite site;
    for (const char* host : {"a", "b", "c"}) site.servers.push_back({host, "1", {}, {}, false, {}});
    std::atomic<bool> over{false};
    std::function<void()> ask;
    NatsEngine engine(
        site,
        [&](const NatsServer& server, NatsConnection::Take take, const auto&) {
            return std::make_unique<Doubtful>(all, server, std::move(take));
        },
        [](const std::string&) {});
    ask = [&] {
        engine.Append("zephyl.log.a", "1", 0, [&](EngineResult, std::uint64_t) {
            if (!over) ask();
        });
    };
    WaitFor(engine, true);
    std::unique_lock lock(all.mutex);
    const std::string own = all.engines[0], next(1, char('a' + (own[0] - 'a' + 1) % 3)),
                      last(1, char('a' + (own[0] - 'a' + 2) % 3));
    all.well = {own, last};
    lock.unlock();
    ask();
    EXPECT_TRUE(all.WaitFor([&] { return std::ranges::count(all.probed, own) > 0; }));
    lock.lock();
    EXPECT_EQ(all.engines.size(), 1u);
    all.well = {next, last};
    lock.unlock();
    const bool left = all.WaitFor([&] { return all.engines.size() > 1; });
    over = true;
    lock.lock();
    ASSERT_TRUE(left);
    EXPECT_EQ(all.engines[1], next);
}

TEST(NatsEngine, LetsGoMoreThanOneReadFinds)
{
    QUORVIA_NEEDS_NATS();
    InNats pair(1);
    std::uint64_t last = 0;
    for (int i = 0; i < 1100; ++i) last = Append(*pair.one, "zephyl.log.a", "x", last).sequence;
    ASSERT_GT(last, 0u);
    for (const auto& [before, left] : {std::pair(last, 1u), {kEveryEntry, 0u}}) {
        Await<EngineResult>([&, to = before](auto done) { pair.one->Purge("zephyl.log.a", to, done); });
        EXPECT_EQ(All(*pair.one, "zephyl.log.a").size(), left);
    }
}

// Older servers that start anew take a purge that they find in their log for one of everything.
TEST(NatsEngine, KeepsTheRestOfWhatWasPurgedWhenAllServersAreKilled)
{
    QUORVIA_NEEDS_NATS();
    InNats pair(3);
    std::uint64_t ofB = Append(*pair.one, "zephyl.log.b", "stays", 0).sequence, ofA = 0;
    for (const char* bytes : {"1", "2", "3"}) ofA = Append(*pair.one, "zephyl.log.a", bytes, ofA).sequence;
    std::tuple<EngineResult> purged;
    do purged = Await<EngineResult>([&](auto done) { pair.one->Purge("zephyl.log.a", ofA, done); });
    while (std::get<0>(purged) != EngineResult::Ok);
    for (std::size_t i = 0; i < 3; ++i) pair.nats.Kill(i);
    for (std::size_t i = 0; i < 3; ++i) pair.nats.Start(i);
    // A copy may be behind until it has what was written last.
    const auto left = [&](const char* subject, std::uint64_t last) {
        while (Append(*pair.one, subject, "end", last).result == EngineResult::Away) {
        }
        for (;;) {
            const auto [result, entries] = Await<EngineResult, std::vector<EngineEntry>>(
                [&](auto done) { pair.one->Read(subject, 0, 1000, done); });
            std::vector<std::string> all;
            for (const EngineEntry& one : entries) all.push_back(one.bytes);
            if (!all.empty() && all.back() == "end") return all;
        }
    };
    EXPECT_EQ(left("zephyl.log.b", ofB), (std::vector<std::string>{"stays", "end"}));
    EXPECT_EQ(left("zephyl.log.a", ofA), (std::vector<std::string>{"3", "end"}));
}

TEST(MemoryEngine, WithoutAConnectionNothingIsPromised)
{
    MemoryCluster cluster;
    MemoryEngine one(cluster);
    Heard heard;
    const auto ears = one.WhenChanged([&](bool connected) { heard.Take(connected ? "back" : "away"); });
    one.Settle();
    one.Cut();
    EXPECT_FALSE(one.Connected());
    EXPECT_EQ(Append(one, "zephyl.log.a", "1", 0).result, EngineResult::Away);
    one.Mend();
    heard.WaitFor("back");
    one.LoseAnswers(1);
    EXPECT_EQ(Append(one, "zephyl.log.a", "1", 0).result, EngineResult::Away);
    EXPECT_EQ(Append(one, "zephyl.log.a", "1", 0).result, EngineResult::Other);
    EXPECT_EQ(All(one, "zephyl.log.a"), std::vector<std::string>{"1"});
    cluster.SetFull(true);
    EXPECT_EQ(Append(one, "zephyl.log.b", "1", 0).result, EngineResult::Full);
    cluster.SetFull(false);
    EXPECT_EQ(Append(one, "zephyl.log.b", "1", 0).result, EngineResult::Ok);
}

}  // namespace
}  // namespace zephyl
