// The road of numbered exchanges, by what its streams see.

#include <thread>

#include "service/relay/admin_socket.h"
#include "service/relay/door/identity.h"
#include "service/relay/forwarded.h"
#include "service/relay/raw_http.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

using namespace std::chrono_literals;

std::string Framed(const Header& header)
{
    std::string bytes;
    AppendFrame(bytes, header, {}, Way::Up);
    return bytes;
}

std::string HelloBytes()
{
    Header header;
    header.mutable_hello()->set_version(kProtocolVersion);
    return Framed(header);
}

std::string PingBytes(std::uint64_t nonce)
{
    Header header;
    header.mutable_ping()->set_nonce(nonce);
    return Framed(header);
}

std::string Kinds(const std::string& bytes)
{
    FrameReader reader(Way::Down);
    reader.Feed(bytes);
    std::string kinds;
    while (const auto frame = reader.Next()) {
        if (frame->header.has_welcome()) kinds += "welcome ";
        if (frame->header.has_pong()) kinds += "pong " + std::to_string(frame->header.pong().nonce()) + ' ';
        if (frame->header.has_bye()) kinds += "bye ";
        if (frame->header.has_logged_in()) kinds += "in ";
    }
    return kinds;
}

class HttpTest : public testing::Test, protected RelayRoom {
protected:
    HttpTest() : RelayRoom(Ways{}) { StartRelay(); }

    std::string Opened(RawHttp& stream)
    {
        const auto answer = stream.Ask({.target = kHttpOpen, .host = "x"});
        return answer ? answer->connection : std::string();
    }
    /// Status and body; "gone" when the stream ended without an answer.
    static std::string Told(const std::optional<HttpAnswered>& answer)
    {
        if (!answer) return "gone";
        return std::to_string(answer->status) + (answer->status == 200 ? ' ' + Kinds(answer->body) : "");
    }
    static HttpPost Up(const std::string& name, std::uint64_t number, const std::string& body)
    {
        return {.target = kHttpUp, .host = "x", .connection = name, .exchange = number, .body = body};
    }
    static HttpPost Down(const std::string& name, std::uint64_t number, unsigned wait = 1)
    {
        return {
            .target = kHttpDown, .host = "x", .connection = name, .exchange = number, .waitSeconds = wait};
    }
};

TEST_F(HttpTest, ARepeatedExchangeIsAnsweredAgainAndNotAppliedAgain)
{
    RawHttp up(relay->Port()), down(relay->Port());
    const std::string name = Opened(up);
    EXPECT_EQ(Told(up.Ask(Up(name, 1, HelloBytes()))), "200 ");
    EXPECT_EQ(Told(down.Ask(Down(name, 1))), "200 welcome ");
    RawHttp other(relay->Port());  // the answer was lost, and so was its stream
    EXPECT_EQ(Told(other.Ask(Down(name, 1))), "200 welcome ");
    EXPECT_EQ(Told(up.Ask(Up(name, 2, PingBytes(7)))), "200 ");
    EXPECT_EQ(Told(other.Ask(Up(name, 2, PingBytes(8)))),
              "200 ");  // the first one counted, whatever it holds
    EXPECT_EQ(Told(other.Ask(Down(name, 2))), "200 pong 7 ");
    EXPECT_EQ(Told(up.Ask(Up(name, 3, PingBytes(9).substr(0, 5)))), "200 ");  // half a frame
    EXPECT_EQ(Told(up.Ask(Up(name, 4, PingBytes(9).substr(5)))), "200 ");
    EXPECT_EQ(Told(down.Ask(Down(name, 3))), "200 pong 9 ");
    EXPECT_EQ(Told(down.Ask(Down(name, 4, 1))), "200 ");  // held for a second, and nothing came
    EXPECT_EQ(Told(other.Ask(Down(name, 2))), "410");     // long over: the connection is lost
    EXPECT_EQ(Told(up.Ask(Up(name, 5, {}))), "410");
}

