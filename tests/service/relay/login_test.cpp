// Who gets in, and what ends a session.

#include <atomic>
#include <latch>
#include <semaphore>

#include "service/relay/door/login_desk.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

TEST_P(RelayTest, SlowsGuessersDownAndForgivesARepeatedOldPassword)
{
    StartRelay();
    RawClient old(relay->Port());
    for (int i = 0; i < 20; ++i) EXPECT_EQ(old.Login("bob", "last year's", 1).result(), RESULT_WRONG);
    EXPECT_EQ(old.Login("bob", "secret", 1).result(), RESULT_OK);
    RawClient guesser(relay->Port());
    Result last = RESULT_WRONG;
    for (int i = 0; i < 10 && last == RESULT_WRONG; ++i)  // by whatever question
        last = guesser.ChangePassword("Alice", "guess " + std::to_string(i), "mine").result();
    EXPECT_EQ(last, RESULT_LATER);
    EXPECT_EQ(RawClient(relay->Port()).Login("carol", "secret", 1).result(),
              RESULT_OK);  // others are not concerned
}

TEST_P(RelayTest, ANewPasswordTakesTheOldOnesPlaceAndEndsItsSession)
{
    auto there = LoggedIn("Alice");
    const struct {
        const char *handle, *password, *wish;
        Result result;
    } rows[] = {
        {"Alice", "wrong", "chosen", RESULT_WRONG}, {"nobody", "secret", "chosen", RESULT_WRONG},
        {"Alice", "secret", "", RESULT_UNFIT},      {"Alice", "secret", " front", RESULT_UNFIT},
        {" ALICE ", "secret", "chosen", RESULT_OK}, {"Alice", "secret", "another", RESULT_WRONG},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.handle) + "/" + row.password + "/" + row.wish);
        EXPECT_TRUE(row.result != RESULT_OK || there->Quiet(Header::kBye));
        const PasswordChanged answer = Fresh()->ChangePassword(row.handle, row.password, row.wish);
        EXPECT_EQ(answer.result(), row.result);
        EXPECT_EQ(answer.reason().empty(), row.result != RESULT_UNFIT);
    }
    EXPECT_EQ(there->Goodbye(), BYE_KICKED);
    EXPECT_EQ(Fresh()->Login("Alice", "secret", 1).result(), RESULT_WRONG);
    EXPECT_EQ(Fresh()->Login("Alice", "chosen", 1).result(), RESULT_OK);
}

// Three guess at Alice's account from many addresses, before and after the service starts anew.
TEST_P(RelayTest, NobodyIsLockedOutByWhoGuessesAtTheirAccount)
{
    const auto from = [&](int network, int host) {
        return From("127.0." + std::to_string(network) + "." + std::to_string(host));
    };
    std::optional<std::string> word = "", bobs;
    for (int network : {10, 20}) {
        StartRelay();
        if (network == 10)
            for (const auto& [handle, given] : {std::pair("Alice", &word), {"bob", &bobs}}) {
                auto laptop = from(1, 1);
                laptop->device = "";
                ASSERT_EQ(laptop->Login(handle, "secret", 1).result(), RESULT_OK);
                ASSERT_EQ(laptop->device->size(), 32u);
                *given = laptop->device;
            }
        for (int host = 1; host <= 30; ++host)
            EXPECT_EQ(from(network, host)->Login("alice", "guess " + std::to_string(host), 1).result(),
                      RESULT_WRONG);
        const struct {
            const char* who;
            std::unique_ptr<RawClient> client;
            std::optional<std::string> word;
            int wrong;  // before the right one
            Result result;
        } rows[] = {
            {"a clean address", from(network + 1, 1), {}, 2, RESULT_OK},
            {"a guesser", from(network + 1, 2), {}, 3, RESULT_LATER},
            {"where Alice was before", from(1, 1), {}, 11, RESULT_OK},
            {"Alice's laptop elsewhere", from(network + 1, 3), word, 11, RESULT_OK},
            {"with a word that is none", from(network + 1, 4), std::string(32, 'x'), 3, RESULT_LATER},
            {"with bob's word", from(network + 1, 5), bobs, 3, RESULT_LATER},
        };
        for (const auto& row : rows) {
            row.client->device = row.word;
            for (int i = 0; i < row.wrong; ++i)
                EXPECT_EQ(row.client->Login("alice", row.who + std::to_string(i), 1).result(), RESULT_WRONG)
                    << row.who << " " << i;
            EXPECT_EQ(row.client->Login("alice", "secret", 1).result(), row.result) << row.who;
            EXPECT_EQ(row.client->device, row.word) << "no new one";
        }
        // Nobody gets in by a word alone.
        auto thief = from(network + 1, 6);
        thief->device = word;
        EXPECT_EQ(thief->Login("alice", "", 1).result(), RESULT_WRONG);
        EXPECT_EQ(thief->Login("alice", "secret", 1).result(), RESULT_OK);
    }
}

