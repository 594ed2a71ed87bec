// What several relays with the same accounts have in common: who may come, who has guessed too often, and
// what is good once.

#include <atomic>
#include <future>
#include <thread>

#include "service/accounts/cluster_fixture.h"
#include "service/relay/door/shared_counts.h"

namespace zephyl {
namespace {

INSTANTIATE_TEST_SUITE_P(, RelayTest,
                         testing::Values(Ways{Logs::Memory, By::Tcp, &TestPostgres::NewDatabase}),
                         [](const auto&) { return "Database"; });

class ClusterTest : public testing::Test {
protected:
    void SetUp() override
    {
        QUORVIA_NEEDS_POSTGRES();
        database = TestPostgres::NewDatabase();
        one.emplace(database);
        other.emplace(database);
    }
    std::string database;
    std::optional<Site> one, other;
};

/// Asks one relay and the other by turns until it is told to wait; how often it was not.
int Tries(const std::function<Result(int)>& ask)
{
    int tries = 0;
    while (tries < 50 && ask(tries) != RESULT_LATER) ++tries;
    return tries;
}

TEST_F(ClusterTest, AGuesserGainsNothingByChangingTheRelay)
{
    Site* const sites[] = {&*one, &*other};
    // Five, and three that each address has free: then the account is slow for longer than this takes.
    const struct {
        const char* from;
        int least, most;
    } rows[] = {{"127.0.5.1", 8, 10}, {"127.0.5.2", 3, 4}, {"127.0.5.3", 3, 4}};
    for (const auto& row : rows) {
        const int guesses = Tries(
            [&](int i) { return sites[i % 2]->Login("alice", row.from + std::to_string(i), row.from); });
        EXPECT_GE(guesses, row.least) << row.from;
        EXPECT_LE(guesses, row.most) << row.from;
    }
    // A relay that comes later knows it, too.
    Site third(database);
    for (Site* const site : {&*one, &*other, &third})
        EXPECT_EQ(site->Login("alice", "secret", "127.0.5.1"), RESULT_LATER);
    // An address at many accounts has twelve.
    const int handles = Tries(
        [&](int i) { return sites[i % 2]->Login("nobody " + std::to_string(i), "guess", "127.0.5.4"); });
    EXPECT_GE(handles, 12);
    EXPECT_LE(handles, 14);
    for (Site* const site : sites) {
        EXPECT_EQ(site->Store().Shared()->TakeTurn({"bob", "127.0.5.4", {}})->Now().address.failures,
                  handles);
        EXPECT_EQ(site->Login("bob", "secret", "127.0.5.5"), RESULT_OK) << "others are not concerned";
    }
    // The old password that a client has stored is no guess, whichever relays hear of it.
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(sites[i % 2]->Login("dave", "last year's", "127.0.5.6"), RESULT_WRONG);
    EXPECT_EQ(other->Login("dave", "secret", "127.0.5.6"), RESULT_OK);
}

TEST_F(ClusterTest, CodesAreGuessedAtAllOfThemTogether)
{
    std::unique_ptr<RawClient> alices[] = {one->LoggedIn("Alice"), other->LoggedIn("Alice")};
    const int guesses =
        Tries([&](int i) { return alices[i % 2]->Enter("guess" + std::to_string(i), false).result(); });
    EXPECT_GE(guesses, 10);
    EXPECT_LE(guesses, 12);
    for (const auto& alice : alices) EXPECT_EQ(alice->Enter("guess", false).result(), RESULT_LATER);
    EXPECT_EQ(other->LoggedIn("bob")->Enter("guess", false).result(), RESULT_NOT_FOUND)
        << "others are not concerned";
}

TEST_F(ClusterTest, WhatMayBeDoneSoOftenIsTakenByNobodyTwice)
{
    SharedCounts* const counts[] = {one->Store().Shared(), other->Store().Shared()};
    std::atomic<int> taken = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
        threads.emplace_back([&, i] {
            for (int round = 0; round < 8; ++round) taken += counts[i % 2]->Take({"mails", 3}).count() == 0;
        });
    for (std::thread& each : threads) each.join();
    EXPECT_EQ(taken, 3);
    const auto wait = counts[0]->Take({"mails", 3});
    EXPECT_TRUE(wait.count() > 0 && wait <= std::chrono::seconds(20)) << wait.count();
    // What is spent in any case becomes a debt.
    for (int i = 0; i < 5; ++i) counts[i % 2]->Spend({{"codes", 3}, {"others", 60}});
    const auto used = counts[1]->Used({{"codes", 3}, {"others", 60}, {"nothing", 3}});
    EXPECT_NEAR(used[0], 5, 0.5);
    EXPECT_EQ(used[2], 0);
}

TEST_F(ClusterTest, HearsWhatChangesElsewhere)
{
    const std::function<void(Accounts&)> changes[] = {
        [](Accounts& store) { store.SetPassword("bob", HashPassword("another", kCheapHash)); },
        [](Accounts& store) {
            store.SetBan({Ban::Of::Handle, "carol", "carol", 0});
        },
        [](Accounts& store) { store.Remove("dave"); },
    };
    const char* const handles[] = {"bob", "carol", "dave"};
    auto alice = other->In("Alice");
    for (int i = 0; i < 3; ++i) {
        auto there = other->In(handles[i]);
        changes[i](one->Store());
        EXPECT_EQ(there->Goodbye(), BYE_KICKED) << handles[i];
    }
    for (const char* gone : {"bob", "dave"}) EXPECT_EQ(other->Login(gone, "secret"), RESULT_WRONG) << gone;
    auto outside = other->From("127.0.6.9");
    ASSERT_EQ(outside->Login("bob", "another", 9).result(), RESULT_OK);
    one->Store().SetBan({Ban::Of::Address, "127.0.6.9", "127.0.6.9", 0});
    EXPECT_EQ(outside->Goodbye(), BYE_KICKED);
    EXPECT_TRUE(alice->Quiet(Header::kBye));
    EXPECT_TRUE(one->Store().RemoveBan({Ban::Of::Handle, "carol", "", 0}));
}

TEST_F(ClusterTest, KnowsTheDevicesThatOthersHaveMet)
{
    std::promise<void> written, listens;
    PostgresAccounts listener([this] { return OpenDatabase(database); }, "listener",
                              [](const std::string&) {});
    listener.Watch([&, begun = false, met = false](const AccountNews& news) mutable {
        if (news.of == AccountNews::Of::Anything && !std::exchange(begun, true)) listens.set_value();
        if (news.of == AccountNews::Of::Devices && news.key == "alice" && !std::exchange(met, true))
            written.set_value();
    });
    listens.get_future().wait();
    auto laptop = one->From("127.0.7.1");
    laptop->device = "";
    ASSERT_EQ(laptop->Login("Alice", "secret", 1).result(), RESULT_OK);
    written.get_future().wait();
    // What the other relay hears later it has heard behind that.
    auto dave = other->LoggedIn("dave");
    one->Store().SetPassword("dave", "x");
    dave->Wait(Header::kBye);
    for (int host = 1; host <= 30; ++host)
        one->Login("alice", "guess " + std::to_string(host), "127.0.8." + std::to_string(host));
    auto elsewhere = other->From("127.0.9.1");
    elsewhere->device = laptop->device;
    for (int i = 0; i < 11; ++i)
        EXPECT_EQ(elsewhere->Login("alice", "typo " + std::to_string(i), 1).result(), RESULT_WRONG) << i;
    EXPECT_EQ(elsewhere->Login("alice", "secret", 1).result(), RESULT_OK);
    EXPECT_EQ(elsewhere->device, laptop->device) << "no new one";
    listener.EndWatch();
}

TEST_F(ClusterTest, ManyComeAtOnceAndAMailedPasswordIsUsedOnce)
{
    Accounts& store = one->Store();
    const std::string drawn = DrawPassword();
    for (int i = 0; i < 10; ++i) store.Add("c" + std::to_string(i), HashPassword("own", kCheapHash), "");
    store.TakeMailTurn("c0", BanClock());
    ASSERT_TRUE(store.SetMailed("c0", {}, {HashPassword(drawn, kCheapHash), BanClock()}));
    auto before = other->Fresh();
    ASSERT_EQ(before->Login("c0", "own", 3).result(), RESULT_OK);
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 20; ++i)
        threads.emplace_back([&, i] {
            Site& site = i % 2 ? *one : *other;
            right += site.Login("c" + std::to_string(i / 2), i < 2 ? drawn : "own") == RESULT_OK;
        });
    for (std::thread& each : threads) each.join();
    EXPECT_EQ(right, 20) << one->log->All() << other->log->All();
    EXPECT_EQ(store.Find("c0")->generation, 2);
    before->Wait(Header::kBye);  // for the new password, or for the new login if that was first
    EXPECT_EQ(one->Login("c0", "own"), RESULT_WRONG);
}

}  // namespace
}  // namespace zephyl
