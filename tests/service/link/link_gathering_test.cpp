// The real link whose meeting another relay keeps than the one that it is connected to.
#include "reliability/fault_proxy.h"
#include "service/keepers/sites.h"
#include "service/link/link_room.h"

namespace zephyl {
namespace {

using namespace Qt::StringLiterals;

/// Alice begins the meeting at the first relay; others come to the second. Clients reach each by a door.
class GatheringTest : public testing::Test {
protected:
    void Open(std::size_t room)
    {
        const auto relay = [&](const char* name, FaultProxy& door) {
            ClusterTimes times = Site::kTimes;
            times.gatherAfter = pause;
            auto site =
                std::make_unique<Site>(cluster, name, times, [&](RelayOptions& options, MemoryEngine&) {
                    options.cluster.advertise = At(door.Port());
                    options.cluster.gather = room;
                });
            door.SetTarget(site->relay->Port());
            return site;
        };
        one = relay("one", first);
        two = relay("two", second);
        alice = Comes(first, "Alice");
        EXPECT_TRUE(alice->link->CreateMeeting(u"Room01"_s, {}));
    }
    static std::string Of(const FaultProxy& door) { return At(door.Port()); }
    AttendeePtr Comes(const FaultProxy& door, const char* handle, Protocol protocol = Protocol::Tcp) const
    {
        auto attendee =
            std::make_unique<LinkedAttendee>(QString::fromStdString(Of(door)), one->relay->Fingerprint());
        attendee->protocol = protocol;
        EXPECT_TRUE(attendee->Login(QString::fromLatin1(handle)));
        return attendee;
    }
    AttendeePtr Bob(Protocol protocol = Protocol::Tcp)
    {
        auto bob = Comes(second, "bob", protocol);
        EXPECT_TRUE(bob->link->JoinMeeting(u"Room01"_s));
        EXPECT_EQ(alice->Next(), u"bob=5"_s);
        return bob;
    }
    /// To the relay that keeps the meeting.
    bool Goes(LinkedAttendee& bob) const
    {
        return bob.Until([&] { return StatsOf(*bob.link).relay == Of(first); });
    }
    static bool WasCut(const LinkedAttendee& bob)
    {
        return std::any_of(bob.states.begin(), bob.states.end(), [](const LinkState& state) {
            return state.phase == LinkState::Phase::Cut || state.back != LinkState::Back::No;
        });
    }
    /// Both ways, each line once and in order.
    void Talk(LinkedAttendee& bob, int from, int count)
    {
        QStringList toAlice, toBob;
        for (int i = from; i < from + count; ++i) {
            const QString line = QString::number(i);
            bob.link->Send(u"Alice"_s, line);
            alice->link->Send(u"bob"_s, line);
            toAlice += u"bob:"_s + line;
            toBob += u"Alice:"_s + line;
        }
        bob.Turn();
        alice->Turn();
        EXPECT_EQ(alice->Next(count), toAlice);
        EXPECT_EQ(bob.Next(count), toBob);
    }

    std::chrono::milliseconds pause{200};  // to twice that, until somebody goes
    MemoryCluster cluster;
    FaultProxy first{1}, second{1};
    std::unique_ptr<Site> one, two;
    AttendeePtr alice;
};

TEST_F(GatheringTest, ASeatGoesToItsMeetingsRelayAndNobodyNotices)
{
    Open(100);
    for (const Protocol protocol : {Protocol::Tcp, Protocol::Udp}) {
        auto bob = Bob(protocol);
        Talk(*bob, 0, 20);
        for (int i = 0; StatsOf(*bob->link).relay.empty(); i += 20) Talk(*bob, i, 20);  // while it goes
        EXPECT_TRUE(Goes(*bob));
        Talk(*bob, 1000, 20);
        EXPECT_FALSE(WasCut(*bob));
        EXPECT_EQ(StatsOf(*bob->link).reconnects, 0u);
        // From there on it is lost like any other connection.
        first.Cut();
        EXPECT_TRUE(bob->Until([&] { return WasCut(*bob); }));
        Talk(*bob, 2000, 20);
        bob.reset();
        EXPECT_EQ(alice->Next(), u"bob=0"_s);
    }
}

TEST_F(GatheringTest, ItStaysWhereThereIsNoRoom)
{
    pause = std::chrono::milliseconds(20);
    Open(0);
    const std::uint64_t before = first.Connections();
    auto bob = Bob();
    for (int i = 0; i < 1000; ++i) Talk(*bob, i, 1);  // which takes longer
    EXPECT_EQ(first.Connections(), before);
}

TEST_F(GatheringTest, ItStaysWhereTheWebServerChooses)
{
    pause = std::chrono::milliseconds(20);
    Open(100);
    const std::uint64_t before = first.Connections();
    auto bob = Bob(Protocol::Http);
    auto carol = two->LoggedIn("carol");  // sees what is said, and does not go
    EXPECT_EQ(carol->Enter("Room01", false).result(), RESULT_OK);
    EXPECT_EQ(carol->Wait(Header::kKeptAt).header.kept_at().relay(), Of(first));
    EXPECT_EQ(alice->Next(), u"carol=5"_s);
    EXPECT_EQ(bob->Next(), u"carol=5"_s);
    for (int i = 0; i < 100; ++i) Talk(*bob, i, 1);
    EXPECT_EQ(first.Connections(), before);
}

TEST_F(GatheringTest, WhoLeavesOnTheWayHasLeft)
{
    Open(100);
    auto bob = Bob();
    first.Delay(FaultProxy::Way::Down, std::chrono::milliseconds(200));
    EXPECT_TRUE(bob->Until([&] { return bob->Logged(u"The seat goes"_s) > 0; }));
    bob->link->LeaveMeeting();
    EXPECT_EQ(alice->Next(), u"bob=0"_s);
    EXPECT_TRUE(bob->link->JoinMeeting(u"Room01"_s));
    EXPECT_EQ(alice->Next(), u"bob=5"_s);
    EXPECT_FALSE(WasCut(*bob));
}

/// The road to the other relay ends, or is silent, behind so many bytes of what that says: in the handshake,
/// before the greeting, before the answer, behind it.
TEST_F(GatheringTest, WhateverIsInTheWayNothingIsLost)
{
    Open(100);
    int line = 0;
    for (const auto& [bytes, silent] :
         {std::pair{1, false}, {750, false}, {750, true}, {900, false}, {900, true}, {1500, false}}) {
        SCOPED_TRACE(std::to_string(bytes) + (silent ? " silent" : " cut"));
        auto bob = Bob();
        if (silent)
            first.SilenceOne(bytes);
        else
            first.CutAfter(std::size_t(bytes), FaultProxy::Way::Down);
        const auto stays = [&] { return bob->Logged(u"does not go"_s) > 0; };
        const auto back = [&] { return bob->states.back().back == LinkState::Back::Resumed; };
        EXPECT_TRUE(bob->Until([&] { return stays() || back(); }));
        Talk(*bob, line += 100, 50);
        bob.reset();
        EXPECT_EQ(alice->Next(), u"bob=0"_s);
    }
}

}  // namespace
}  // namespace zephyl
