// What an operator sees of relays that share their meetings, and what becomes of them on bad days.

#include <boost/json.hpp>
#include <future>
#include <set>

#include "service/keepers/sites.h"
#include "service/relay/admin_socket.h"
#include "service/relay/keepers/leases.h"
#include "service/relay/report.h"

namespace zephyl {
namespace {

namespace json = boost::json;
using namespace std::chrono_literals;

std::string Text(const json::value& value)
{
    return value.is_string() ? std::string(value.as_string()) : std::string();
}

/// As the operator of one relay is told.
json::value StatusOf(const Site& site)
{
    const auto answer = AskDaemon(site.options.data, "status");
    EXPECT_TRUE(answer && answer->word == "ok");
    EXPECT_NO_THROW(StatusText(answer->body));
    return json::parse(answer->body);
}

/// "one in touch, two gone", the relay's own first.
std::string RelaysAt(const Site& site)
{
    std::string all;
    const json::value status = StatusOf(site);
    for (const json::value& one : status.at("cluster").at("relays").as_array())
        all += (all.empty() ? "" : ", ") + Text(one.at("name")) + ' ' + Text(one.at("state"));
    return all;
}

const json::value* MeetingIn(const json::value& status, const std::string& code)
{
    for (const json::value& one : status.at("meetings").as_array())
        if (Text(one.at("code")) == code) return &one;
    return nullptr;
}

/// Asks until it is so. False: not within ten seconds.
bool Becomes(const std::function<bool()>& so)
{
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < until)
        if (so()) return true;
    return false;
}

class Operators : public testing::Test {
protected:
    MemoryCluster cluster;
};

TEST_F(Operators, SeeTheWholeClusterFromAnyRelay)
{
    Site one(cluster, "one"), two(cluster, "two"), three(cluster, "three");
    auto alice = one.In("Alice"), bob = two.LoggedIn("bob"), carol = three.LoggedIn("carol");
    ASSERT_EQ(bob->Enter("Room01", false).result(), RESULT_OK);
    ASSERT_EQ(carol->Enter("Room02", true).result(), RESULT_OK);
    EXPECT_TRUE(Becomes([&] { return RelaysAt(three) == "three in touch, one in touch, two in touch"; }));
    // Bob is asked how he is by the relay in front of the keeper.
    EXPECT_TRUE(Becomes([&] {
        bob->Quiet(Header::kBye);
        const json::value status = StatusOf(one);
        const json::array& seats = MeetingIn(status, "room01")->at("attendees").as_array();
        return seats.size() == 2 && !seats[1].at("delay_ms").is_null();
    }));
    for (const Site* site : {&one, &two, &three}) {
        SCOPED_TRACE(site->options.cluster.name);
        const json::value status = StatusOf(*site);
        const json::value *first = MeetingIn(status, "room01"), *second = MeetingIn(status, "room02");
        ASSERT_TRUE(first && second && status.at("meetings").as_array().size() == 2);
        EXPECT_EQ(Text(first->at("keeper")), "one");
        EXPECT_EQ(Text(second->at("keeper")), "three");
        const json::array& seats = first->at("attendees").as_array();
        ASSERT_EQ(seats.size(), 2u);
        EXPECT_TRUE(seats[0].at("relay").is_null());
        EXPECT_EQ(Text(seats[1].at("handle")), "bob");
        EXPECT_EQ(Text(seats[1].at("relay")), "two");
        EXPECT_FALSE(seats[1].at("delay_ms").is_null());
        EXPECT_TRUE(status.at("cluster").at("log").at("connected").as_bool());
        EXPECT_GT(status.at("cluster").at("log").at("entries").as_int64(), 0);
    }
    two.relay->Stop();
    EXPECT_TRUE(Becomes([&] { return RelaysAt(one) == "one in touch, three in touch, two stopped"; }));
}

TEST_F(Operators, AreToldWhenTheKeeperDoesNotAnswer)
{
    ClusterTimes patient = Site::kTimes;
    patient.goneAfter = patient.leftAfter = 1h;
    Site one(cluster, "one", patient), two(cluster, "two", patient);
    auto alice = one.In("Alice");
    EXPECT_EQ(two.Tell("unkick Room01\tbob"), "not kicked");
    one.engine->Cut();
    for (const char* line : {"kick Room01\tbob", "unkick Room01\tbob", "close Room01"})
        EXPECT_EQ(two.Tell(line), "no answer") << line;
    EXPECT_EQ(two.Tell("close Room02"), "no meeting");
    // What it keeps is known all the same.
    const json::value status = StatusOf(two);
    EXPECT_EQ(Text(MeetingIn(status, "room01")->at("keeper")), "one");
    EXPECT_FALSE(MeetingIn(status, "room01")->at("told").as_bool());
    one.engine->Mend();
}

TEST_F(Operators, LeaveNothingOfAMeetingThatIsClosedWhileTheServersAreAway)
{
    ClusterTimes patient = Site::kTimes;
    patient.goneAfter = patient.leftAfter = patient.decidesFor = 1h;
    patient.cutOffAfter = 2h;
    Site one(cluster, "one", patient), two(cluster, "two", patient);
    auto alice = one.In("Alice");
    alice->PostAndWait(1, "a line");
    const std::string log = kEngineLogs + EngineKey(one.place.meeting());
    one.engine->Cut();
    EXPECT_EQ(one.Tell("close Room01"), "no answer");  // another relay may have it by now
    EXPECT_EQ(alice->Goodbye(), BYE_ENDED);
    EXPECT_GT(cluster.Entries(log + ".talk"), 0u);
    one.engine->Mend();
    EXPECT_TRUE(Becomes([&] {
        return cluster.Entries(log + ".talk") + cluster.Entries(log + ".seats") == 0 &&
               StatusOf(two).at("meetings").as_array().empty();
    }));
}

TEST_F(Operators, AreNotToldThatSomethingIsDoneWhichAnotherRelayNeverHeardOf)
{
    ClusterTimes careless = Site::kTimes;
    careless.decidesFor = 1h;
    careless.leftAfter = careless.cutOffAfter = 2h;
    Site one(cluster, "one", careless), two(cluster, "two");
    auto alice = one.In("Alice"), bob = two.LoggedIn("bob");
    one.engine->Cut();
    EXPECT_EQ(one.Tell("kick Room01\tcarol"), "no answer");
    EXPECT_EQ(one.Tell("close Room01"), "no answer");
    ASSERT_TRUE(Becomes([&] { return bob->Enter("Room01", false).result() == RESULT_OK; }));
    one.engine->Mend();
    EXPECT_TRUE(Becomes([&] { return one.Tell("kick Room01\tdave") == "ok"; }));
    EXPECT_EQ(one.Tell("unkick Room01\tcarol"), "not kicked");
    bob->PostAndWait(1, "it goes on");
}

TEST_F(Operators, MayStartARelayAnewWhoseOldLifeStoodStill)
{
    Site old(cluster, "one"), two(cluster, "two");
    auto alice = old.LoggedIn("Alice");
    Site anew(cluster, "one");
    EXPECT_EQ(alice->Goodbye(), BYE_RESTART);
    EXPECT_EQ(RelaysAt(old).substr(0, 12), "one replaced");
    EXPECT_EQ(anew.LoggedIn("bob")->Enter("Room01", true).result(), RESULT_OK);
    EXPECT_EQ(RelaysAt(anew), "one in touch, two in touch");
}

TEST_F(Operators, AreNotObeyedLateInAnotherMeetingOfThatCode)
{
    Site one(cluster, "one"), two(cluster, "two");
    auto alice = one.In("Alice"), bob = two.LoggedIn("bob");
    alice->Leave();
    one.engine->Hold();
    EXPECT_NE(two.Tell("close Room01"), "ok");
    ASSERT_TRUE(Becomes([&] { return bob->Enter("Room01", true).result() == RESULT_OK; }));
    one.engine->Release();
    EXPECT_TRUE(Becomes([&] { return one.Tell("unkick Room01\tdave") == "not kicked"; }));
    bob->PostAndWait(1, "it goes on");
}

TEST_F(Operators, MayForgetWhatARelayLeftBehind)
{
    ClusterTimes times = Site::kTimes;
    times.orphanedAfter = 200ms;
    const Site::Tune quick = [](RelayOptions& options, MemoryEngine&) {
        options.times.grace = options.times.away = options.times.keepEmpty = 100ms;
    };
    auto one = std::make_unique<Site>(cluster, "one", times, quick);
    Site two(cluster, "two", times, quick);
    auto alice = one->In("Alice");
    const std::string log = kEngineLogs + EngineKey(one->place.meeting());
    one.reset();  // as kill -9, and nobody asks for that meeting any more
    EXPECT_TRUE(Becomes([&] {
        return cluster.Entries(log + ".seats") == 0 && StatusOf(two).at("meetings").as_array().empty();
    }));
    EXPECT_EQ(RelaysAt(two), "two in touch, one gone");
}

TEST_F(Operators, AreToldOfARelayWithAnotherKey)
{
    Site one(cluster, "one");
    auto alice = one.In("Alice");
    const TemporaryFolder keys;
    const Identity other = PrepareIdentity(keys.path);
    Site stranger(cluster, "stranger", Site::kTimes, [&](RelayOptions& options, MemoryEngine&) {
        options.key = other.key;
        options.certificate = other.certificate;
    });
    EXPECT_TRUE(Becomes([&] {
        return RelaysAt(one) == "one in touch, stranger has another key" &&
               RelaysAt(stranger) == "stranger has another key, one in touch";
    }));
    EXPECT_EQ(stranger.Fresh()->Goodbye(), BYE_RESTART);
    EXPECT_EQ(one.LoggedIn("bob")->Enter("Room01", false).result(), RESULT_OK);
    const Welcome welcome = one.Fresh()->Wait(Header::kWelcome).header.welcome();
    EXPECT_EQ(welcome.relays_size(), 0) << "nobody is sent to a relay that takes nobody";
}

TEST_F(Operators, MayStartARelayBeforeTheServers)
{
    Site one(cluster, "one", Site::kTimes, [](RelayOptions&, MemoryEngine& engine) { engine.Cut(); });
    EXPECT_FALSE(one.relay->TakesClients());
    EXPECT_TRUE(Becomes([&] { return RelaysAt(one) == "one out of touch"; }));
    // Until it is sure of that it lets people log in; then it sends them away.
    EXPECT_THROW(one.LoggedIn("Alice")->Enter("Room01", true), std::exception);
    one.engine->Mend();
    EXPECT_TRUE(Becomes([&] { return one.relay->TakesClients(); }));
    EXPECT_EQ(one.LoggedIn("Alice")->Enter("Room01", true).result(), RESULT_OK);
}

TEST_F(Operators, NeedNotExplainThatServersWereAwayForAMoment)
{
    ClusterTimes patient = Site::kTimes;
    patient.goneAfter = patient.leftAfter = patient.decidesFor = 1h;
    patient.cutOffAfter = 2h;
    Site one(cluster, "one", patient);
    auto alice = one.LoggedIn("Alice"), bob = one.LoggedIn("bob");
    for (const auto& [client, creates] : {std::pair(&alice, true), std::pair(&bob, false)}) {
        one.engine->Cut();
        auto entered =
            std::async(std::launch::async, [&] { return (*client)->Enter("Room01", creates).result(); });
        EXPECT_EQ(entered.wait_for(300ms), std::future_status::timeout);
        one.engine->Mend();
        EXPECT_EQ(entered.get(), RESULT_OK);
    }
}

TEST_F(Operators, MayAddAndTakeAwayRelaysWhileClientsAreThere)
{
    Site one(cluster, "one"), two(cluster, "two");
    auto alice = one.In("Alice"), bob = two.LoggedIn("bob");
    ASSERT_EQ(bob->Enter("Room01", false).result(), RESULT_OK);
    Site three(cluster, "three");
    const auto hears = [](RawClient& client, const std::set<std::string>& wanted) {
        for (;;) {
            const Received told = client.Wait(Header::kRelays);
            const auto& named = told.header.relays().relays();
            if (std::set<std::string>(named.begin(), named.end()) == wanted) return true;
        }
    };
    EXPECT_TRUE(hears(*alice, {"two:1", "three:1"}));
    EXPECT_TRUE(hears(*bob, {"one:1", "three:1"}));
    three.relay->Stop();
    EXPECT_TRUE(hears(*alice, {"two:1"}));
    EXPECT_TRUE(hears(*bob, {"one:1"}));
}

}  // namespace
}  // namespace zephyl
