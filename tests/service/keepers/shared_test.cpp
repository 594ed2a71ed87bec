// A meeting whose attendees are connected to several relays.

#include <future>
#include <set>

#include "service/keepers/sites.h"
#include "service/relay/keepers/words.pb.h"

namespace zephyl {
namespace {

class SharedMeeting : public testing::Test {
protected:
    /// In the meeting, by this relay; the first one makes it.
    std::unique_ptr<RawClient> In(Site& site, const std::string& handle)
    {
        site.made = std::exchange(mMade, true);
        auto client = site.In(handle);
        places[handle] = site.place;
        return client;
    }
    static std::vector<std::string> Attendees(const Place& place)
    {
        std::vector<std::string> handles;
        for (const Attendee& one : place.attendees()) handles.push_back(one.handle());
        return handles;
    }

    /// Whether the connection is told to end within a moment in which another question is answered.
    static int Gone(RawClient& client)
    {
        try {
            return !client.Quiet(Header::kBye);
        } catch (const std::exception&) {
            return 1;
        }
    }

    /// What came of it: who is pushed out may be told so before the answer.
    static Result LogIn(RawClient& client, std::uint64_t stream)
    {
        try {
            return client.Login("carol", "secret", stream).result();
        } catch (const boost::system::system_error&) {
            EXPECT_EQ(client.Goodbye(), BYE_TAKEN_OVER);
            return RESULT_TAKEN_OVER;
        }
    }

