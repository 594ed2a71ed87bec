// A person's own service while its neighbours may come in: who gets in where, and what stays of it.
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

class Guests : public testing::Test, protected RelayRoom {
protected:
    Guests() : RelayRoom(Ways{Logs::Memory})
    {
        options.personal = true;
        options.door = std::string(64, 'd');
    }
    static LetInState Ask(RawClient& client, LetIn::Wish wish)
    {
        Header header;
        header.mutable_let_in()->set_call(77);
        header.mutable_let_in()->set_wish(wish);
        client.Send(header);
        return client.Wait(Header::kLetInState).header.let_in_state();
    }
    /// Made by `handle`, and open from now on.
    std::unique_ptr<RawClient> Host(const char* handle = "Alice", const char* code = "Room01")
    {
        auto host = LoggedIn(handle);
        const Entered entered = host->Enter(code, true);
        EXPECT_EQ(entered.result(), RESULT_OK);
        place = entered.place();
        const LetInState state = Ask(*host, LetIn::OPEN);
        EXPECT_EQ(state.result(), RESULT_OK);
        const std::string address = state.addresses_size() > 0 ? state.addresses(0) : ":0";
        mPort = static_cast<std::uint16_t>(std::stoi(address.substr(address.rfind(':') + 1)));
        return host;
    }
    std::unique_ptr<RawClient> Outside(const std::string& from = "127.0.0.2")
    {
        return std::make_unique<RawClient>(mPort, "", kProtocolVersion, from);
    }
    Result Login(const std::string& handle, const std::string& password,
                 const std::string& from = "127.0.0.2")
    {
        return Outside(from)->Login(handle, password, 5).result();
    }
    bool Listens()
    try {
        Outside();
        return true;
    } catch (const std::exception&) {
        return false;
    }

    std::uint16_t mPort = 0;
    std::unique_ptr<RawClient> mElsewhere;
};

TEST_F(Guests, ComeIntoTheOneMeetingAndHaveAHandleOfTheirOwn)
{
    auto dave = LoggedIn("dave");
    EXPECT_EQ(Ask(*dave, LetIn::OPEN).result(), RESULT_NOT_PERMITTED) << "in no meeting";
    EXPECT_EQ(dave->Enter("Private1", true).result(), RESULT_OK);
    auto alice = Host();
    EXPECT_EQ(Ask(*dave, LetIn::OPEN).result(), RESULT_IN_USE);
    EXPECT_EQ(Ask(*dave, LetIn::ASK).addresses_size(), 0) << "his is not open";
    EXPECT_ANY_THROW(RawClient(relay->Port()).Login("Zoe", "z", 1)) << "the inner door stays as it was";

    const struct {
        const char *handle, *password;
        Result result;
    } logins[] = {
        {"Zoe", "zoe's", RESULT_OK},
        {"Alice", "secret", RESULT_WRONG},  // not even with the right
                                            // password
        {"zoe", "other", RESULT_WRONG},
        {"dave", "secret", RESULT_WRONG},
        {"A1ice", "x", RESULT_WRONG},
        {"\xd0\x90lice", "x", RESULT_WRONG},
        {"Yan", "", RESULT_WRONG},
    };
    for (const auto& row : logins) EXPECT_EQ(Login(row.handle, row.password), row.result) << row.handle;
    EXPECT_EQ(Outside()->ChangePassword("Zoe", "zoe's", "other").result(), RESULT_NOT_PERMITTED);

    auto zoe = Outside();
    ASSERT_EQ(zoe->Login("ZOE", "zoe's", 9).handle(), "Zoe");
    EXPECT_EQ(Ask(*zoe, LetIn::ASK).result(), RESULT_NOT_PERMITTED);
    EXPECT_EQ(zoe->Enter("Private1", false).result(), RESULT_NOT_FOUND);
    EXPECT_EQ(zoe->Enter("Private1", true).result(), RESULT_NOT_FOUND) << "nothing is made from outside";
    EXPECT_EQ(zoe->Enter("room01", false).result(), RESULT_OK);
    EXPECT_EQ(Ask(*zoe, LetIn::CLOSE).result(), RESULT_NOT_PERMITTED);
    EXPECT_EQ(alice->Presence(), "Zoe 5");
    zoe->Post(1, "hello from outside");
    EXPECT_EQ(alice->Texts(1), std::vector<std::string>{"Zoe: hello from outside"});
    auto carol = LoggedIn("carol");
    const Place other = carol->Enter("Private2", true).place();
    EXPECT_EQ(Outside()->Resume(other, {}).result(), RESULT_UNKNOWN) << "whoever has the token of a seat";
    EXPECT_EQ(Fresh()->Resume(other, {}).result(), RESULT_OK);
}

