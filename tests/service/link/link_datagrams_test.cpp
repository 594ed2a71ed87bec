// Live pictures of the real link beside its connection, through a network that loses them.

#include <algorithm>

#include "reliability/datagram_proxy.h"
#include "reliability/linked_attendee.h"
#include "service/codec/jpeg_encoder.h"
#include "service/link/link_messenger.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Noise, so that it has the size of a camera's picture.
QByteArray Noisy(int width, int height)
{
    std::mt19937 random(5);
    std::vector<std::uint8_t> frame(Bgr24Bytes(width, height));
    std::generate(frame.begin(), frame.end(), [&] { return std::uint8_t(random()); });
    JpegEncoder encoder;
    const JpegBytes jpeg = encoder.EncodeBgr24(frame, width, height, 60);
    return QByteArray(reinterpret_cast<const char*>(jpeg.data()), qsizetype(jpeg.size()));
}

class LinkDatagramsTest : public testing::Test, protected RelayRoom {
protected:
    LinkDatagramsTest() : RelayRoom(Logs::Memory) { Begin(); }
    void Begin()
    {
        mMade = false;
        datagrams.reset();
        stream.reset();
        StartRelay();
        datagrams = std::make_unique<DatagramProxy>(relay->Port(), 4711);
        stream = std::make_unique<FaultProxy>(relay->Port(), kBehindProxies);
    }
    std::unique_ptr<LinkedAttendee> Joined(const char* handle, Protocol protocol,
                                           const std::string& host = kBehindProxies)
    {
        auto attendee = std::make_unique<LinkedAttendee>(
            QString::fromStdString(host + ":" + std::to_string(relay->Port())), relay->Fingerprint());
        attendee->protocol = protocol;
        EXPECT_TRUE(attendee->Login(QString::fromLatin1(handle)));
        EXPECT_TRUE(mMade ? attendee->link->JoinMeeting(u"room01"_s)
                          : attendee->link->CreateMeeting(u"Room01"_s, {}));
        mMade = true;
        return attendee;
    }
    static LinkStats Stats(LinkedAttendee& one) { return StatsOf(*one.link); }
    static bool ByUdp(LinkedAttendee& one)
    {
        return one.Until([&] { return Stats(one).upByUdp && Stats(one).downByUdp; });
    }
    static std::size_t Frames(const LinkedAttendee& one)
    {
        return std::size_t(std::count_if(one.heard.begin(), one.heard.end(),
                                         [](const QString& event) { return event.contains(u'#'); }));
    }
    /// Sends one after the other until `to` has seen so many more.
    bool Film(LinkedAttendee& from, LinkedAttendee& to, std::size_t count, const QByteArray& picture)
    {
        const std::size_t enough = Frames(to) + count;
        return to.Until([&] {
            from.Film(picture);
            from.Turn();
            return Frames(to) >= enough;
        });
    }

    const QByteArray small = Noisy(40, 20), camera = Noisy(200, 150);
    std::unique_ptr<DatagramProxy> datagrams;
    std::unique_ptr<FaultProxy> stream;
    bool mMade = false;
};

