// While the database is away, and what it finds when it is back.

#include <algorithm>
#include <atomic>
#include <optional>
#include <thread>

#include "service/accounts/cluster_fixture.h"
#include "service/relay/admin_socket.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/door/postgres_schema.h"

namespace zephyl {
namespace {

constexpr char kAway[] = "database is away";
constexpr char kBack[] = "database is back";

class AwayTest : public testing::Test {
protected:
    void SetUp() override
    {
        QUORVIA_NEEDS_POSTGRES();
        database = TestPostgres::NewDatabase();
    }
    /// What keeps it from being opened; "": nothing does.
    std::string Fault() const
    {
        try {
            OpenDatabaseAccounts({database, {}, {}});
        } catch (const AccountError& error) {
            return error.what();
        }
        return {};
    }
    std::string database;
    TestPostgres& Server() { return TestPostgres::The(); }
};

/// Says nothing until it is interrupted, and then not before another one is.
class StuckDatabase final : public Database {
public:
    explicit StuckDatabase(std::atomic<bool>& own, std::atomic<bool>& other) : mOwn(own), mOther(other) {}
    Answer Ask(const std::string&, const std::vector<std::string>&) override
    {
        mOwn.wait(false);
        mOther.wait(false);
        throw DatabaseAway("late");
    }
    void Run(const std::string&) override {}
    std::vector<std::string> Heard(const std::string&, std::chrono::milliseconds) override { return {}; }
    bool Alive() const override { return true; }
    void Interrupt() override
    {
        mOwn = true;
        mOwn.notify_all();
    }

private:
    std::atomic<bool>&mOwn, &mOther;
};

TEST(DatabasePool, EndsEachWaitByItselfAndThenNobodyWaits)
{
    std::atomic<bool> over[2] = {false, false};
    int opened = 0;
    std::vector<std::string> said;
    DatabasePool pool(
        [&] {
            const int number = opened++ % 2;
            return std::make_unique<StuckDatabase>(over[number], over[1 - number]);
        },
        [&](const std::string& trouble) { said.push_back(trouble); },
        {std::chrono::milliseconds(20), std::chrono::milliseconds(20), std::chrono::hours(1)});
    std::optional<DatabasePool::Lease> first(pool.Take()), second(pool.Take());
    std::thread waits([&] { EXPECT_THROW(first->Ask("SELECT 1"), DatabaseAway); });
    over[0].wait(false);  // its time is over, and it stays where it is
    EXPECT_THROW(second->Ask("SELECT 1"), DatabaseAway);
    waits.join();
    EXPECT_EQ(said, std::vector<std::string>{"late"}) << "once";
    EXPECT_THROW(pool.Take(), DatabaseAway);
    EXPECT_EQ(opened, 2) << "nobody tries within the pause";
    EXPECT_EQ(pool.Now().trouble, "late");
    first.reset();
    second.reset();
    EXPECT_THROW(pool.Take(), DatabaseAway) << "what was lost is no proof of anything";
    pool.TakeNew();
    EXPECT_EQ(said, (std::vector<std::string>{"late", ""}));
    EXPECT_NO_THROW(pool.Take());
}

TEST_F(AwayTest, WhoIsThereGoesOnAndNobodyIsCalledWrong)
{
    Site site(database);
    auto alice = site.In("Alice"), bob = site.In("bob"), carol = site.LoggedIn("carol");
    for (const bool frozen : {false, true}) {
        SCOPED_TRACE(frozen ? "frozen" : "crashed");
        frozen ? Server().Freeze() : Server().Crash();
        for (const char* password : {"secret", "wrong"}) {
            const auto refused = site.Fresh()->Login("dave", password, 1);
            EXPECT_EQ(refused.result(), RESULT_LATER);
            EXPECT_GT(refused.wait_ms(), 0u);
        }
        EXPECT_EQ(site.Fresh()->ChangePassword("dave", "secret", "lost").result(), RESULT_LATER);
        const std::uint64_t number = frozen ? 2 : 1;
        alice->PostAndWait(number, "hello");
        EXPECT_EQ(bob->Texts(1), std::vector<std::string>{"Alice: hello"});
        EXPECT_EQ(carol->Enter("nowhere", false).result(), RESULT_NOT_FOUND);
        EXPECT_EQ(carol->Enter("Room01", false).result(), RESULT_OK);
        carol->Leave();
        const auto status = AskDaemon(site.options.data, "status");
        ASSERT_TRUE(status);
        EXPECT_NE(status->body.find("away_seconds"), std::string::npos) << status->body;
        frozen ? Server().Thaw() : Server().Start();
        EXPECT_TRUE(site.log->Said(kBack, frozen ? 2 : 1));
        EXPECT_EQ(site.Fresh()->Login("dave", "secret", 1).result(), RESULT_OK);
    }
    EXPECT_TRUE(alice->Quiet(Header::kBye) && bob->Quiet(Header::kBye));
}

TEST_F(AwayTest, WhatChangedMeanwhileIsFoundWhenItIsBack)
{
    Site site(database);
    auto alice = site.In("Alice"), bob = site.In("bob");
    Server().Crash();
    EXPECT_TRUE(site.log->Said(kAway));
    Server().StartElsewhere();
    {
        const std::string name =
            database.substr(database.find("@/") + 2, database.find('?') - database.find("@/") - 2);
        const auto elsewhere = OpenDatabaseAccounts({Server().BySocket(name), {}, {}});
        elsewhere->SetPassword("bob", "another");
        elsewhere->SetBan({Ban::Of::Handle, "dave", "dave", 0});
    }
    EXPECT_TRUE(alice->Quiet(Header::kBye));
    Server().Crash();
    Server().Start();
    EXPECT_EQ(bob->Goodbye(), BYE_KICKED);
    EXPECT_TRUE(site.log->Said(kBack));
    EXPECT_EQ(site.Fresh()->Login("carol", "secret", 1).result(), RESULT_OK);
    EXPECT_TRUE(alice->Quiet(Header::kBye));
}

// Whatever was acknowledged is there, and whatever was not is there whole or not at all.
TEST_F(AwayTest, NothingThatWasAcknowledgedIsLostByACrashInTheMiddle)
{
    constexpr int kPeople = 6, kCrashes = 3;
    Site one(database), other(database);
    std::vector<std::vector<std::string>> possible(kPeople, {"secret"});
    for (int i = 0; i < kPeople; ++i)
        one.Store().Add("c" + std::to_string(i), HashPassword("secret", kCheapHash), "");
    std::atomic<bool> over = false;
    std::atomic<int> changed = 0, later = 0, wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kPeople; ++i)
        threads.emplace_back([&, i] {
            const std::string handle = "c" + std::to_string(i);
            for (int round = 0; !over; ++round) {
                const std::string wish = "wish " + std::to_string(round);
                auto client = (round % 2 ? one : other).Fresh();
                switch (client->ChangePassword(handle, possible[i].back(), wish).result()) {
                    case RESULT_OK:
                        possible[i] = {wish};
                        ++changed;
                        changed.notify_all();
                        break;
                    case RESULT_LATER:
                        ++later;
                        // In doubt: it may have been the last thing that the database did.
                        possible[i].insert(possible[i].end() - 1, wish);
                        break;
                    default:
                        // The one in doubt it was.
                        if (possible[i].size() < 2) ++wrong;
                        std::rotate(possible[i].begin(), possible[i].end() - 1, possible[i].end());
                }
            }
        });
    for (int crash = 1; crash <= kCrashes; ++crash) {
        const int enough = changed + 2 * kPeople;
        for (int now = changed; now < enough; now = changed) changed.wait(now);
        Server().Crash();
        EXPECT_TRUE(one.log->Said(kAway, crash) && other.log->Said(kAway, crash));
        Server().Start();
        EXPECT_TRUE(one.log->Said(kBack, crash) && other.log->Said(kBack, crash));
    }
    over = true;
    for (std::thread& each : threads) each.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(later, 0);
    for (int i = 0; i < kPeople; ++i) {
        const Account account = one.Store().Find("c" + std::to_string(i)).value();
        int fits = 0;
        for (const std::string& each : possible[i]) fits += PasswordFits(account.passwordHash, each);
        EXPECT_EQ(fits, 1) << i << ": of " << possible[i].size();
    }
}

TEST_F(AwayTest, APersonalServiceHasNoneOfIt)
{
    const TemporaryFolder folder;
    RelayOptions options;
    options.data = folder.path / "data";
    options.port = 0;
    options.personal = true;
    options.cluster.accounts = database;
    EXPECT_THROW(Relay(options, SilentLog(), kCheapHash), StartError);
}

TEST_F(AwayTest, AServerWithoutRoomIsSaidAndServesThoseWhoAreThere)
{
    Site site(database);
    ASSERT_EQ(site.Login("alice", "secret"), RESULT_OK);
    std::vector<std::unique_ptr<Database>> crowd;
    std::string full;
    while (full.empty() && crowd.size() < 1000) try {
            crowd.push_back(AdminOf(database));
        } catch (const DatabaseAway& error) {
            full = error.what();
        }
    EXPECT_NE(full.find("too many clients"), std::string::npos) << full;
    EXPECT_EQ(site.Login("bob", "secret"), RESULT_OK);
    EXPECT_NE(Fault().find("too many clients"), std::string::npos) << Fault();
    crowd.clear();
    EXPECT_EQ(Fault(), "");
}

TEST_F(AwayTest, TablesAreBroughtToOneStepByWhoeverComesFirst)
{
    std::vector<std::thread> threads;
    std::atomic<int> opened = 0;
    for (int i = 0; i < 5; ++i)
        threads.emplace_back([&] {
            const std::string fault = Fault();
            EXPECT_EQ(fault, "");
            opened += fault.empty();
        });
    for (std::thread& each : threads) each.join();
    EXPECT_EQ(opened, 5);

    const auto admin = AdminOf(database);
    const std::string newer = std::to_string(NewestSchema() + 1);
    admin->Run("INSERT INTO zephyl_schema(step) VALUES(" + newer + ")");
    EXPECT_NE(Fault().find("later version (step " + newer), std::string::npos) << Fault();
    admin->Run("CREATE DATABASE latin ENCODING 'LATIN1' LOCALE 'C' TEMPLATE template0");
    database = Server().BySocket("latin");
    EXPECT_NE(Fault().find("UTF8"), std::string::npos) << Fault();
    database = Server().BySocket("none");
    EXPECT_NE(Fault().find("does not exist"), std::string::npos) << Fault();
}

TEST_F(AwayTest, AStepThatIsInterruptedLeavesNothingBehind)
{
    {
        DatabasePool pool([this] { return OpenDatabase(database); }, [](const std::string&) {});
        DatabasePool::Lease lease = pool.Take();
        BringSchemaTo(lease, 1);
        lease.Run("INSERT INTO account VALUES('ann', 'ann', 'Ann', 'own', '', 1, 7)");
    }
    auto admin = AdminOf(database);
    admin->Run("BEGIN; CREATE TABLE spent(x int)");  // so that the step waits in its middle
    std::string fault;
    std::thread opening([&] { fault = Fault(); });
    const auto watching = AdminOf(database);
    while (watching->Ask("SELECT 1 FROM pg_stat_activity WHERE wait_event_type = 'Lock'", {}).rows.empty())
        std::this_thread::yield();
    Server().Crash();
    opening.join();
    EXPECT_NE(fault, "");
    Server().Start();
    EXPECT_TRUE(AdminOf(database)->Ask("SELECT 1 WHERE to_regclass('guess') IS NOT NULL", {}).rows.empty());
    EXPECT_EQ(Fault(), "");
    EXPECT_EQ(OpenDatabaseAccounts({database, {}, {}})->Find("ann")->generation, 7);
    EXPECT_FALSE(AdminOf(database)->Ask("SELECT 1 WHERE to_regclass('guess') IS NOT NULL", {}).rows.empty());
}

}  // namespace
}  // namespace zephyl
