// What an operator asks of a running service: who is in it, who has to go, and new settings.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/json.hpp>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "files/careful_file.h"
#include "service/relay/admin_socket.h"
#include "service/relay/config.h"
#include "service/relay/door/identity.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/relay_fixture.h"
#include "service/relay/report.h"

namespace zephyl {
namespace {

namespace json = boost::json;

std::string Said(const json::value& value)
{
    return std::string(value.as_string());
}

TEST(Bans, AreOfAddressesAsTheyAreWritten)
{
    const struct {
        const char* given;
        const char* range;  // null: none
        const char* inside;
        const char* outside;
    } rows[] = {
        {"192.0.2.7", "192.0.2.7", "192.0.2.7", "192.0.2.8"},
        {"192.0.2.77/24", "192.0.2.0/24", "192.0.2.255", "192.0.3.0"},
        {"192.0.2.77/31", "192.0.2.76/31", "192.0.2.76", "192.0.2.78"},
        {"::ffff:192.0.2.7", "192.0.2.7", "192.0.2.7", "::c000:207"},
        {"::ffff:192.0.2.7/120", "192.0.2.0/24", "::ffff:192.0.2.9", "192.0.3.1"},
        {"2001:db8:0:1::5", "2001:db8:0:1::/64", "2001:db8:0:1:ffff::1", "2001:db8:0:2::5"},
        {"2001:db8::5/128", "2001:db8::5/128", "2001:db8::5", "2001:db8::6"},
        {"2001:db8::/32", "2001:db8::/32", "2001:db8:ffff::", "2001:db9::"},
        {"fe80::1", "fe80::1", "fe80::1%eth0", "fe80::2%eth0"},
        {"::1", "::1", "::1", "127.0.0.1"},
        {"192.0.2.0/33", nullptr, "", ""},
        {"192.0.2.0/", nullptr, "", ""},
        {"192.0.2.0/-1", nullptr, "", ""},
        {"192.0.2.0/8 ", nullptr, "", ""},
        {"fe80::1%eth0", nullptr, "", ""},
        {"ann", nullptr, "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.given);
        const auto range = ReadRange(row.given);
        ASSERT_EQ(range.has_value(), row.range != nullptr);
        if (!range) continue;
        EXPECT_EQ(range->Text(), row.range);
        EXPECT_EQ(ReadRange(range->Text())->Text(), row.range);
        BanList list;
        list.Replace({{Ban::Of::Address, range->Text(), "", 0}});
        EXPECT_TRUE(list.BarsAddress(row.inside));
        EXPECT_FALSE(list.BarsAddress(row.outside));
        list.Replace({{Ban::Of::Address, range->Text(), "", BanClock()}});
        EXPECT_FALSE(list.BarsAddress(row.inside)) << "its time is over";
    }
    for (const char* wide : {"0.0.0.0/0", "10.0.0.0/7", "::/0", "::/15", "::ffff:0:0/96"})
        EXPECT_TRUE(RangeFault(*ReadRange(wide))) << wide;
    for (const char* usable : {"10.0.0.0/8", "2001::/16", "::1"})
        EXPECT_FALSE(RangeFault(*ReadRange(usable))) << usable;
}

class OperatorTest : public testing::Test, protected RelayRoom {
protected:
    OperatorTest() : RelayRoom({Logs::Files}) { options.times.grace = std::chrono::minutes(1); }
    json::value Status()
    {
        const auto answer = AskDaemon(options.data, "status");
        EXPECT_TRUE(answer && answer->word == "ok");
        EXPECT_NO_THROW(StatusText(answer->body));
        return json::parse(answer->body);
    }
    void Ban(Ban::Of of, const std::string& what)
    {
        relay->TheAccounts().SetBan({of, what, what, 0});
        EXPECT_EQ(Tell("bans"), "ok");
    }
};

TEST_F(OperatorTest, BansEndSessionsAndHoldOverAStart)
{
    auto bob = In("bob");
    const Place bobs = place;
    auto alice = From("127.0.0.2");
    ASSERT_EQ(alice->Login("Alice", "secret", StreamOf("Alice")).result(), RESULT_OK);
    ASSERT_EQ(alice->Enter("Room01", false).result(), RESULT_OK);
    auto carol = In("carol");
    Ban(Ban::Of::Address, "127.0.0.2");
    EXPECT_EQ(alice->Goodbye(), BYE_KICKED);
    EXPECT_TRUE(alice->Ended());
    for (const char* seen : {"Alice 5", "carol 5", "Alice 0"})  // her seat went with her
        EXPECT_EQ(bob->Presence(), seen);
    Ban(Ban::Of::Handle, "bob");
    EXPECT_EQ(bob->Goodbye(), BYE_KICKED);
    for (int starts = 0; starts < 2; ++starts) {
        EXPECT_ANY_THROW(From("127.0.0.2"));
        EXPECT_EQ(From("127.0.0.3")->Resume(bobs).result(), RESULT_UNKNOWN);
        auto wrong = Fresh();
        EXPECT_EQ(wrong->Login("bob", "guessed", 1).result(), RESULT_WRONG) << "a stranger is told nothing";
        EXPECT_ANY_THROW(Fresh()->Login("bob", "secret", StreamOf("bob")));
        LoggedIn("Alice");
        StartRelay();
    }
    ASSERT_TRUE(relay->TheAccounts().RemoveBan({Ban::Of::Address, "127.0.0.2", "", 0}));
    ASSERT_TRUE(relay->TheAccounts().RemoveBan({Ban::Of::Handle, "bob", "", 0}));
    EXPECT_EQ(Tell("bans"), "ok");
    EXPECT_EQ(From("127.0.0.2")->Login("bob", "secret", 1).result(), RESULT_OK);
}

// While the service does not run nothing ends a session; its seat must not wait for whoever is banned.
TEST_F(OperatorTest, ABanOutsideServiceTimeTakesTheSeat)
{
    auto bob = In("bob");
    relay.reset();
    SqliteAccounts(options.data).SetBan({Ban::Of::Handle, "bob", "bob", 0});
    StartRelay();
    EXPECT_EQ(Fresh()->Resume(place).result(), RESULT_UNKNOWN);
}

TEST_F(OperatorTest, AKickedOneNeitherSpeaksNorHears)
{
    auto bob = In("bob");
    auto alice = In("Alice");
    Header voice;
    voice.mutable_voice()->set_frame(1);
    for (RawClient* each : {alice.get(), bob.get()}) {
        each->TalkWith({"Alice", "bob"});
        EXPECT_TRUE(each->Quiet(Header::kVoice));
    }
    bob->Send(voice, "sound");
    alice->Wait(Header::kVoice);
    alice->Send(voice, "sound");
    bob->Wait(Header::kVoice);
    EXPECT_EQ(Tell("kick room01\tAlice"), "ok");
    bob->Send(voice, "sound");
    try {
        for (;; alice->Send(voice, "sound")) EXPECT_FALSE(alice->Next().header.has_voice());
    } catch (const std::exception&) {  // she is out
    }
    EXPECT_TRUE(bob->Quiet(Header::kVoice));
}

TEST_F(OperatorTest, WhoIsKickedStaysOutUntilUnkickedOrTheMeetingIsClosed)
{
    auto bob = In("bob");
    auto alice = In("Alice");
    const Place alices = place;
    const struct {
        const char *what, *answer;
    } rows[] = {
        {"kick room01\tnobody", "no account"}, {"kick room2\tAlice", "no meeting"},
        {"kick room01 Alice", "unknown"},      {"unkick room01\tAlice", "not kicked"},
        {"kick  ROOM01\talice", "ok"},         {"kick room01\tcarol", "ok"},  // who is not there
        {"kick room01\tcarol", "ok"},                                         // and is out already
        {"unkick room2\tAlice", "no meeting"}, {"close room2", "no meeting"},
    };
    for (const auto& row : rows) EXPECT_EQ(Tell(row.what), row.answer) << row.what;
    EXPECT_EQ(alice->Goodbye(), BYE_KICKED);
    EXPECT_EQ(bob->Presence(), "Alice 5");
    EXPECT_EQ(bob->Presence(), "Alice 0");
    for (int starts = 0; starts < 3; ++starts) {
        EXPECT_EQ(Fresh()->Resume(alices).result(), RESULT_UNKNOWN);
        for (const char* handle : {"Alice", "carol"})
            for (const std::string& rejoin : {std::string(), alices.meeting()})
                EXPECT_EQ(LoggedIn(handle)->Enter("Room01", false, rejoin).result(), RESULT_NOT_PERMITTED);
        StartRelay();
    }
    EXPECT_EQ(Tell("unkick room01\talice"), "ok");
    for (int starts = 0; starts < 2; ++starts) {
        In("Alice");
        EXPECT_EQ(LoggedIn("carol")->Enter("Room01", false).result(), RESULT_NOT_PERMITTED);
        StartRelay();
    }
    bob = In("bob");
    In("dave")->Kill();  // has a seat, and no connection
    EXPECT_EQ(Tell("close Room01"), "ok");
    EXPECT_EQ(bob->Goodbye(), BYE_ENDED);
    EXPECT_TRUE(bob->Ended());
    EXPECT_EQ(LoggedIn("bob")->Enter("Room01", false).result(), RESULT_NOT_FOUND);
    EXPECT_EQ(Fresh()->Resume(alices).result(), RESULT_UNKNOWN);
    EXPECT_EQ(Status().at("meetings").as_array().size(), 0u);
    EXPECT_TRUE(std::filesystem::is_empty(options.data / "meetings"));
    EXPECT_EQ(LoggedIn("carol")->Enter("Room01", true).result(), RESULT_OK);  // another meeting
}

TEST_F(OperatorTest, StatusTellsWhoIsThereAndWhatIsKept)
{
    options.times.pingAfter = std::chrono::milliseconds(100);
    auto bob = In("bob");
    auto alice = In("Alice");
    bob->PostAndWait(1, std::string(30'000, 'x'));
    alice->Wait(Header::kItem);
    auto carol = In("carol");
    carol->Kill();
    json::value status;
    for (bool known = false; !known;) {
        bob->Quiet(Header::kBye);  // answers pings
        status = Status();
        const json::array& all = status.at("meetings").at(0).at("attendees").as_array();
        known = !all.at(0).at("delay_ms").is_null() && Said(all.at(2).at("state")) == "cut off";
    }
    const json::value& meeting = status.at("meetings").at(0);
    EXPECT_EQ(Said(meeting.at("code")), "room01");
    EXPECT_GT(meeting.at("talk_bytes").to_number<int>(), 30'000);
    EXPECT_EQ(meeting.at("id").as_string().size(), 32u);
    const json::array& all = meeting.at("attendees").as_array();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(Said(all[0].at("handle")), "bob");
    EXPECT_EQ(Said(all[0].at("state")), "present");
    EXPECT_EQ(Said(all[0].at("address")), "127.0.0.1");
    EXPECT_EQ(Said(all[0].at("protocol")), "tcp");
    EXPECT_LT(all[0].at("delay_ms").to_number<double>(), 10'000);
    EXPECT_EQ(Said(all[2].at("protocol")), "");
    EXPECT_EQ(Said(status.at("fingerprint")), relay->Fingerprint());
}

TEST_F(OperatorTest, StatusOfAFullMeetingHoldsNobodyUp)
{
    StartRelay();
    const std::string hash = HashPassword("secret", kCheapHash);
    std::vector<std::unique_ptr<RawClient>> all;
    for (std::size_t i = 0; i < kSeatsPerMeeting; ++i) {
        const std::string handle = std::string(28, 'x') + std::to_string(1000 + i);  // as long as there are
        relay->TheAccounts().Add(handle, hash, "");
        all.push_back(LoggedIn(handle));
        ASSERT_EQ(all.back()->Enter("Room01", i == 0).result(), RESULT_OK);
    }
    std::vector<std::thread> askers;
    for (int i = 0; i < 4; ++i)
        askers.emplace_back([&] {
            const auto answer = AskDaemon(options.data, "status");
            ASSERT_TRUE(answer);
            EXPECT_EQ(json::parse(answer->body).at("meetings").at(0).at("attendees").as_array().size(),
                      kSeatsPerMeeting);
        });
    all[0]->PostAndWait(1, "meanwhile");
    for (std::thread& one : askers) one.join();
}

// A client of the socket that hangs, says half of something or far too much holds up nobody.
TEST_F(OperatorTest, NobodyHoldsTheSocket)
{
    StartRelay();
    const auto connected = [&] {
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        AdminSocketPath(options.data).string().copy(name.sun_path, sizeof name.sun_path - 1);
        files::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
        EXPECT_EQ(::connect(socket.Number(), reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
        return socket;
    };
    std::vector<files::Descriptor> hung;
    for (const std::string& said :
         {std::string(), std::string("sta"), std::string("status"), std::string("\0\n", 2),
          std::string("kick a\tb\tc\td\n"), std::string(1 << 20, 'x')}) {
        hung.push_back(connected());
        ::send(hung.back().Number(), said.data(), said.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    for (const char* line : {"", " ", "status now", "kick", "unkick a", "close", "close a\tb", "account"})
        EXPECT_EQ(Tell(line), "unknown") << line;
    std::vector<std::thread> askers;
    for (int i = 0; i < 4; ++i) askers.emplace_back([&] { EXPECT_EQ(Tell("status"), "ok"); });
    for (std::thread& one : askers) one.join();
    for (int i = 0; i < 40; ++i) hung.push_back(connected());  // more than are served at once
    EXPECT_EQ(LoggedIn("bob")->Enter("Room01", true).result(), RESULT_OK);
    hung.clear();
    while (Tell("status") != "ok") std::this_thread::yield();
}

TEST_F(OperatorTest, ReadsItsConfigurationAgainWithoutCuttingAnybody)
{
    const auto file = folder.path / "zephyld.toml";
    const auto write = [&](const std::string& text) { std::ofstream(file) << text; };
    const auto read = [this, file] {
        RelayOptions again = options;
        ReadConfig(file, again);
        return again;
    };
    auto bob = In("bob");
    EXPECT_EQ(Tell("reload"), "failed");  // nothing to read
    relay->ReadsAgain(read);
    const std::string before = relay->Fingerprint();

    PreparePrivateFolder(folder.path / "other");
    const Identity other = PrepareIdentity(folder.path / "other");
    const std::string keys =
        "key = '" + other.key.string() + "'\ncertificate = '" + other.certificate.string() + "'\n";
    const struct {
        std::string text;
        const char* mentions;
    } refused[] = {
        {keys + "seats_per_meeting = 1", "seats_per_meeting"},
        {keys + "no_such_key = 1\nseats_per_meeting = 2", "no_such_key"},
        {"seats_per_meeting = 2\nkey = '/nowhere'\ncertificate = '/nowhere'", "/nowhere"},
        {"seats_per_meeting = 2\nkey = '" + other.key.string() + "'\ncertificate = '" +
             (options.data / "certificate.pem").string() + "'",
         "mismatch"},
    };
    for (const auto& row : refused) {
        write(row.text);
        const auto answer = AskDaemon(options.data, "reload");
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->word, "failed");
        EXPECT_NE(answer->body.find(row.mentions), std::string::npos) << answer->body;
        EXPECT_EQ(relay->Fingerprint(), before);
    }
    std::filesystem::remove(options.data / "key.pem");  // as where the key stands elsewhere
    write("");
    EXPECT_EQ(Tell("reload"), "failed") << "clients would be asked to believe a key that was just drawn";
    const auto carol = In("carol");
    auto alice = In("Alice");  // nothing has changed: there is room for a third

    write(keys + "seats_per_meeting = 2\nlisten = '127.0.0.1:9'\nentries_per_account = 1");
    const auto answer = AskDaemon(options.data, "reload");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->word, "ok") << answer->body;
    EXPECT_NE(answer->body.find("listen takes effect"), std::string::npos);
    EXPECT_NE(answer->body.find(relay->Fingerprint()), std::string::npos)
        << "who has pinned the key must be told";
    EXPECT_NE(relay->Fingerprint(), before);
    EXPECT_EQ(Said(Status().at("fingerprint")), relay->Fingerprint());
    EXPECT_EQ(LoggedIn("dave")->Enter("Room01", false).result(), RESULT_FULL);
    bob->Post(1, "still here");  // nobody was cut off
    EXPECT_EQ(alice->Texts(1).front(), "bob: still here");
    alice->Leave();
    EXPECT_EQ(alice->Enter("Room02", true).result(), RESULT_OK);
    alice->Leave();
    EXPECT_EQ(alice->Enter("Room03", true).result(), RESULT_LATER);
}

// --- metrics ---------------------------------------------------------------------------------------

/// What is answered to `asked`, whole.
std::string OverHttp(const std::string& address, const std::string& asked)
{
    namespace asio = boost::asio;
    asio::io_context io;
    asio::ip::tcp::socket socket(io);
    const std::size_t colon = address.rfind(':');
    socket.connect({asio::ip::make_address(address.substr(0, colon)),
                    static_cast<std::uint16_t>(std::stoi(address.substr(colon + 1)))});
    boost::system::error_code end;
    std::string answer;
    asio::write(socket, asio::buffer(asked), end);
    asio::read(socket, asio::dynamic_buffer(answer), end);
    return answer;
}

std::string Get(const std::string& target, const std::string& head = {})
{
    return "GET " + target + " HTTP/1.1\r\nHost: localhost\r\n" + head + "\r\n";
}

/// The families of a page and their samples' names, each line of it looked at.
std::set<std::string> Families(const std::string& page, bool open)
{
    static const std::regex sample(
        R"re(([a-z_]+)(\{[a-z]+="([^"\\\n]|\\["\\n])*"(,[a-z]+="([^"\\\n]|\\["\\n])*")*\})? (-?[0-9.e+]+))re");
    std::set<std::string> names, seen;
    std::string family, type, helped;
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        std::istringstream words(line);
        std::string hash, what, name;
        words >> hash >> what >> name;
        if (hash == "#" && what == "HELP") {
            helped = name;
        } else if (hash == "#" && what == "TYPE") {
            EXPECT_EQ(name, helped) << "no help";
            EXPECT_TRUE(seen.insert(name).second) << line;
            words >> type;
            family = name;
        } else if (hash == "#") {
            EXPECT_EQ(line, "# EOF");
            EXPECT_FALSE(std::getline(lines, line)) << "behind the end";
        } else if (!std::regex_match(line, parts, sample)) {
            ADD_FAILURE() << line;
        } else {
            const std::string named = parts[1];
            const bool total = type == "counter" && open;
            EXPECT_TRUE(type == "histogram" ? named.starts_with(family)
                                            : named == family + (total ? "_total" : ""))
                << line;
            EXPECT_EQ(named.ends_with("_total"), type == "counter") << line;
            names.insert(named);
        }
    }
    return names;
}

TEST_F(OperatorTest, MetricsAreToldToThisComputer)
{
    options.metricsHost = "127.0.0.1";
    auto bob = In("bob");
    bob->PostAndWait(1, "a line");
    Fresh()->Login("carol", "wrong", 1);
    const std::string at = relay->MetricsAddress();
    const std::string text = OverHttp(at, Get("/metrics"));
    EXPECT_NE(text.find("text/plain; version=0.0.4"), std::string::npos);
    const std::string page = text.substr(text.find("\r\n\r\n") + 4);
    const std::set<std::string> names = Families(page, false);
    for (const char* line : {"\nzephyl_attendees{state=\"present\"} 1\n", "\nzephyl_posts_total 1\n",
                             "\nzephyl_logins_total{result=\"wrong\"} 1\n", "\nzephyl_meetings 1\n"})
        EXPECT_NE(page.find(line), std::string::npos) << line << page;
    for (const char* secret : {"bob", "Alice", "room01", "127.0.0"})
        EXPECT_EQ(page.find(secret), std::string::npos) << secret;
    const std::string open =
        OverHttp(at, Get("/metrics", "Accept: application/openmetrics-text;version=1.0.0,*/*\r\n"));
    EXPECT_NE(open.find("application/openmetrics-text; version=1.0.0"), std::string::npos);
    EXPECT_EQ(Families(open.substr(open.find("\r\n\r\n") + 4), true), names);
    EXPECT_NE(OverHttp(at, Get("/health?x")).find("{\"status\":\"ok\"}"), std::string::npos);

    const struct {
        std::string asked;
        const char* answer;  // its begin
    } rows[] = {
        {Get("/"), "HTTP/1.1 404"},
        {"POST /metrics HTTP/1.1\r\nHost: a\r\nContent-Length: 0\r\n\r\n", "HTTP/1.1 405"},
        {"POST /metrics HTTP/1.1\r\nHost: a\r\nContent-Length: 99999999\r\n\r\n", ""},
        {Get("/metrics", "X: " + std::string(100'000, 'x') + "\r\n"), ""},
    };
    for (const auto& row : rows) {
        const std::string answer = OverHttp(at, row.asked);
        EXPECT_TRUE(answer.starts_with(row.answer)) << answer.substr(0, 40);
        EXPECT_EQ(answer.empty(), row.answer[0] == 0);
    }
    // What the dashboard asks for there is.
    std::ifstream file(std::string(SOURCE_DIR) + "/packaging/grafana/zephyld.json");
    const std::string dashboard(std::istreambuf_iterator<char>(file), {});
    const std::regex metric(R"re(\b(zephyl|process)_[a-z_]+)re");
    std::size_t asked = 0;
    for (std::sregex_iterator it(dashboard.begin(), dashboard.end(), metric), end; it != end; ++it, ++asked)
        EXPECT_TRUE(names.contains(it->str())) << it->str();
    EXPECT_GT(asked, 20u);
}

}  // namespace
}  // namespace zephyl
