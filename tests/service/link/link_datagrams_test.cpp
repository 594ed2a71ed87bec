// Live pictures of the real link beside its connection, through a network that loses them.

#include <algorithm>

#include "reliability/datagram_proxy.h"
#include "service/link/link_room.h"

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
    return Jpeg(width, height, std::move(frame));
}

class LinkDatagramsTest : public testing::Test, protected LinkRoom {
protected:
    LinkDatagramsTest() : LinkRoom(Protocol::Udp)
    {
        StartRelay();
        datagrams = std::make_unique<DatagramProxy>(relay->Port(), 4711);
        stream = std::make_unique<FaultProxy>(relay->Port(), kBehindProxies);
    }
    /// Behind both of them.
    AttendeePtr Behind(const char* handle) { return Joined(handle, At(relay->Port(), kBehindProxies)); }
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
};

TEST_F(LinkDatagramsTest, PicturesPassBesideTheConnectionForThoseWhoChoseIt)
{
    auto alice = Behind("Alice");
    auto bob = Behind("bob");
    protocol = Protocol::Tcp;
    auto carol = Joined("carol");
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
    auto alice = Behind("Alice"), bob = Behind("bob");
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
    auto alice = Behind("Alice"), bob = Behind("bob");
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
        made = false;
        StartRelay();
        const std::string where = At(relay->Port(), row.asked);
        auto alice = Joined("Alice", where), bob = Joined("bob", where);
        EXPECT_TRUE(ByUdp(*alice) && ByUdp(*bob) && Film(*alice, *bob, 2, small));
    }
}

}  // namespace
}  // namespace zephyl
