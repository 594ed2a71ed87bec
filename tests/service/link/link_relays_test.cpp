// The real link when its relay goes: to those that it was told of, under the same key, by its own road.
#include "reliability/fake_service.h"
#include "reliability/fault_proxy.h"
#include "service/link/link_room.h"
#include "service/link/tunnel_proxy.h"

namespace zephyl {
namespace {

using namespace Qt::StringLiterals;

struct Road {
    const char* name;
    Protocol protocol;
    bool throughProxy = false;
};

/// One relay that is reached by several doors: so it is one service at several addresses, and a meeting there
/// is at all of them. Clients are told of every door but the first, and of a port where nobody is.
class LinkRelaysTest : public testing::TestWithParam<Road>, protected LinkRoom {
protected:
    LinkRelaysTest() : LinkRoom(GetParam().protocol)
    {
        if (GetParam().throughProxy) httpProxy = QString::fromStdString(At(proxy.Port()));
        options.cluster.advertise = At(home.Port());
    }
    void Open(std::vector<std::uint16_t> others)
    {
        for (const std::uint16_t port : others) options.cluster.relays.push_back(At(port));
        StartRelay();
        for (FaultProxy* door : {&home, &second, &third}) door->SetTarget(relay->Port());
    }
    static bool IsAt(LinkedAttendee& one, std::uint16_t port)
    {
        const std::string where = port ? At(port) : "";
        return one.Until([&] {
            return one.states.back().phase == LinkState::Phase::Connected &&
                   StatsOf(*one.link).relay == where;
        });
    }
    static void Kill(FaultProxy& door)
    {
        door.Block(true);
        door.Cut();
    }
    static void TalkBoth(LinkedAttendee& alice, LinkedAttendee& bob, const QString& line)
    {
        alice.link->Send(u"bob"_s, line);
        alice.Turn();
        EXPECT_EQ(bob.Next(), u"Alice:"_s + line);
        bob.link->Send(u"Alice"_s, line);
        bob.Turn();
        EXPECT_EQ(alice.Next(), u"bob:"_s + line);
    }

    FaultProxy home{1}, second{1}, third{1};
    TunnelProxy proxy{""};
};

INSTANTIATE_TEST_SUITE_P(, LinkRelaysTest,
                         testing::Values(Road{"Tcp", Protocol::Tcp}, Road{"Http", Protocol::Http},
                                         Road{"HttpThroughProxy", Protocol::Http, true},
                                         Road{"Udp", Protocol::Udp}),
                         [](const auto& one) { return one.param.name; });

TEST_P(LinkRelaysTest, WhatIsLostHereGoesOnThereAndNobodyNotices)
{
    second.Silence(0);  // lets everybody in and says nothing
    Open({second.Port(), third.Port(), 1});
    auto alice = Joined("Alice", At(home.Port())), bob = Joined("bob");
    EXPECT_EQ(alice->Next(), u"bob=5"_s);
    EXPECT_FALSE(alice->states.back().details.contains(u"relay"_s));

    Kill(home);
    EXPECT_TRUE(IsAt(*alice, third.Port()));
    TalkBoth(*alice, *bob, u"one"_s);
    const QString where = u"At the relay "_s + QString::fromStdString(At(third.Port()));
    EXPECT_TRUE(alice->Until([&] { return alice->states.back().details.startsWith(where); }));

    home.Block(false);
    Kill(third);
    EXPECT_TRUE(IsAt(*alice, 0));  // the one that the user chose is never forgotten
    TalkBoth(*alice, *bob, u"two"_s);
    EXPECT_TRUE(alice->heard.empty() && bob->heard.empty());  // nobody came or went
}

TEST_P(LinkRelaysTest, NobodyElsesKeyWillDo)
{
    TemporaryFolder papers;
    Authority authority(papers.path);
    Guise guise{authority.Make()};
    if (GetParam().protocol == Protocol::Http) guise.protocol = "\x08http/1.1";
    PretendedService stranger(guise);
    Open({stranger.Port()});
    auto alice = Joined("Alice", At(home.Port()));
    Kill(home);
    EXPECT_TRUE(alice->Until([&] { return alice->Logged(u"has another key"_s) > 0; }));
    EXPECT_TRUE(alice->link->LoggedIn());
    home.Block(false);
    EXPECT_TRUE(IsAt(*alice, 0));
    EXPECT_TRUE(stranger.Quiet());
    alice.reset();
    EXPECT_EQ(stranger.End(), "");
}

/// The other one has the same key, and meetings of its own.
TEST_P(LinkRelaysTest, ARelayThatGoesInOrderSendsItsClientsAway)
{
    const std::filesystem::path data = std::exchange(options.data, folder.path / "other");
    StartRelay();
    const std::unique_ptr<Relay> other = std::move(relay);
    PreparePrivateFolder(data);
    for (const char* file : {"key.pem", "certificate.pem"})
        std::filesystem::copy_file(options.data / file, data / file);
    options.data = data;
    Open({other->Port()});
    auto alice = LoggedIn("Alice", At(home.Port()));
    relay->Stop();
    EXPECT_TRUE(IsAt(*alice, other->Port()));
    EXPECT_TRUE(alice->link->CreateMeeting(u"Room01"_s, {}));
}

}  // namespace
}  // namespace zephyl
