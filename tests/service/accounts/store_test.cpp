// What every store of accounts does, in a file and in a database.

#include <sqlite3.h>
#include <sys/stat.h>

#include <atomic>
#include <barrier>
#include <functional>
#include <thread>

#include "service/accounts/test_postgres.h"
#include "service/relay/door/passwords.h"
#include "service/relay/door/postgres_schema.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/log/journal.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

using namespace std::string_literals;

enum class Kind { File, Database };

class AccountStore : public testing::TestWithParam<Kind> {
protected:
    void SetUp() override
    {
        StartSodium();
        if (GetParam() == Kind::File) return;
        QUORVIA_NEEDS_POSTGRES();
        database = TestPostgres::NewDatabase();
    }
    /// One more of whoever uses it at the same time.
    std::shared_ptr<Accounts> Opened()
    {
        if (GetParam() == Kind::File)
            all.push_back(std::make_shared<SqliteAccounts>(folder.path));
        else
            all.push_back(std::make_shared<PostgresAccounts>([uri = database] { return OpenDatabase(uri); },
                                                             "test", [](const std::string&) {}));
        return all.back();
    }
    /// As the first version left it, with one account.
    void MakeOldOne()
    {
        const char* const row =
            "INSERT INTO account VALUES('ann', 'ann', 'Ann', 'own', 'ann@example.org', 1, 7);";
        if (GetParam() == Kind::Database) {
            DatabasePool pool([uri = database] { return OpenDatabase(uri); }, [](const std::string&) {});
            DatabasePool::Lease lease = pool.Take();
            BringSchemaTo(lease, 1);
            return lease.Run(row);
        }
        sqlite3* old = nullptr;
        sqlite3_open((folder.path / "accounts.sqlite").c_str(), &old);
        sqlite3_exec(
            old,
            "CREATE TABLE account(key TEXT PRIMARY KEY, skeleton TEXT NOT NULL UNIQUE, handle TEXT NOT "
            "NULL, hash TEXT NOT NULL, address TEXT NOT NULL, permitted INTEGER NOT NULL DEFAULT 1, "
            "generation INTEGER NOT NULL DEFAULT 1);",
            nullptr, nullptr, nullptr);
        sqlite3_exec(old, row, nullptr, nullptr, nullptr);
        sqlite3_close(old);
    }

    TemporaryFolder folder;
    std::string database;
    std::vector<std::shared_ptr<Accounts>> all;
};

INSTANTIATE_TEST_SUITE_P(, AccountStore, testing::Values(Kind::File, Kind::Database),
                         [](const auto& kind) { return kind.param == Kind::File ? "File" : "Database"; });

TEST(SqliteStore, NobodyElseReadsItsFiles)
{
    const TemporaryFolder folder;
    SqliteAccounts(folder.path).Add("Paul", "hash", "");
    for (const auto& file : std::filesystem::directory_iterator(folder.path)) {
        struct stat info {};
        ::stat(file.path().c_str(), &info);
        EXPECT_EQ(info.st_mode & 0777, 0600u) << file.path();
    }
}