TEST_F(Guests, CannotGuessNorFillTheHouse)
{
    auto alice = Host();
    auto zoe = Outside();
    EXPECT_EQ(zoe->Login("Zoe", "z", 9).result(), RESULT_OK);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(zoe->Enter("Guess" + std::to_string(i), false).result(), RESULT_NOT_FOUND) << i;
    auto sibling = Outside(), stranger = Outside("127.0.0.3");
    EXPECT_EQ(sibling->Login("Sib", "s", 9).result(), RESULT_OK);
    EXPECT_EQ(sibling->Enter("Guess11", false).result(), RESULT_LATER) << "another account, the same guesser";
    EXPECT_EQ(stranger->Login("Yan", "y", 9).result(), RESULT_OK);
    EXPECT_EQ(stranger->Enter("Room01", false).result(), RESULT_OK);
    for (int host = 10; host < 15; ++host) {  // one guesser, many addresses
        auto moving = Outside("127.0.0." + std::to_string(host));
        EXPECT_EQ(moving->Login("Zoe", "z", 9).result(), RESULT_OK);
        for (int i = 0; i < 10; ++i)
            EXPECT_EQ(moving->Enter("Other" + std::to_string(i), false).result(), RESULT_NOT_FOUND) << host;
    }
    auto late = Outside("127.0.0.20");
    EXPECT_EQ(late->Login("Late", "l", 9).result(), RESULT_OK);
    EXPECT_EQ(late->Enter("Room01", false).result(), RESULT_LATER) << "outside it is enough for this minute";
    EXPECT_EQ(LoggedIn("bob")->Enter("Room01", false).result(), RESULT_OK) << "inside nobody notices";
    for (int i = 2; i < 10; ++i) EXPECT_EQ(Login("Many" + std::to_string(i), "m"), RESULT_OK) << i;
    EXPECT_EQ(Login("Many10", "m"), RESULT_LATER);
    EXPECT_EQ(Login("Zoe", "z"), RESULT_OK) << "who is there already comes again";
    for (int i = 0; i < 30; ++i)
        Login("Alice", "guess " + std::to_string(i), "127.0.1." + std::to_string(i + 1));
    auto again = Fresh();
    EXPECT_EQ(again->Login("Alice", "secret", StreamOf("Alice")).result(), RESULT_OK)
        << "nobody outside slows her";
}

TEST_F(Guests, AreGoneWithTheMeetingAndLeaveNothing)
{
    options.times.grace = options.times.away = std::chrono::milliseconds(100);
    const struct {
        const char* how;
        std::function<void(std::unique_ptr<RawClient>&)> end;
    } rows[] = {
        {"asked", [](auto& alice) { EXPECT_EQ(Ask(*alice, LetIn::CLOSE).addresses_size(), 0); }},
        {"left", [](auto& alice) { alice->Leave(); }},
        {"killed", [](auto& alice) { alice->Kill(); }},
        {"logged in elsewhere",
         [this](auto&) {
             mElsewhere = Fresh();
             EXPECT_EQ(mElsewhere->Login("Alice", "secret", 99).result(), RESULT_OK);
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.how);
        StartRelay();
        auto alice = Host();
        auto zoe = Outside(), idle = Outside();
        ASSERT_EQ(zoe->Login("Zoe", "z", 9).result(), RESULT_OK);
        ASSERT_EQ(zoe->Enter("Room01", false).result(), RESULT_OK);
        ASSERT_EQ(idle->Login("Idle", "i", 9).result(), RESULT_OK);
        row.end(alice);
        for (RawClient* guest : {zoe.get(), idle.get()}) {
            const Bye bye = guest->Wait(Header::kBye).header.bye();
            EXPECT_EQ(bye.reason(), BYE_ENDED);
            EXPECT_EQ(bye.text(), "The meeting is not open to others any more.");
        }
        EXPECT_FALSE(Listens());
        mElsewhere.reset();
    }
    // A handle that a guest had is free again, and the next opening knows nobody.
    auto bob = Host("bob", "Room02");
    EXPECT_EQ(Login("Zoe", "another password"), RESULT_OK);
    // Killed while it is open: the next one begins without guests, and with those who live there.
    EXPECT_TRUE(relay->TheAccounts().Find("Zoe"));
    StartRelay();
    EXPECT_FALSE(relay->TheAccounts().Find("Zoe"));
    EXPECT_TRUE(relay->TheAccounts().Find("bob"));
}

/// A service that is for many has a way in already.
TEST_F(Guests, AreNothingToAServiceForMany)
{
    options.personal = false;
    options.door.clear();
    EXPECT_EQ(Ask(*In("Alice"), LetIn::OPEN).result(), RESULT_NOT_PERMITTED);
}

}  // namespace
}  // namespace zephyl
