// The link by HTTP through what stands between: a proxy that ends TLS and does to exchanges what proxies do,
// one that is asked for a tunnel, and the choice of it.
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <random>
#include <set>

#include "service/link/http_proxy.h"
#include "service/link/link_room.h"
#include "service/link/link_stats.h"
#include "service/link/tunnel_proxy.h"
#include "service/net/http_message.h"
#include "service/net/plain_stream.h"
#include "service/net/tls_stream.h"
#include "service/relay/door/identity.h"

namespace zephyl {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// What a proxy does to one exchange.
enum class Fate { Pass, DropAnswer, CloseBehind, Answer502, AskTwice, Slow };

/// Ends TLS under a key of its own and passes exchanges on without it, whole ones only. One thread.
class ReverseProxy {
public:
    ReverseProxy(std::uint16_t target, unsigned seed, bool faulty)
        : mTarget(target),
          mFaulty(faulty),
          mRandom(seed),
          mAcceptor(mIo, {asio::ip::address_v4::loopback(), 0})
    {
        const Identity identity = PrepareIdentity(mFolder.path);
        mTls = TlsContext::Server(identity.key, identity.certificate);
        asio::co_spawn(mIo, Accept(), asio::detached);
        mThread = std::thread([this] { mIo.run(); });
    }
    ~ReverseProxy()
    {
        mIo.stop();
        mThread.join();
    }
    std::uint16_t Port() const { return mAcceptor.local_endpoint().port(); }
    const std::string& Fingerprint() const { return mTls->Fingerprint(); }