TEST_P(AccountStore, OneNamePerPersonsEye)
{
    Accounts& accounts = *Opened();
    accounts.Add("Paul", "hash", "paul@example.org");
    for (const char* taken : {"Paul", "PAUL", " paul ", "P\xD0\xB0ul"})  // the last with a Cyrillic letter
        EXPECT_THROW(accounts.Add(taken, "other", ""), AccountError) << taken;
    EXPECT_EQ(accounts.Find("pAUL")->handle, "Paul");
    EXPECT_FALSE(accounts.Find("P\xD0\xB0ul"));  // alike, but not him
    accounts.SetPassword("paul", "new");
    EXPECT_EQ(accounts.Find("Paul")->generation, 2);
    EXPECT_FALSE(accounts.SetPermitted("nobody", false));
    for (const bool permitted : {false, true})
        EXPECT_TRUE(accounts.SetPermitted("PAUL", permitted) &&
                    accounts.Find("Paul")->permitted == permitted);
    const std::string key = accounts.ServerKey();
    EXPECT_EQ(key.size(), 20u);
    EXPECT_EQ(key.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(Opened()->ServerKey(), key);  // drawn once
    EXPECT_TRUE(accounts.Remove("PAUL"));
    EXPECT_FALSE(accounts.Remove("Paul"));
}

TEST_P(AccountStore, AMailedPasswordIsGoodForAWhileAndOnce)
{
    MakeOldOne();
    constexpr std::int64_t now = 1'000'000;
    Accounts& accounts = *Opened();
    EXPECT_THROW(accounts.TakeMailTurn("nobody", now), AccountError);
    EXPECT_EQ(accounts.TakeMailTurn("ANN", now), 0);
    EXPECT_EQ(accounts.TakeMailTurn("ann", now + 599), 1);
    EXPECT_EQ(accounts.TakeMailTurn("ann", now + 600), 0);
    accounts.GiveMailTurnBack("ann", now);  // another one's
    EXPECT_EQ(accounts.TakeMailTurn("ann", now + 601), 599);
    EXPECT_EQ(accounts.TakeMailTurn("ann", now), 0) << "the clock was set back";

    EXPECT_TRUE(accounts.SetMailed("ann", {}, {"mailed", now}));
    EXPECT_FALSE(accounts.SetMailed("ann", {}, {"other", now})) << "somebody else was first";
    EXPECT_EQ(Opened()->Find("ann")->mailed.hash, "mailed");
    for (const auto& [later, good] : {std::pair(-1, false), {0, true}, {899, true}, {900, false}})
        EXPECT_EQ(accounts.Find("ann")->mailed.Good(now + later), good) << later;
    EXPECT_FALSE(accounts.UseMailed("ann", "wrong"));
    EXPECT_FALSE(accounts.UseMailed("ann", ""));
    EXPECT_TRUE(accounts.UseMailed("ANN", "mailed"));
    EXPECT_FALSE(accounts.UseMailed("ann", "mailed"));
    EXPECT_EQ(accounts.Find("ann")->passwordHash, "mailed");
    EXPECT_EQ(accounts.Find("ann")->generation, 8);

    const struct {
        const char* what;
        std::function<bool()> change;
        bool stays;
    } rows[] = {{"a new password", [&] { return accounts.SetPassword("ann", "chosen"); }, false},
                {"another address", [&] { return accounts.SetAddress("ann", "ann@example.net"); }, false},
                {"permission", [&] { return accounts.SetPermitted("ann", false); }, true},
                {"a new account",
                 [&] {
                     return accounts.Remove("ann") &&
                            accounts.TakeMailTurn(accounts.Add("ann", "x", "").handle, now) == 0;
                 },
                 false}};
    for (const auto& row : rows) {
        accounts.SetMailed("ann", accounts.Find("ann")->mailed, {"mailed", now});
        EXPECT_TRUE(row.change()) << row.what;
        EXPECT_EQ(accounts.Find("ann")->mailed.Good(now), row.stays) << row.what;
        EXPECT_EQ(accounts.UseMailed("ann", "mailed"), row.stays) << row.what;
    }
}

TEST_P(AccountStore, ReadsHandlesAsPeopleDoAndNothingElse)
{
    Accounts& accounts = *Opened();
    for (const char* made : {"J\u00fcrgen", "ann", "\u00c5sa 1"}) accounts.Add(made, made, "");
    const std::pair<std::string, const char*> rows[] = {
        {"ju\u0308rgen", "J\u00fcrgen"},  // as another keyboard writes it
        {"JU\u0308RGEN", "J\u00fcrgen"},
        {"a\u030asa 1", "\u00c5sa 1"},
        {"ann", "ann"},
        {"ann\0"s, nullptr},
        {"ann\0x"s, nullptr},
        {"\0"s, nullptr},
        {"", nullptr},
        {"ann'; DROP TABLE account; --", nullptr},
        {"_nn", nullptr},
        {"\xff\xfe", nullptr},
    };
    for (const auto& [given, handle] : rows) {
        SCOPED_TRACE(given);
        const auto found = accounts.Find(given);
        EXPECT_EQ(found.has_value(), handle != nullptr);
        EXPECT_EQ(found ? found->handle : "", handle ? handle : "");
        if (handle) continue;
        EXPECT_FALSE(accounts.SetPassword(given, "taken") || accounts.UseMailed(given, "") ||
                     accounts.Remove(given));
        EXPECT_THROW(accounts.Add(given, "x", ""), AccountError);
    }
    // Where any text may stand it comes back as it was.
    const std::string odd = "'; DROP TABLE account; -- \\ $1 \u202e \n%";
    EXPECT_TRUE(accounts.SetAddress("ann", odd) && accounts.SetPassword("ann", odd));
    EXPECT_EQ(accounts.Find("ann")->address, odd);
    EXPECT_EQ(accounts.Find("ann")->passwordHash, odd);
    std::vector<std::string> order;
    for (const Account& one : accounts.List()) order.push_back(one.handle);
    EXPECT_EQ(order, (std::vector<std::string>{"ann", "J\u00fcrgen", "\u00c5sa 1"}));
}

TEST_P(AccountStore, KeepsBansDevicesAndGuests)
{
    Accounts& accounts = *Opened();
    const std::int64_t now = BanClock();
    accounts.SetBan({Ban::Of::Handle, "ann", "Ann", 0});
    accounts.SetBan({Ban::Of::Address, "192.0.2.0/24", "192.0.2.0/24", now + 1000});
    accounts.SetBan({Ban::Of::Address, "192.0.2.0/24", "192.0.2.0/24", now + 2000});
    accounts.SetBan({Ban::Of::Address, "198.51.100.1", "198.51.100.1", now - 1});
    const std::vector<Ban> bans = Opened()->Bans();
    ASSERT_EQ(bans.size(), 2u) << "one has run out, one was set twice";
    EXPECT_TRUE(bans[0].of == Ban::Of::Handle && bans[0].shown == "Ann" && bans[0].until == 0);
    EXPECT_TRUE(bans[1].of == Ban::Of::Address && bans[1].until == now + 2000);
    EXPECT_FALSE(accounts.RemoveBan({Ban::Of::Address, "ann", "", 0})) << "of another kind";
    EXPECT_TRUE(accounts.RemoveBan({Ban::Of::Handle, "ann", "", 0}));

    accounts.Add("ann", "hash", "");
    accounts.SaveDevices("ann", "wfirst ");
    accounts.SaveDevices("ann", "wsecond a10.0.0.1 ");
    EXPECT_EQ(Opened()->DevicesOf("ann"), "wsecond a10.0.0.1 ");
    EXPECT_EQ(accounts.Devices().size(), 1u);
    EXPECT_EQ(accounts.DevicesOf("bob"), "");
    EXPECT_TRUE(accounts.AddGuest("Gus", "hash").guest && accounts.Find("gus")->guest);
    EXPECT_FALSE(accounts.Find("ann")->guest);
    EXPECT_EQ(accounts.RemoveGuests(), std::vector<std::string>{"Gus"});
    EXPECT_FALSE(accounts.Find("gus"));
    EXPECT_TRUE(accounts.Remove("ann"));
    EXPECT_EQ(accounts.DevicesOf("ann"), "") << "whoever has the handle next does not inherit them";
}

// A backup is the same wherever the accounts are; so is what a service grows out of.
TEST_P(AccountStore, IsWholeInItsImage)
{
    Accounts& accounts = *Opened();
    accounts.Add("Ann", "ann's", "ann@example.org");
    accounts.SetPassword("ann", "newer");
    accounts.TakeMailTurn("ann", 1000);
    accounts.SetMailed("ann", {}, {"mailed", 1000});
    accounts.SetPermitted(accounts.Add("bob", "bob's", "").handle, false);
    accounts.SaveDevices("ann", "wword ");
    accounts.SetBan({Ban::Of::Handle, "eve", "Eve", 0});
    const std::string key = accounts.ServerKey();
    const std::string image = accounts.Image();
    EXPECT_EQ(SqliteAccounts::FaultOf(image), "");

    const TemporaryFolder elsewhere;
    WriteSafely(elsewhere.path / "accounts.sqlite", image);
    std::vector<std::shared_ptr<Accounts>> copies{std::make_shared<SqliteAccounts>(elsewhere.path)};
    if (TestPostgres::Installed()) {
        const auto filled = std::make_shared<PostgresAccounts>(
            [uri = TestPostgres::NewDatabase()] { return OpenDatabase(uri); }, "copy",
            [](const std::string&) {});
        filled->ServerKey();  // of a relay that was started too early
        filled->Fill(image);
        EXPECT_THROW(filled->Fill(image), AccountError) << "there are accounts by now";
        copies.push_back(filled);
    }
    for (const auto& copy : copies) {
        const Account ann = copy->Find("ANN").value();
        EXPECT_EQ(ann.handle + ann.passwordHash + ann.address + ann.mailed.hash,
                  "Annnewerann@example.orgmailed");
        EXPECT_TRUE(ann.generation == 2 && ann.mailed.at == 1000 && ann.permitted);
        EXPECT_FALSE(copy->Find("bob")->permitted);
        EXPECT_EQ(copy->TakeMailTurn("ann", 1001), 599);
        EXPECT_EQ(copy->DevicesOf("ann"), "wword ");
        EXPECT_EQ(copy->Bans().size(), 1u);
        EXPECT_EQ(copy->ServerKey(), key);
        EXPECT_THROW(copy->Add("\u0410nn", "x", ""), AccountError) << "looks like her";
    }
}

// Several relays, and several threads of each, do the same at the same moment.
TEST_P(AccountStore, WhatIsGoodOnceIsTakenByOne)
{
    constexpr int kRounds = 12, kAtOnce = 6;
    const std::shared_ptr<Accounts> stores[] = {Opened(), Opened()};
    stores[0]->Add("ann", "own", "");
    stores[0]->TakeMailTurn("ann", 1);
    std::atomic<int> used = 0, turns = 0, made = 0;
    std::barrier together(kAtOnce);
    const auto relay = [&](int number) {
        Accounts& store = *stores[number % 2];
        const auto guarded = [](const std::function<void()>& work) {
            try {
                work();
            } catch (const AccountError& error) {
                ADD_FAILURE() << error.what();
            }
        };
        for (int round = 0; round < kRounds; ++round) {
            const std::string mailed = "mailed" + std::to_string(round);
            together.arrive_and_wait();
            if (number == 0)
                guarded([&] { EXPECT_TRUE(store.SetMailed("ann", store.Find("ann")->mailed, {mailed, 1})); });
            together.arrive_and_wait();
            guarded([&] { used += store.UseMailed("ann", mailed); });
            guarded([&] { turns += store.TakeMailTurn("ann", 10'000 + 1000 * round) == 0; });
            try {
                store.Add("same" + std::to_string(round), "x", "");
                ++made;
            } catch (const AccountError& taken) {
                EXPECT_NE(std::string(taken.what()).find("is taken"), std::string::npos) << taken.what();
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kAtOnce; ++i) threads.emplace_back(relay, i);
    for (std::thread& one : threads) one.join();
    EXPECT_EQ(used, kRounds);
    EXPECT_EQ(turns, kRounds);
    EXPECT_EQ(made, kRounds);
    EXPECT_EQ(stores[0]->Find("ann")->generation, 1 + kRounds);
}

}  // namespace
}  // namespace zephyl
