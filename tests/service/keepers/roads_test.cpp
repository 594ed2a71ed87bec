// Clients whose meeting another relay keeps, by every way that they come.

#include <boost/json.hpp>
#include <map>

#include "service/keepers/sites.h"
#include "service/relay/admin_socket.h"
#include "service/relay/beside.h"

namespace zephyl {
namespace {

namespace json = boost::json;
using Frames = std::vector<std::string>;

/// Alice is at the keeper; bob, and whoever else, at another relay.
class TunnelRoads : public testing::Test {
protected:
    TunnelRoads()
    {
        alice = one.LoggedIn("Alice");
        alices = EnterRoom(*alice, true);
    }
    static Place EnterRoom(RawClient& client, bool create = false)
    {
        const Entered entered = client.Enter("Room01", create);
        EXPECT_EQ(entered.result(), RESULT_OK);
        return entered.place();
    }
    static std::unique_ptr<RawClient> ByHttp(Site& site, const std::string& handle)
    {
        auto client = std::make_unique<RawClient>(site.relay->Port(), "", kProtocolVersion, "127.0.0.1",
                                                  "127.0.0.1", By::Http);
        EXPECT_EQ(client->Login(handle, "secret", Site::StreamOf(handle)).result(), RESULT_OK);
        return client;
    }
    /// The next live picture inside the connection; it is read at once.
    std::string NextInside(RawClient& client)
    {
        const Received live = client.Wait(Header::kLive);
        client.SendRead(0, 0, mRead[&client] += live.body.size());
        return live.header.live().from() + ' ' + std::to_string(live.header.live().frame());
    }
    /// What the keeper knows of an attendee.
    json::object Attendee(const std::string& handle)
    {
        const auto answer = AskDaemon(one.options.data, "status");
        const json::value status = json::parse(answer ? answer->body : "null");
        for (const json::value& meeting : status.at("meetings").as_array())
            for (const json::value& each : meeting.at("attendees").as_array())
                if (each.at("handle").as_string() == handle) return each.as_object();
        return {};
    }

    MemoryCluster cluster;
    Site one{cluster, "one"}, two{cluster, "two"}, three{cluster, "three"};
    std::unique_ptr<RawClient> alice;
    Place alices;

private:
    std::map<const RawClient*, std::uint64_t> mRead;  // bytes of live pictures
};

TEST_F(TunnelRoads, DatagramsGoToTheRelayThatTheClientIsConnectedTo)
{
    auto bob = two.LoggedIn("bob");
    const Place bobs = EnterRoom(*bob);
    auto carol = three.LoggedIn("carol");
    const Place carols = EnterRoom(*carol);
    Beside up(one.relay->Port(), alices), bobsRoad(two.relay->Port(), bobs),
        carolsRoad(three.relay->Port(), carols);
    ASSERT_TRUE(up.Open() && bobsRoad.Open() && carolsRoad.Open());
    // From the keeper's own client to both, and from one tunnel to the other. A picture of many datagrams.
    std::uint64_t frame = 0;
    EXPECT_TRUE(bobsRoad.Until([&] {  // by TLS until the keeper has heard that datagrams arrive
        up.Film(++frame, 100);
        return !bobsRoad.frames.empty();
    }));
    while (!bob->Quiet(Header::kLive)) NextInside(*bob);
    bobsRoad.frames.clear();
    carolsRoad.Film(1, 40'000);
    EXPECT_TRUE(
        bobsRoad.Until([&] { return !bobsRoad.frames.empty() && bobsRoad.frames.back() == "carol 1"; }));
    EXPECT_TRUE(up.Until([&] { return !up.frames.empty() && up.frames.back() == "carol 1"; }));
    EXPECT_TRUE(bob->Quiet(Header::kLive)) << "what goes beside does not go inside as well";
    EXPECT_EQ(Attendee("bob").at("protocol").as_string(), "udp");
    EXPECT_EQ(Attendee("bob").at("relay").as_string(), "two");
    // One that is too large for datagrams goes inside.
    carol->SendLive(1, 1, std::string(kDatagramPictureBytes + 1, 'x'));
    EXPECT_EQ(NextInside(*bob), "carol 1");

    carol->TalkWith({"bob"});
    bob->TalkWith({"carol"});
    ASSERT_TRUE(carol->Quiet(Header::kVoice));
    bob->Post(1, "a line");  // behind which the keeper knows of both
    bob->WaitAccepted(CHANNEL_TALK, 1);
    carol->Texts(1);
    bobsRoad.frames.clear();
    for (std::uint64_t number = 1; number <= 3; ++number) carolsRoad.Say(number);
    EXPECT_TRUE(bobsRoad.Until([&] { return bobsRoad.frames.size() == 3; }));
    EXPECT_EQ(bobsRoad.frames, (Frames{"voice 1", "voice 2", "voice 3"}));
    EXPECT_TRUE(bob->Quiet(Header::kVoice));
}

TEST_F(TunnelRoads, ByHttpNobodySendsMorePicturesThanADirectOne)
{
    auto bob = ByHttp(two, "bob");
    EnterRoom(*bob);
    bob->SendLive(0, 1, "one");
    EXPECT_EQ(NextInside(*alice), "bob 1");
    alice->SendLive(0, 1, "one");
    EXPECT_EQ(NextInside(*bob), "Alice 1");
    EXPECT_EQ(Attendee("bob").at("protocol").as_string(), "http");
    // Twice a second's worth goes at once, and what is behind it waits its time.
    const auto begun = std::chrono::steady_clock::now();
    const std::uint64_t last = 4 * kHttpLiveFramesEachSecond;
    for (std::uint64_t frame = 2; frame <= last; ++frame) bob->SendLive(0, frame, "more");
    while (NextInside(*alice) != "bob " + std::to_string(last)) {
    }
    EXPECT_GT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(1));
}

TEST_F(TunnelRoads, WhoReadsSlowlyHoldsUpNobodyAndMissesNothingThatIsKept)
{
    auto bob = two.LoggedIn("bob"), carol = two.LoggedIn("carol");
    EnterRoom(*bob);
    EnterRoom(*carol);
    carol->readAlong = true;
    constexpr std::size_t bytes = 400 * 1000;
    constexpr std::uint64_t pictures = 40, live = 40;  // far more than windows, sockets and tunnels hold
    const std::string picture(bytes, 'p'), frame(60 * 1000, 'l');
    for (std::uint64_t number = 1; number <= pictures; ++number) {
        Header post = PostHeader(CHANNEL_BOARD, number, bytes);
        post.mutable_post()->mutable_picture()->set_type(2);
        alice->SendItem(post, picture);
        EXPECT_EQ(carol->Wait(Header::kItem).body.size(), bytes);
    }
    const std::string newest = "Alice " + std::to_string(live);
    for (std::uint64_t number = 1; number <= live; ++number) alice->SendLive(0, number, frame);
    while (NextInside(*carol) != newest) {
    }
    EXPECT_GT(Attendee("bob").at("unread_bytes").to_number<std::size_t>(), bytes);
    EXPECT_EQ(Attendee("bob").at("state").as_string(), "present");
    // Now he reads: every picture that is kept, and of those that are not the newest.
    bob->readAlong = true;
    int shown = 1;
    for (; NextInside(*bob) != newest; ++shown) {
    }
    EXPECT_LT(shown, 20);
    for (std::uint64_t kept = 0; kept < pictures;) kept += bob->Wait(Header::kItem).body.size() == bytes;
}

}  // namespace
}  // namespace zephyl