/// The service has another certificate then, and streams made before it go on.
TEST_F(HttpTest, ARepeatedExchangeHasItsAnswerAcrossAReload)
{
    RawHttp up(relay->Port()), down(relay->Port());
    const std::string name = Opened(up);
    up.Ask(Up(name, 1, HelloBytes() + PingBytes(7)));
    const auto first = down.Ask(Down(name, 1));
    PreparePrivateFolder(folder.path / "other");
    const Identity other = PrepareIdentity(folder.path / "other");
    relay->ReadsAgain([&] {
        RelayOptions again = options;
        again.key = other.key;
        again.certificate = other.certificate;
        return again;
    });
    const std::string before = relay->Fingerprint();
    ASSERT_EQ(AskDaemon(options.data, "reload")->word, "ok");
    EXPECT_NE(relay->Fingerprint(), before);
    RawHttp after(relay->Port());
    const auto again = after.Ask(Down(name, 1));
    ASSERT_TRUE(first && again);
    EXPECT_EQ(again->body, first->body);
    EXPECT_EQ(Told(after.Ask(Up(name, 1, PingBytes(8)))), "200 ");
    EXPECT_EQ(Told(up.Ask(Up(name, 2, PingBytes(9)))), "200 ");
    std::string rest;
    for (std::uint64_t poll = 2; rest.find("pong 9") == std::string::npos && poll < 9; ++poll)
        rest += Told(down.Ask(Down(name, poll)));
    EXPECT_EQ(rest.find("pong 8"), std::string::npos);
}

TEST_F(HttpTest, APollThatIsGivenUpLosesNothing)
{
    RawHttp up(relay->Port());
    const std::string name = Opened(up);
    up.Ask(Up(name, 1, HelloBytes()));
    RawHttp(relay->Port()).Ask(Down(name, 1));
    RawHttp first(relay->Port());
    first.Send(HttpText(Down(name, 2, 10)));
    first.Kill();
    std::string told = "gone";
    std::thread waits([&] {  // where the service reads the dead one last, it sends the other away once
        for (int i = 0; i < 2 && told == "gone"; ++i)
            told = Told(RawHttp(relay->Port()).Ask(Down(name, 2, 10)));
    });
    std::uint64_t number = 1;
    up.Ask(Up(name, ++number, PingBytes(1)));
    waits.join();
    EXPECT_EQ(told, "200 pong 1 ");
    RawHttp third(relay->Port());
    EXPECT_EQ(Told(third.Ask(Down(name, 2, 10))), "200 pong 1 ");  // it may have been written to the dead one
}

