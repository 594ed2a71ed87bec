// Live frames by datagrams at a real service: what a client's datagrams do, and what a stranger's do not.

#include <set>

#include "service/net/datagram_socket.h"
#include "service/relay/beside.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

using namespace std::chrono_literals;
using Clock = DatagramRoad::Clock;

class DatagramTest : public testing::Test, protected RelayRoom {
protected:
    DatagramTest() : RelayRoom({Logs::Memory}) {}
    std::uint16_t Port() { return relay->Port(); }
    /// Both in the meeting, and Alice's datagrams pass.
    void Meet()
    {
        alice = In("Alice");
        alices = place;
        bob = In("bob");
        up = std::make_unique<Beside>(Port(), alices);
        ASSERT_TRUE(up->Open());
    }
    /// The next live frame inside TLS, as Beside names them.
    static std::string NextInside(RawClient& client)
    {
        const Received live = client.Wait(Header::kLive);
        return live.header.live().from() + ' ' + std::to_string(live.header.live().frame());
    }

    std::unique_ptr<RawClient> alice, bob;
    Place alices;
    std::unique_ptr<Beside> up;
};
using Frames = std::vector<std::string>;

TEST_F(DatagramTest, AFrameIsShownWholeNewAndOnceOrNotAtAll)
{
    Meet();
    std::string said, begun;
    AppendFrame(said, PostHeader(CHANNEL_TALK, 1, 5), "hello", Way::Up);
    AppendFrame(begun, LiveHeader(0, 90, kLiveFrameBytes), "x", Way::Up);

    up->Film(5, 30'000);
    EXPECT_EQ(NextInside(*bob), "Alice 5");
    const std::vector<std::string> before = up->sent;
    up->Film(6, 30'000, 0, 7);  // a part is lost
    up->Film(4, 100);           // late
    up->Film(5, 100);
    for (const std::string& datagram : before) up->SendRaw(datagram);  // replayed
    up->Put(said);                                                     // no live frame
    up->Put(begun);
    up->Put(begun.substr(0, 5));
    up->Put(std::string(2000, '\xff'));
    up->Film(7, 100, 2);
    up->Film(8, 100, 9);
    up->Film(9, 100);
    EXPECT_EQ(NextInside(*bob), "Alice 9");
    EXPECT_TRUE(bob->Quiet(Header::kLive) && bob->Quiet(Header::kItem));
    alice->Post(1, "still here");
    EXPECT_EQ(bob->Texts(1), Frames{"Alice: still here"});
}

TEST_F(DatagramTest, NobodyElseIsHeardOrAnswered)
{
    Meet();
    Place other = alices;
    other.set_udp_id(alices.udp_id() + 1);
    Place stranger = alices;
    stranger.set_udp_key_up(std::string(32, 'k'));
    Beside wrongAddress(Port(), alices, "127.0.0.3"), wrongId(Port(), other), wrongKey(Port(), stranger);
    for (Beside* one : {&wrongAddress, &wrongId, &wrongKey}) {
        one->Film(7, 100);
        for (const std::string& datagram : up->sent) one->SendRaw(datagram);
        for (const std::size_t bytes : {0, 1, 16, 32, 33, 1200, 1201, 9000})
            one->SendRaw(std::string(bytes, 'g'));
        DatagramBatch probe;
        one->road->Tick(Clock::now(), probe);
        one->Send(probe);
    }
    // Their datagrams came before these, through the same socket.
    up->Film(8, 100);
    EXPECT_EQ(NextInside(*bob), "Alice 8");
    for (Beside* one : {&wrongAddress, &wrongId, &wrongKey}) EXPECT_FALSE(one->Receive(0ms));
    bob->SendLive(0, 1, "down");  // and where it goes has not changed
    EXPECT_TRUE(up->Until([&] { return up->frames == Frames{"bob 1"}; }));
}

TEST_F(DatagramTest, KeysEndWithThePlaceTheyCameWith)
{
    options.times.grace = std::chrono::minutes(1);
    Meet();
    auto again = Fresh();
    const Place second = again->Resume(alices, {}).place();
    EXPECT_NE(second.udp_id(), alices.udp_id());
    EXPECT_NE(second.udp_key_up(), alices.udp_key_up());
    EXPECT_NE(second.udp_key_up(), second.udp_key_down());
    Beside now(Port(), second);
    ASSERT_TRUE(now.Open());
    up->Film(1, 100);
    now.Film(2, 100);
    EXPECT_EQ(NextInside(*bob), "Alice 2");

    again->Leave();
    EXPECT_EQ(bob->Presence(), "Alice 0");
    while (now.Receive(0ms)) {  // what came before
    }
    now.Film(3, 100);
    DatagramBatch probe;
    now.road->Tick(Clock::now() + 6s, probe);
    now.Send(probe);
    const Place third = again->Enter("Room01", false).place();
    Beside here(Port(), third);
    ASSERT_TRUE(here.Open());
    here.Film(4, 100);
    EXPECT_EQ(NextInside(*bob), "Alice 4");
    EXPECT_FALSE(now.Receive(0ms));
}

TEST_F(DatagramTest, TheNewestDatagramSaysWhereToSend)
{
    Meet();
    Beside second(Port(), up->road);  // the same computer, another port: a router forgot the first one
    second.Film(1, 100);
    EXPECT_EQ(NextInside(*bob), "Alice 1");
    up->SendRaw(up->sent.front());  // replayed: changes nothing
    second.Film(2, 100);
    EXPECT_EQ(NextInside(*bob), "Alice 2");
    bob->SendLive(0, 1, "down");
    EXPECT_TRUE(second.Until([&] { return second.frames == Frames{"bob 1"}; }));
    EXPECT_TRUE(alice->Quiet(Header::kLive));  // and not inside as well
}

TEST_F(DatagramTest, WhoSendsTooManyLosesThemAndNothingElse)
{
    options.budgets.liveFrames = 5;
    Meet();
    int shown = 0;
    const auto look = [&] {
        for (; !bob->Quiet(Header::kLive); ++shown) NextInside(*bob);
        return shown;
    };
    for (std::uint64_t frame = 1; frame <= 200; ++frame) up->Film(frame, 100);
    alice->Post(1, "a line");
    EXPECT_EQ(bob->Texts(1), Frames{"Alice: a line"});
    EXPECT_LE(look(), 15);
    for (std::uint64_t frame = 201, before = std::uint64_t(shown); std::uint64_t(look()) == before; ++frame) {
        up->Film(frame, 100);
        up->Receive(20ms);
    }
}

TEST_F(DatagramTest, VoiceGoesBesideToo)
{
    Meet();
    Beside down(Port(), place);
    ASSERT_TRUE(down.Open());
    alice->TalkWith({"bob"});
    bob->TalkWith({"Alice"});
    ASSERT_TRUE(bob->Quiet(Header::kVoice) && alice->Quiet(Header::kVoice));
    up->Say(2);
    up->Say(1);  // it is the listener who puts them in order
    EXPECT_TRUE(down.Until([&] { return down.frames == (Frames{"voice 2", "voice 1"}); }));
    for (const std::string& datagram : std::vector(up->sent)) up->SendRaw(datagram);  // replayed
    up->Film(1, 100);
    EXPECT_TRUE(down.Until([&] { return down.frames.size() == 3; }));
    EXPECT_EQ(down.frames.back(), "Alice 1");
}

TEST_F(DatagramTest, WhereManySpeakEachPacketOfEachArrivesOnce)
{
    const std::vector<std::string> names{"Alice", "bob", "carol", "dave", "eve", "fay"};
    StartRelay();
    for (const char* more : {"eve", "fay"})
        relay->TheAccounts().Add(more, HashPassword("secret", kCheapHash), "");
    constexpr std::uint64_t kPackets = 20;
    std::vector<std::unique_ptr<RawClient>> clients;
    std::vector<std::unique_ptr<Beside>> roads;
    for (const std::string& name : names) {
        clients.push_back(In(name));
        roads.push_back(std::make_unique<Beside>(Port(), place));
        ASSERT_TRUE(roads.back()->Open());
    }
    for (const auto& client : clients) {
        client->TalkWith(names);
        ASSERT_TRUE(client->Quiet(Header::kVoice));
    }
    const auto others = [&](std::size_t who) { return names.size() - (who + 1 < names.size() ? 2 : 1); };
    for (std::uint64_t i = 0; i < kPackets; ++i) {
        for (std::size_t who = 0; who + 1 < names.size(); ++who)  // one only listens
            roads[who]->Say(who * 100 + i, std::string(120, 'p'));
        for (std::size_t who = 0; who < names.size(); ++who)
            ASSERT_TRUE(
                roads[who]->Until([&] { return roads[who]->frames.size() >= others(who) * (i + 1); }));
    }
    for (std::size_t who = 0; who < names.size(); ++who) {
        const std::set<std::string> once(roads[who]->frames.begin(), roads[who]->frames.end());
        EXPECT_EQ(once.size(), others(who) * kPackets) << names[who];
        EXPECT_EQ(roads[who]->frames.size(), once.size());
    }
}

TEST_F(DatagramTest, AServiceMayHaveNone)
{
    options.udp = false;
    alice = In("Alice");
    EXPECT_EQ(alice->Wait(Header::kWelcome).header.welcome().udp_port(), 0u);
    EXPECT_EQ(place.udp_id(), 0u);
    EXPECT_TRUE(place.udp_key_up().empty());
}

}  // namespace
}  // namespace zephyl