// A service on which everybody logs in at once takes its time.
TEST_P(RelayTest, TheTimeThatAPasswordTakesIsNotTheClients)
{
    options.times.beforeLogin = std::chrono::milliseconds(300);
    StartRelay();
    relay->TheAccounts().SetPassword("bob", HashPassword("secret", {30, HashCost().bytes}));
    RawClient bob(relay->Port());
    EXPECT_EQ(bob.Login("bob", "secret", 1).result(), RESULT_OK);
}

TEST(LoginDesk, LetsAStrangerPassThoseWhoGuess)
{
    StartSodium();
    TemporaryFolder folder;
    SqliteAccounts accounts(folder.path);
    accounts.Add("alice", HashPassword("secret", kCheapHash), "");
    std::counting_semaphore<> answered(0);
    std::latch guessed(1), over(1);
    std::vector<std::string> served;
    std::atomic<int> refused = 0;
    LoginDesk desk(accounts, false, kCheapHash);
    const auto ask = [&](const std::string& handle, const std::string& password, const std::string& address) {
        desk.Check({handle, password, address, {}}, [&, handle](const LoginVerdict& verdict) {
            if (verdict.result == RESULT_LATER)
                ++refused;
            else
                served.push_back(handle + " " + std::to_string(verdict.result == RESULT_OK));
            answered.release();
        });
    };
    desk.Run([&] { over.wait(); });  // one worker is left, so the order is certain
    desk.Run([&] { guessed.wait(); });
    for (int i = 0; i < 40; ++i) ask("nobody " + std::to_string(i), "guess", "10.0.0.1");
    ask("alice", "guess", "10.0.0.1");
    ask("alice", "last year's", "10.0.0.2");
    ask("alice", "secret", "10.0.0.2");
    guessed.count_down();
    for (int i = 0; i < 43; ++i) answered.acquire();
    over.count_down();
    EXPECT_EQ(refused, 43 - 2 - 32);
    // Behind the two that the workers had; the older login of the same device is answered first, and
    // meanwhile the other worker takes the newest guess. Who guesses at the handle comes behind its owner.
    EXPECT_EQ(std::vector(served.begin() + 2, served.begin() + 5),
              (std::vector<std::string>{"alice 0", "nobody 39 0", "alice 1"}));
}

// Or a crowd that goes on to the next relay would be as good as anybody there.
TEST(LoginDesk, KnowsWhoGuessesAtOtherRelays)
{
    StartSodium();
    TemporaryFolder folder;
    SqliteAccounts accounts(folder.path);
    accounts.Add("alice", HashPassword("secret", kCheapHash), "");
    std::counting_semaphore<> answered(0);
    std::latch guessed(1), over(1);
    std::vector<std::string> served;
    std::vector<int> told;
    LoginDesk here(accounts, false, kCheapHash), there(accounts, false, kCheapHash);
    here.SetTell([&](const std::string& address, int blame) {
        told.push_back(blame);
        there.Heard(address, blame);
    });
    const auto ask = [&](LoginDesk& desk, const std::string& handle, const std::string& password,
                         const std::string& address) {
        desk.Check({handle, password, address, {}}, [&, address](const LoginVerdict&) {
            served.push_back(address);
            answered.release();
        });
    };
    for (int i = 0; i < 4; ++i) {
        ask(here, "alice", "guess " + std::to_string(i), "10.0.0.1");
        answered.acquire();
    }
    EXPECT_EQ(told, (std::vector{1, 2, 4}));
    there.Run([&] { over.wait(); });  // one worker is left
    there.Run([&] { guessed.wait(); });
    for (int i = 0; i < 2; ++i) ask(there, "nobody " + std::to_string(i), "guess", "10.0.0.9");
    ask(there, "alice", "secret", "10.0.0.2");
    ask(there, "nobody 2", "guess", "10.0.0.1");
    guessed.count_down();
    for (int i = 0; i < 4; ++i) answered.acquire();
    over.count_down();
    EXPECT_EQ(served[4 + 2], "10.0.0.2");
}