    MemoryCluster cluster;
    Site one{cluster, "one"}, two{cluster, "two"}, three{cluster, "three"};
    std::map<std::string, Place> places;

private:
    bool mMade = false;
};

TEST_F(SharedMeeting, HasOneOrderWhereverPeopleAre)
{
    auto alice = In(one, "Alice"), bob = In(two, "bob"), carol = In(three, "carol");
    EXPECT_EQ(Attendees(places["carol"]), (std::vector<std::string>{"Alice", "bob", "carol"}));
    EXPECT_EQ(alice->Presence(), "bob 5");
    for (int i = 1; i <= 50; ++i) {
        alice->Post(std::uint64_t(i), "a" + std::to_string(i));
        bob->Post(std::uint64_t(i), "b" + std::to_string(i));
    }
    bob->WaitAccepted(CHANNEL_TALK, 50);
    alice->WaitAccepted(CHANNEL_TALK, 50);
    std::vector<std::string> ofBob, ofAlice;
    for (const std::string& text : carol->Texts(100)) (text[0] == 'b' ? ofBob : ofAlice).push_back(text);
    EXPECT_EQ(alice->Texts(50), ofBob);
    EXPECT_EQ(bob->Texts(50), ofAlice);
    // A whisper reaches whom it is for.
    bob->Post(51, "only carol", {"carol"});
    EXPECT_EQ(carol->Texts(1), std::vector<std::string>{"bob: only carol"});
    EXPECT_TRUE(alice->Quiet(Header::kItem));
    // A picture of several frames, and one that is not kept.
    const std::string picture(100'000, 'p');
    Header post = PostHeader(CHANNEL_BOARD, 1, picture.size());
    post.mutable_post()->mutable_picture()->set_type(2);
    bob->SendItem(post, picture);
    EXPECT_EQ(carol->Wait(Header::kItem).body, picture);
    carol->SendLive(0, 1, "live");
    EXPECT_EQ(bob->Wait(Header::kLive).body, "live");
    EXPECT_EQ(alice->Wait(Header::kLive).body, "live");
}

// Whoever loses a relay goes to those that it was told of: not everybody to the same.
TEST_F(SharedMeeting, NamesEachClientOtherRelaysWhereThereAreMany)
{
    std::map<std::string, std::uint64_t> written;
    std::set<std::string> named;
    for (int client = 0; client < 10; ++client) {
        for (int i = 0; i < 20; ++i) {
            const std::string name = "r" + std::to_string(i);
            words::RelayRecord record;
            record.set_incarnation(1);
            record.set_address(name + ":1");
            record.set_fingerprint(one.relay->Fingerprint());
            std::uint64_t& last = written[name];
            one.engine->Put("relays", name, record.SerializeAsString(), last,
                            [&last](EngineResult, std::uint64_t sequence) { last = sequence; });
        }
        one.engine->Settle();
        const auto relays = one.Fresh()->Wait(Header::kWelcome).header.welcome().relays();
        EXPECT_EQ(std::size_t(relays.size()), kRelaysNamed);
        named.insert(relays.begin(), relays.end());
    }
    EXPECT_GT(named.size(), kRelaysNamed);
}

TEST_F(SharedMeeting, IsLeftAndAnotherEntered)
{
    auto alice = In(one, "Alice"), bob = In(two, "bob");
    bob->Leave();
    EXPECT_EQ(alice->Presence(), "bob 5");
    EXPECT_EQ(alice->Presence(), "bob 0");
    EXPECT_EQ(bob->Enter("Room01", true).result(), RESULT_IN_USE);
    EXPECT_EQ(bob->Enter("NoRoom", false).result(), RESULT_NOT_FOUND);
    EXPECT_EQ(bob->Enter("Room02", true).result(), RESULT_OK);  // kept here
    auto carol = three.LoggedIn("carol");
    EXPECT_EQ(carol->Enter("Room02", false).result(), RESULT_OK);
    EXPECT_EQ(bob->Presence(), "carol 5");
    carol->Leave();
    EXPECT_EQ(carol->Enter("Room01", false).result(), RESULT_OK);
    EXPECT_EQ(alice->Presence(), "carol 5");
    bob->Leave();
    // Nobody is in it: whoever starts it anew may be anywhere, and it is another meeting.
    EXPECT_EQ(three.LoggedIn("dave")->Enter("Room02", true).place().attendees_size(), 1);
}

TEST_F(SharedMeeting, IsStartedOnceWhenTwoDoAtTheSameMoment)
{
    for (int round = 0; round < 20; ++round) {
        const std::string code = "Race" + std::to_string(10 + round);
        auto alice = one.LoggedIn("Alice"), bob = two.LoggedIn("bob");
        auto first = std::async(std::launch::async, [&] { return alice->Enter(code, true); });
        const Entered second = bob->Enter(code, true);
        const Result results[] = {first.get().result(), second.result()};
        EXPECT_TRUE((results[0] == RESULT_OK) != (results[1] == RESULT_OK)) << results[0] << results[1];
        EXPECT_TRUE(results[0] == RESULT_IN_USE || results[1] == RESULT_IN_USE);
    }
}

TEST_F(SharedMeeting, HasOneLoginOfAHandle)
{
    auto alice = In(one, "Alice"), bob = In(two, "bob");
    EXPECT_EQ(alice->Presence(), "bob 5");
    // By itself it comes after whom it may be.
    EXPECT_EQ(three.Fresh()->Login("bob", "secret", 99, true).result(), RESULT_TAKEN_OVER);
    EXPECT_TRUE(alice->Quiet(Header::kItem));
    auto again = three.Fresh();
    EXPECT_EQ(again->Login("bob", "secret", 99).result(), RESULT_OK);
    EXPECT_EQ(bob->Goodbye(), BYE_TAKEN_OVER);
    EXPECT_EQ(alice->Presence(), "bob 0");
    // The same client at another relay takes its seat again, and nobody sees anything.
    EXPECT_EQ(again->Enter("Room01", false).result(), RESULT_OK);
    EXPECT_EQ(alice->Presence(), "bob 5");
    auto back = two.Fresh();
    EXPECT_EQ(back->Login("bob", "secret", 99, true).result(), RESULT_OK);
    EXPECT_EQ(again->Goodbye(), BYE_REPLACED);
    EXPECT_EQ(back->Enter("Room01", false, places["bob"].meeting()).result(), RESULT_OK);
    EXPECT_TRUE(alice->Quiet(Header::kItem));
    // Two at the same moment: one stays.
    for (std::uint64_t round = 100; round < 120; ++round) {
        auto here = one.Fresh(), there = two.Fresh();
        auto first = std::async(std::launch::async, [&] { return LogIn(*here, 2 * round); });
        const Result second = LogIn(*there, 2 * round + 1);
        const bool stays[] = {first.get() == RESULT_OK, second == RESULT_OK};
        ASSERT_TRUE(stays[0] || stays[1]);
        if (!stays[0] || !stays[1]) continue;
        ASSERT_EQ(Gone(*here) + Gone(*there), 1) << "of two that were let in one is told to go";
    }
}

TEST_F(SharedMeeting, IsResumedAtAnyRelay)
{
    auto alice = In(one, "Alice"), bob = In(two, "bob");
    EXPECT_EQ(alice->Presence(), "bob 5");
    alice->Post(1, "first");
    EXPECT_EQ(bob->Texts(1), std::vector<std::string>{"Alice: first"});
    bob->Kill();
    alice->Post(2, "second");
    Place place = places["bob"];
    for (Site* site : {&three, &one, &two}) {
        auto back = site->Fresh();
        const Resumed resumed = back->Resume(place);
        ASSERT_EQ(resumed.result(), RESULT_OK) << site->options.cluster.name;
        EXPECT_EQ(back->Texts(2), (std::vector<std::string>{"Alice: first", "Alice: second"}));
        place = resumed.place();
        back->Post(std::uint64_t(1 + (site == &one) + 2 * (site == &two)),
                   "from " + site->options.cluster.name);
        EXPECT_EQ(alice->Texts(1), std::vector<std::string>{"bob: from " + site->options.cluster.name});
        back->Kill();
    }
    // Who has resumed is logged in, and may leave and enter.
    auto back = three.Fresh();
    EXPECT_EQ(back->Resume(place).result(), RESULT_OK);
    back->Leave();
    EXPECT_EQ(alice->Presence(), "bob 0");
    EXPECT_EQ(back->Enter("Room03", true).result(), RESULT_OK);
}

}  // namespace
}  // namespace zephyl