TEST_F(HttpTest, WhatIsNoExchangeCostsItsStreamAndNothingElse)
{
    RawHttp up(relay->Port()), down(relay->Port());
    const std::string name = Opened(up);
    up.Ask(Up(name, 1, HelloBytes()));
    const std::string named = "Host: x\r\nZephyl-Connection: " + name + "\r\n";
    const std::string post = "POST /zephyl/1/up HTTP/1.1\r\n" + named;
    std::string fields;
    for (int i = 0; i < 2000; ++i) fields += "A:b\r\n";
    const struct {
        const char* what;
        std::string bytes;
        const char* told;
    } rows[] = {
        {"nothing to look at", "GET / HTTP/1.1\r\nHost: x\r\n\r\n", "404"},
        {"another method", "GET /zephyl/1/down HTTP/1.1\r\n" + named + "Zephyl-Exchange: 1\r\n\r\n", "405"},
        {"no name", "POST /zephyl/1/up HTTP/1.1\r\nZephyl-Exchange: 2\r\nContent-Length: 0\r\n\r\n", "410"},
        {"a name that nobody has", HttpText(Up(std::string(64, '0'), 2, {})), "410"},
        {"no number", post + "Content-Length: 0\r\n\r\n", "400"},
        {"the number 0", post + "Zephyl-Exchange: 0\r\nContent-Length: 0\r\n\r\n", "400"},
        {"a sign", post + "Zephyl-Exchange: +2\r\nContent-Length: 0\r\n\r\n", "400"},
        {"a zero in front", post + "Zephyl-Exchange: 02\r\nContent-Length: 0\r\n\r\n", "400"},
        {"too large a number", post + "Zephyl-Exchange: 18446744073709551616\r\nContent-Length: 0\r\n\r\n",
         "400"},
        {"two numbers", post + "Zephyl-Exchange: 2\r\nZephyl-Exchange: 3\r\nContent-Length: 0\r\n\r\n",
         "400"},
        {"chunks", post + "Zephyl-Exchange: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "411"},
        {"chunks and a length",
         post + "Zephyl-Exchange: 2\r\nContent-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
         "400"},
        {"two lengths", post + "Zephyl-Exchange: 2\r\nContent-Length: 0\r\nContent-Length: 4\r\n\r\n", "400"},
        {"no length that is a number", post + "Zephyl-Exchange: 2\r\nContent-Length: -1\r\n\r\n", "400"},
        {"a line break inside a value",
         post + "Zephyl-Exchange: 2\r\n X: 1\rY: 2\r\nContent-Length: 0\r\n\r\n", "400"},
        {"a body before login", post + "Zephyl-Exchange: 2\r\nContent-Length: 8193\r\n\r\n", "413"},
        {"a body that nobody takes", post + "Zephyl-Exchange: 2\r\nContent-Length: 1048577\r\n\r\n", "413"},
        {"a head without end", post + "X: " + std::string(9000, 'x'), "431"},
        {"many small fields", post + fields + "\r\n", "431"},
        {"another version", "POST /zephyl/1/up HTTP/2.0\r\n\r\n", "505"},
        {"frames instead", HelloBytes() + "\r\n\r\n", "400"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        RawHttp stream(relay->Port());
        EXPECT_EQ(Told(stream.Ask(row.bytes)), row.told);
        EXPECT_EQ(Told(stream.Answer()), "gone");
    }
    EXPECT_EQ(Told(up.Ask(Up(name, 2, PingBytes(1)))), "200 ");  // and the connection knows nothing of it
    EXPECT_EQ(Told(down.Ask(Down(name, 1))), "200 welcome pong 1 ");

    // One behind the other without waiting, of an older version, and byte by byte: all of that is HTTP.
    RawHttp piped(relay->Port());
    piped.Send(HttpText(Up(name, 3, PingBytes(2))) + HttpText(Up(name, 4, PingBytes(3))));
    EXPECT_EQ(Told(piped.Answer()) + Told(piped.Answer()), "200 200 ");
    const std::string ping = PingBytes(4);
    const std::string old = "POST /zephyl/1/up HTTP/1.0\r\n" + named +
                            "Zephyl-Exchange: 5\r\nContent-Length: " + std::to_string(ping.size()) +
                            "\r\n\r\n" + ping;
    for (const char one : old) piped.Send(std::string(1, one));
    EXPECT_EQ(Told(piped.Answer()), "200 ");
    EXPECT_EQ(Told(piped.Answer()), "gone");  // it had not asked to stay
    EXPECT_EQ(Told(down.Ask(Down(name, 2))), "200 pong 2 pong 3 pong 4 ");
}

TEST_F(HttpTest, StreamsAndNamesWithoutALoginAreFewAndShort)
{
    options.bounds.connectionsPerAddress = 1;  // ten just after a start
    options.times.beforeLogin = 300ms;
    StartRelay();
    RawHttp stream(relay->Port());
    int opened = 0;
    std::optional<HttpAnswered> answer;
    while ((answer = stream.Ask({.target = kHttpOpen, .host = "x"})) && answer->status == 200) ++opened;
    EXPECT_EQ(opened, 9);  // and the stream
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 429);
    EXPECT_EQ(Told(stream.Answer()), "gone");
    RawHttp slow(relay->Port(), false, "127.0.0.2");
    const std::string name = Opened(slow);
    slow.Send("POST /zephyl/1/up HTTP/1.1\r\nZephyl-Connection: " + name +
              "\r\nZephyl-Exchange: 1\r\nContent-Length: 100\r\n\r\nabc");
    EXPECT_EQ(Told(slow.Answer()), "gone");
    EXPECT_EQ(Told(RawHttp(relay->Port(), false, "127.0.0.2").Ask(Down(name, 1, 10))), "410");
}

/// Once it is logged in nothing else counts them.
TEST_F(HttpTest, OneClientHasFewStreams)
{
    RawHttp up(relay->Port());
    const std::string name = Opened(up);
    Header login;
    login.mutable_login()->set_handle("bob");
    login.mutable_login()->set_password("secret");
    login.mutable_login()->set_stream(1);
    up.Ask(Up(name, 1, HelloBytes() + Framed(login)));
    std::string came;
    for (std::uint64_t number = 1; came.find("in ") == std::string::npos; ++number)
        came += Told(up.Ask(Down(name, number)));
    std::vector<std::unique_ptr<RawHttp>> streams;
    for (int i = 0; i < 6; ++i) {
        streams.push_back(std::make_unique<RawHttp>(relay->Port()));
        EXPECT_EQ(Told(streams.back()->Ask(Up(name, 2, {}))), "200 ");
    }
    EXPECT_EQ(Told(streams.front()->Answer()), "gone");
    EXPECT_EQ(Told(streams.back()->Ask(Up(name, 3, {}))), "200 ");
}

TEST_F(HttpTest, ReverseProxiesSpeakForManyWhereTheyAreTrusted)
{
    options.httpHost = "0.0.0.0";
    EXPECT_THROW(StartRelay(), StartError);  // without TLS, for everybody to read
    options.httpHost = "127.0.0.1";
    options.bounds.connectionsPerAddress = 1;
    for (const bool trusted : {false, true}) {
        SCOPED_TRACE(trusted);
        options.trustedProxies =
            trusted ? std::vector<std::string>{"127.0.0.0/30"} : std::vector<std::string>();
        StartRelay();
        int opened = 0;
        for (int i = 0; i < 30; ++i) {
            RawHttp stream(relay->HttpPort(), true);
            const auto answer =
                stream.Ask("POST /zephyl/1/open HTTP/1.0\r\nX-Forwarded-For: 9.9.9.9, 192.0.2." +
                           std::to_string(i) + "\r\n\r\n");
            opened += answer && answer->status == 200;
        }
        EXPECT_EQ(opened == 30, trusted);
    }
    RawHttp stream(relay->HttpPort(), true);
    const std::string name = Opened(stream);
    EXPECT_EQ(Told(stream.Ask(Up(name, 1, HelloBytes()))), "200 ");
    EXPECT_EQ(Told(RawHttp(relay->Port()).Ask(Down(name, 1))), "200 welcome ");  // one door is like the other
}

TEST(Forwarded, NamesTheLastOneThatATrustedProxySaw)
{
    const TrustedProxies trusted({"127.0.0.1", "10.0.0.0/8", "2001:db8::/33"});
    const struct {
        const char* peer;
        const char* forwarded;
        const char* client;
    } rows[] = {
        {"198.51.100.1", "192.0.2.1", "198.51.100.1"},  // not asked
        {"127.0.0.1", "", "127.0.0.1"},
        {"127.0.0.1", "192.0.2.1", "192.0.2.1"},
        {"127.0.0.1", "192.0.2.1, 10.1.2.3", "192.0.2.1"},  // two proxies
        {"127.0.0.1", "1.1.1.1,192.0.2.1,10.1.2.3",
         "192.0.2.1"},  // what the client itself wrote counts nothing
        {"127.0.0.1", "192.0.2.1, forged\r\n", "127.0.0.1"},
        {"127.0.0.1", "192.0.2.1, 11.1.2.3", "11.1.2.3"},
        {"::ffff:127.0.0.1", "192.0.2.1:4711", "192.0.2.1"},
        {"2001:db8:7fff::1", "[2001:db8:8000::2]:1", "2001:db8:8000::2"},
        {"2001:db8:8000::1", "192.0.2.1", "2001:db8:8000::1"},  // a bit too far
        {"127.0.0.1", "10.0.0.1, 10.0.0.2", "10.0.0.1"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.forwarded);
        EXPECT_EQ(ClientAddress(row.peer, row.forwarded, trusted), row.client);
    }
    for (const char* wrong : {"", "10.0.0.0/33", "10.0.0.0/", "proxy", "10.0.0.0/8/8", "::1/129"})
        EXPECT_THROW(TrustedProxies({wrong}), std::invalid_argument) << wrong;
}

}  // namespace
}  // namespace zephyl