    std::atomic<int> mostAtOnce{0}, faults{0}, exchanges{0};
    std::atomic<std::size_t> mostBody{kHttpBodyBytes};

private:
    Fate NextFate()
    {
        const unsigned die = mRandom() % 12;
        return mFaulty && die < 6 ? static_cast<Fate>(die) : Fate::Pass;
    }
    /// Who has asked on it has not closed it, whether or not that was seen here yet.
    static bool IsOpen(int stream)
    {
        tcp_info info{};
        socklen_t size = sizeof info;
        return ::getsockopt(stream, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 &&
               info.tcpi_state == TCP_ESTABLISHED;
    }
    asio::awaitable<void> Accept()
    {
        for (;;)
            asio::co_spawn(mIo, Serve(co_await mAcceptor.async_accept(asio::use_awaitable)), asio::detached);
    }
    asio::awaitable<void> Serve(tcp::socket socket)
    {
        const int handle = socket.native_handle();
        mStreams.insert(handle);
        const std::shared_ptr<void> counted(nullptr, [this, handle](void*) { mStreams.erase(handle); });
        mostAtOnce = std::max<int>(mostAtOnce, std::count_if(mStreams.begin(), mStreams.end(), IsOpen));
        try {
            TlsStream stream(std::move(socket), mTls);
            co_await stream.Handshake(Speaks::Either);
            HttpRequestReader reader;
            bool more = true;
            while (more) more = co_await Exchange(stream, reader);
            stream.Close();
        } catch (const std::exception&) {
            // whoever it was has gone
        }
    }
    asio::awaitable<bool> Exchange(TlsStream& stream, HttpRequestReader& reader)
    {
        const HttpHead* head = nullptr;
        while (!(head = reader.Head())) {
            std::string bytes;
            co_await stream.Read(bytes);
            reader.Feed(bytes);
        }
        const HttpHead asked = *head;
        std::optional<std::string> body;
        while (!(body = reader.Body())) {
            std::string bytes;
            co_await stream.Read(bytes);
            reader.Feed(bytes);
        }
        ++exchanges;
        const Fate fate = NextFate();
        faults += fate != Fate::Pass;
        // Made in statements of their own: GCC 12 makes nonsense of aggregates behind co_await.
        if (fate == Fate::Answer502 || body->size() > mostBody) {
            const HttpAnswer sorry{.status = fate == Fate::Answer502 ? 502 : 413};
            co_await stream.Write(HttpText(sorry));
            co_return true;
        }
        const HttpPost post{.target = asked.target,
                            .host = "behind",
                            .connection = asked.connection,
                            .exchange = asked.exchange.value_or(0),
                            .waitSeconds = asked.waitSeconds.value_or(0),
                            .body = *body};
        HttpAnswered answered = co_await PassOn(HttpText(post));
        if (fate == Fate::AskTwice && asked.exchange) answered = co_await PassOn(HttpText(post));
        if (fate == Fate::DropAnswer) co_return false;
        if (fate == Fate::Slow) {
            asio::steady_timer pause(mIo, 30ms);
            co_await pause.async_wait(asio::use_awaitable);
        }
        const HttpAnswer answer{.status = answered.status,
                                .body = answered.body,
                                .connection = answered.connection,
                                .keepAlive = fate != Fate::CloseBehind};
        co_await stream.Write(HttpText(answer));
        co_return fate != Fate::CloseBehind;
    }
    /// On a stream of its own each: what stands behind keeps nothing of one.
    asio::awaitable<HttpAnswered> PassOn(std::string request)
    {
        tcp::socket socket(mIo);
        co_await socket.async_connect({asio::ip::address_v4::loopback(), mTarget}, asio::use_awaitable);
        PlainStream stream(std::move(socket));
        co_await stream.Write(request);
        HttpAnswerReader reader;
        for (;;) {
            if (auto answered = reader.Next()) co_return *std::move(answered);
            std::string bytes;
            co_await stream.Read(bytes);
            reader.Feed(bytes);
        }
    }

    const std::uint16_t mTarget;
    const bool mFaulty;
    std::mt19937 mRandom;
    TemporaryFolder mFolder;
    std::shared_ptr<TlsContext> mTls;
    std::set<int> mStreams;  // outlives what runs below
    asio::io_context mIo;
    tcp::acceptor mAcceptor;
    std::thread mThread;
};

class HttpRoads : public testing::Test, protected LinkRoom {
protected:
    HttpRoads() : LinkRoom(Protocol::Http)
    {
        options.httpHost = "127.0.0.1";
        options.trustedProxies = {"127.0.0.1"};
        StartRelay();
    }
};

/// Answers that are lost, exchanges that are passed on twice, streams that end: everything once, in order.
TEST_F(HttpRoads, AProxyThatLosesAnswersLosesAndDoublesNothing)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    ReverseProxy near(relay->HttpPort(), seed, true), far(relay->HttpPort(), seed + 1, true);
    auto alice = Joined("Alice", At(near.Port()), near.Fingerprint()),
         bob = Joined("bob", At(far.Port()), far.Fingerprint());
    EXPECT_EQ(alice->Next(), u"bob=5"_s);
    const QString large(60'000, u'1');
    for (int i = 0; i < 60; ++i) {
        alice->link->Send(u"bob"_s, QString::number(i));
        alice->Turn();
        if (i % 10 == 0) alice->Draw(u"[[ZUM_WB_PEN]]%1"_s.arg(i) + large);
        alice->Turn();
        const bool pause = i % 3 == 0;
        EXPECT_TRUE(!pause || bob->Until([&] { return int(bob->heard.size()) > i; }));
    }
    QStringList lines, strokes;
    for (const QString& one : bob->Next(66))
        (one.contains(u"PEN"_s) ? strokes : lines) += one.size() > 100 ? QString::number(one.size()) : one;
    for (int i = 0; i < 60; ++i) EXPECT_EQ(lines.value(i), u"Alice:%1"_s.arg(i));
    EXPECT_EQ(strokes.size(), 6);
    EXPECT_TRUE(alice->Until([&] { return StatsOf(*alice->link).outbox == 0; }));
    EXPECT_TRUE(bob->heard.empty());
    EXPECT_EQ(StatsOf(*alice->link).reconnects + StatsOf(*bob->link).reconnects, 0u);  // nobody noticed
    EXPECT_GT(near.faults + far.faults, 10);
    EXPECT_LE(std::max<int>(near.mostAtOnce, far.mostAtOnce), 2);  // browsers' proxies allow no more
}

TEST_F(HttpRoads, WhatAProxyFindsTooLargeGoesInParts)
{
    ReverseProxy proxy(relay->HttpPort(), 1, false);
    proxy.mostBody = 5000;
    auto alice = Joined("Alice", At(proxy.Port()), proxy.Fingerprint()), bob = Joined("bob");
    EXPECT_EQ(alice->Next(), u"bob=5"_s);
    for (int i = 0; i < 3; ++i) {
        alice->Draw(u"[[ZUM_WB_PEN]]%1"_s.arg(i) + QString(200'000, u'1'));
        alice->Turn();
    }
    for (const QString& one : bob->Next(3)) EXPECT_EQ(one.size(), 200'021);
    EXPECT_EQ(StatsOf(*alice->link).reconnects, 0u);
}

/// An empty poll is held for the polling interval: what waits costs two exchanges a second at most.
TEST_F(HttpRoads, AnIdleSessionAsksOnceASecond)
{
    ReverseProxy proxy(relay->HttpPort(), 1, false);
    auto alice = LoggedIn("Alice", At(proxy.Port()), proxy.Fingerprint());
    const int before = proxy.exchanges;
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_TRUE(alice->Until([&] { return proxy.exchanges >= before + 3; }));
    EXPECT_GT(std::chrono::steady_clock::now() - begun, 1s);
}

TEST_F(HttpRoads, AProxyIsAskedForATunnel)
{
    TunnelProxy open(""), guarded("YW5uOnNlY3JldA==");  // ann:secret
    const auto at = [](const TunnelProxy& proxy) { return QString::fromStdString(At(proxy.Port())); };
    const struct {
        QString proxy;
        const char* refusal;
    } rows[] = {
        {at(open), nullptr},
        {u"http://ann:secret@"_s + at(guarded), nullptr},
        {u"http://ann:wrong@"_s + at(guarded), "asks for a name"},
        {at(guarded), "asks for a name"},
        {u"127.0.0.1:1"_s, "through the proxy 127.0.0.1:1:"},
        {u"socks5://127.0.0.1:1"_s, "cannot be understood"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(qPrintable(row.proxy));
        auto alice = Attendee();
        alice->proxy = row.proxy;
        EXPECT_EQ(alice->Login(u"Alice"_s), !row.refusal) << qPrintable(alice->link->LastRefusal());
        EXPECT_TRUE(alice->link->LastRefusal().contains(QLatin1String(row.refusal)))
            << qPrintable(alice->link->LastRefusal());
    }
    EXPECT_EQ(open.tunnels, 2);  // one for each lane
    protocol = Protocol::Tcp;
    auto alice = Attendee(At(1));
    EXPECT_FALSE(alice->Login(u"Alice"_s));
    EXPECT_TRUE(alice->link->LastRefusal().contains(u"\"HTTP\""_s));  // what may get through instead
}

/// A service that says nothing but forewords, as fast as they are read: the link's thread has other things to
/// do.
TEST_F(HttpRoads, ForewordsWithoutEndHoldUpNobody)
{
    TemporaryFolder elsewhere;
    const Identity identity = PrepareIdentity(elsewhere.path);
    const auto tls = TlsContext::Server(identity.key, identity.certificate);
    asio::io_context io;
    tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
    const auto serve = [&]() -> asio::awaitable<void> {
        std::string forewords;
        for (int i = 0; i < 2000; ++i) forewords += "HTTP/1.1 100 Continue\r\n\r\n";
        try {
            TlsStream stream(co_await acceptor.async_accept(asio::use_awaitable), tls);
            co_await stream.Handshake(Speaks::Either);
            for (;;) co_await stream.Write(forewords);
        } catch (const std::exception&) {
            // the client has had enough
        }
    };
    asio::co_spawn(io, serve(), asio::detached);
    std::thread server([&] { io.run(); });
    auto alice = Attendee(At(acceptor.local_endpoint().port()), tls->Fingerprint());
    EXPECT_FALSE(alice->Login(u"Alice"_s));
    alice.reset();  // ends its thread, so the stream and the server's
    server.join();
}

TEST(HttpProxy, IsWhatTheSettingOrTheEnvironmentNames)
{
    const struct {
        const char *setting, *https, *no, *host;
        const char* proxy;  // "" none; null: it cannot be read
    } rows[] = {
        {"", "", "", "a.example", ""},
        {"", "http://p:3128", "", "a.example", "p:3128 "},
        {"", "p", "", "a.example", "p:8080 "},
        {"http://q:1/", "http://p:3128", "", "a.example", "q:1 "},
        {"direct", "http://p:3128", "", "a.example", ""},
        {"http://ann:s%40e%3Acret@[::1]:9", "", "", "a.example", "::1:9 ann:s@e:cret"},
        {"ann@p:1", "", "", "a.example", "p:1 ann:"},
        {"https://p:1", "", "", "a.example", nullptr},
        {"p:0", "", "", "a.example", nullptr},
        {"p:65536", "", "", "a.example", nullptr},
        {"http://", "", "", "a.example", nullptr},
        {"p q", "", "", "a.example", nullptr},
        {"", "http://p:1", "*", "a.example", ""},
        {"", "http://p:1", "b.example,A.EXAMPLE", "a.example", ""},
        {"", "http://p:1", ".example", "a.example", ""},
        {"", "http://p:1", "*.example", "a.example", ""},
        {"", "http://p:1", "ample", "a.example", "p:1 "},  // not a part of a name
        {"", "http://p:1", "a.example:7420", "a.example", ""},
        {"", "http://p:1", "a.example:443", "a.example", "p:1 "},
        {"", "http://p:1", "10.0.0.0/8 192.0.2.0/24", "192.0.2.200", ""},
        {"", "http://p:1", "10.0.0.0/8", "11.0.0.1", "p:1 "},
        {"", "http://p:1", "::1", "0:0:0:0:0:0:0:1", ""},
        {"", "http://p:1", "fd00::/8", "fd12::1", ""},
        {"q:1", "", "a.example", "a.example", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.setting << '|' << row.https << '|' << row.no);
        const link::Environment environment = [&](const char* name) {
            const std::string_view wanted = name;
            return std::string(wanted == "https_proxy" ? row.https : wanted == "NO_PROXY" ? row.no : "");
        };
        const auto told = [&]() -> std::string {
            const auto proxy = link::ProxyFor(row.setting, row.host, 7420, environment);
            return proxy ? proxy->host + ':' + std::to_string(proxy->port) + ' ' + proxy->credentials : "";
        };
        if (row.proxy)
            EXPECT_EQ(told(), row.proxy);
        else
            EXPECT_THROW(told(), std::runtime_error);
    }
}

}  // namespace
}  // namespace zephyl