TEST_P(RelayTest, ALoginElsewhereTakesOver)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    RawClient elsewhere(relay->Port());
    EXPECT_EQ(elsewhere.Login("bob", "secret", 99, true).result(), RESULT_TAKEN_OVER);  // links do not fight
    EXPECT_EQ(elsewhere.Login("bob", "secret", 99).result(), RESULT_OK);
    EXPECT_EQ(bob->Goodbye(), BYE_TAKEN_OVER);
    EXPECT_TRUE(bob->Ended());
    EXPECT_EQ(alice->Presence(), "bob 5");
    EXPECT_EQ(alice->Presence(), "bob 0");
    EXPECT_EQ(elsewhere.Enter("Room01", false).result(), RESULT_OK);
    EXPECT_EQ(alice->Presence(), "bob 5");
}

TEST_P(RelayTest, HearsOfChangedAccountsAtOnce)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    Accounts& accounts = relay->TheAccounts();
    EXPECT_TRUE(accounts.SetPermitted("bob", false));
    EXPECT_EQ(Tell("account BOB"), "ok");
    EXPECT_EQ(bob->Goodbye(), BYE_KICKED);
    EXPECT_EQ(alice->Presence(), "bob 5");
    EXPECT_EQ(alice->Presence(), "bob 0");
    RawClient again(relay->Port());
    EXPECT_FALSE(again.Login("bob", "secret", 5).permitted());
    EXPECT_EQ(again.Enter("Room01", false).result(),
              RESULT_NOT_PERMITTED);  // whatever the client asked before
    accounts.SetPermitted("bob", true);
    EXPECT_EQ(Tell("account bob"), "ok");
    EXPECT_EQ(again.Enter("Room01", false).result(), RESULT_OK);
    accounts.SetPassword("bob", HashPassword("another", kCheapHash));
    EXPECT_EQ(Tell("account bob"), "ok");
    EXPECT_EQ(again.Goodbye(), BYE_KICKED);
}

TEST_P(RelayTest, ClosesWhatDoesNotGreetOrSaysTooMuch)
{
    StartRelay();
    EXPECT_EQ(RawClient(relay->Port(), "", kProtocolVersion + 1).Goodbye(), BYE_VERSION);
    RawClient talkative(relay->Port());
    Header unknown;
    const std::string body(5000, 'x');
    talkative.Send(unknown, body);
    talkative.Send(unknown, body);
    EXPECT_EQ(talkative.Goodbye(), BYE_DONE);
    RawClient early(relay->Port());
    Header enter;
    enter.mutable_enter()->set_code("Room01");
    early.Send(enter);
    EXPECT_EQ(early.Goodbye(), BYE_DONE);
}

TEST_P(RelayTest, APersonalServiceOpensToItsDoorOnly)
{
    if (GetParam().database) GTEST_SKIP() << "its accounts are its own";
    options.personal = true;
    options.door = RandomHex(32);
    StartRelay();
    EXPECT_EQ(RawClient(relay->Port(), std::string(64, '0')).Goodbye(), BYE_ENDED);
    EXPECT_EQ(RawClient(relay->Port(), options.door).Login("Eve", "anything", 1).result(),
              RESULT_OK);  // registers
    EXPECT_EQ(RawClient(relay->Port(), options.door).Login("eve", "else", 2).result(), RESULT_WRONG);
    EXPECT_EQ(RawClient(relay->Port(), options.door).Login("frank", " blank", 3).result(), RESULT_WRONG);
    EXPECT_EQ(RawClient(relay->Port(), options.door).ChangePassword("grace", "x", "y").result(),
              RESULT_WRONG);
}

}  // namespace
}  // namespace zephyl