TEST_F(LinkDatagramsTest, PicturesPassBesideTheConnectionForThoseWhoChoseIt)
{
    auto alice = Joined("Alice", Protocol::Udp);
    auto bob = Joined("bob", Protocol::Udp);
    auto carol = Joined("carol", Protocol::Tcp, "127.0.0.1");
    ASSERT_TRUE(ByUdp(*alice) && ByUdp(*bob));
    const std::uint64_t inside = stream->Carried(FaultProxy::Way::Up),
                        before = datagrams->Came(FaultProxy::Way::Up);
    EXPECT_GT(camera.size(), 10'000);
    EXPECT_TRUE(Film(*alice, *bob, 5, camera) && Film(*alice, *carol, 5, camera));
    EXPECT_TRUE(Film(*carol, *alice, 3, camera));
    EXPECT_LT(stream->Carried(FaultProxy::Way::Up) - inside, std::uint64_t(camera.size()));
    EXPECT_GT(datagrams->Came(FaultProxy::Way::Up) - before, 40u);
    EXPECT_FALSE(Stats(*carol).upByUdp || Stats(*carol).downByUdp);
    EXPECT_EQ(Stats(*carol).datagramsReceived, 0u);
    const QString large = QString::fromUtf8("Alice#1200x400");
    alice->Film(Noisy(1200, 400));
    alice->Turn();
    EXPECT_TRUE(bob->Until([&] { return !bob->heard.empty() && bob->heard.back() == large; }));
    EXPECT_GT(stream->Carried(FaultProxy::Way::Up) - inside, 64u * 1024);
}

TEST_F(LinkDatagramsTest, PicturesGoOnWhenDatagramsStopAndComeBackToThem)
{
    auto alice = Joined("Alice", Protocol::Udp), bob = Joined("bob", Protocol::Udp);
    using Way = DatagramProxy::Way;
    DatagramProxy::Weather stopped;
    stopped.stopped = true;
    const std::vector<Way> both{Way::Up, Way::Down};
    for (const auto& ways : {both, {Way::Down}}) {
        ASSERT_TRUE(ByUdp(*alice) && ByUdp(*bob));
        for (const Way way : ways) datagrams->Set(way, stopped);
        const auto since = std::chrono::steady_clock::now();
        EXPECT_TRUE(Film(*alice, *bob, 1, small));
        EXPECT_TRUE(Film(*alice, *bob, 5, small) && Film(*bob, *alice, 5, small));
        EXPECT_LT(std::chrono::steady_clock::now() - since, 10s);
        datagrams->SetBoth({});
    }
    EXPECT_TRUE(ByUdp(*alice) && Film(*alice, *bob, 5, small));
    EXPECT_EQ(Stats(*alice).reconnects, 0u);
}

TEST_F(LinkDatagramsTest, NobodyNoticesWhereTheyNeverPass)
{
    datagrams->SetBoth({.stopped = true});
    auto alice = Joined("Alice", Protocol::Udp), bob = Joined("bob", Protocol::Udp);
    ASSERT_TRUE(alice->Until([&] { return alice->Handles().size() == 2; }));
    alice->Film(small);
    alice->Turn();
    EXPECT_TRUE(bob->Until([&] { return Frames(*bob) == 1; }));  // not even the first one is lost
    EXPECT_FALSE(Stats(*alice).upByUdp);
    EXPECT_TRUE(alice->states.back().details.contains(u"UDP does not pass"_s));
}

TEST_F(LinkDatagramsTest, EveryKindOfAddressHasThem)
{
    datagrams.reset();
    stream.reset();
    const struct {
        const char *listen, *asked;
    } rows[] = {
        {"::1", "[::1]"},         {"::", "[::1]"}, {"::", "127.0.0.1"},
        {"::", "127.0.0.3"},  // not the address that the machine would choose to answer from
        {"0.0.0.0", "127.0.0.3"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.listen) + " " + row.asked);
        options.host = row.listen;
        mMade = false;
        StartRelay();
        auto alice = Joined("Alice", Protocol::Udp, row.asked), bob = Joined("bob", Protocol::Udp, row.asked);
        EXPECT_TRUE(ByUdp(*alice) && ByUdp(*bob) && Film(*alice, *bob, 2, small));
    }
}

TEST_F(LinkDatagramsTest, ANewConnectionHasNewKeys)
{
    options.times.grace = 1min;
    Begin();
    auto alice = Joined("Alice", Protocol::Udp), bob = Joined("bob", Protocol::Udp);
    ASSERT_TRUE(ByUdp(*alice) && ByUdp(*bob) && Film(*alice, *bob, 3, small));
    const std::vector<std::string> old = datagrams->Kept(DatagramProxy::Way::Up);
    stream->Cut();
    ASSERT_TRUE(alice->Until([&] { return Stats(*alice).reconnects == 1; }));
    ASSERT_TRUE(bob->Until([&] { return Stats(*bob).reconnects == 1; }));
    ASSERT_TRUE(ByUdp(*alice) && ByUdp(*bob));
    bob->heard.clear();
    for (const std::string& datagram : old) datagrams->Insert(DatagramProxy::Way::Up, datagram);
    EXPECT_TRUE(Film(*alice, *bob, 3, small));
    EXPECT_NE(datagrams->Kept(DatagramProxy::Way::Up).back().substr(0, 8), old.back().substr(0, 8));
}

}  // namespace
}  // namespace zephyl
