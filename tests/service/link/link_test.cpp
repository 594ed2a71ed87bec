// The real link against a real relay, both in this process.
#include <spdlog/spdlog.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/use_future.hpp>

#include "cipher/code_page.h"
#include "cipher/password.h"
#include "reliability/fake_service.h"
#include "reliability/fault_proxy.h"
#include "service/link/link_room.h"
#include "service/link/opening.h"

namespace zephyl {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const QString kStroke = u"[[ZUM_WB_PEN]]3"_s;

class LinkTest : public testing::Test, protected LinkRoom {
protected:
    LinkTest() : LinkRoom(Protocol::Tcp) { StartRelay(); }
};

class EachProtocol : public testing::TestWithParam<Protocol>, protected LinkRoom {
protected:
    EachProtocol() : LinkRoom(GetParam()) { StartRelay(); }
};

INSTANTIATE_TEST_SUITE_P(, EachProtocol, testing::Values(Protocol::Tcp, Protocol::Http, Protocol::Udp),
                         [](const auto& one) { return Name(one.param); });

TEST_P(EachProtocol, TalksInOrderAndWhispersToOne)
{
    auto alice = Joined("ALICE");  // the account's spelling counts from here on
    auto bob = Joined("bob"), carol = Joined("carol");
    EXPECT_EQ(alice->link->Handle(), u"Alice"_s);
    EXPECT_EQ(alice->Next(2), QStringList({u"bob=5"_s, u"carol=5"_s}));
    EXPECT_EQ(bob->Next(), u"carol=5"_s);
    EXPECT_EQ(carol->Handles(), QStringList({u"carol"_s, u"Alice"_s, u"bob"_s}));  // the own handle first

    const QString road = GetParam() == Protocol::Http ? u"HTTP inside TLS"_s : u"TLS over TCP"_s;
    EXPECT_TRUE(alice->states.back().details.startsWith(road)) << qPrintable(alice->states.back().details);

    alice->link->Send(u"bob"_s, u"psst"_s);
    for (int twice = 0; twice < 2; ++twice)
        for (const QString& to : {u"bob"_s, u"carol"_s}) alice->link->Send(to, u"hello"_s);
    alice->Turn();
    EXPECT_EQ(bob->Next(3), QStringList({u"Alice:psst"_s, u"Alice:hello"_s, u"Alice:hello"_s}));
    EXPECT_EQ(carol->Next(2), QStringList({u"Alice:hello"_s, u"Alice:hello"_s}));  // and no whisper
    bob->link->LeaveMeeting();
    EXPECT_EQ(bob->Next(3), QStringList({u"Alice=0"_s, u"bob=0"_s, u"carol=0"_s}));
    EXPECT_EQ(alice->Next(), u"bob=0"_s);
    EXPECT_EQ(carol->Next(), u"bob=0"_s);
    EXPECT_EQ(carol->leftFrom, u"127.0.0.1"_s);  // the voice companion is told
    EXPECT_TRUE(carol->heard.empty() && alice->heard.empty());
}

TEST_F(LinkTest, ANewcomerIsToldHowLongAgoWhatItCatchesUpWithWas)
{
    struct Ages final : MessengerEvents {
        MessengerService* link = nullptr;
        std::vector<std::optional<std::chrono::milliseconds>> ages;
        void NewMessage(const QString&, const QString&) override { ages.push_back(link->EventAge()); }
        void StatusChanged(const QString&, qint32) override {}
        void VideoFrame(const QString&, const PicturePtr&, int, int, qint32) override
        {
            ages.push_back(link->EventAge());
        }
    } heard;
    auto alice = Joined("Alice"), bob = Joined("bob");
    alice->Next();
    alice->Draw(kStroke);
    alice->link->Users()->Item(u"bob"_s)->SendVideoFrame(
        Jpeg(48, 8), u"[[ZUM_RESERVED_HANDLE_WHITEBOARD]]Alice"_s, 0, 0, 2, 65);
    alice->Turn();
    EXPECT_TRUE(bob->Until([&] { return bob->heard.size() == 2; }));
    auto carol = Joined("carol");
    heard.link = carol->link.get();
    carol->watcher = &heard;
    EXPECT_FALSE(carol->link->EventAge());
    EXPECT_TRUE(carol->Until([&] { return heard.ages.size() == 2; }));
    for (const auto& age : heard.ages) EXPECT_TRUE(age && *age >= 0ms && *age < 1h);
    alice->Draw(kStroke);
    alice->link->Send(u"carol"_s, u"a line"_s);
    alice->Turn();
    EXPECT_TRUE(carol->Until([&] { return heard.ages.size() == 4; }));
    EXPECT_FALSE(heard.ages[2] || heard.ages[3]);  // while the user is there
    carol->watcher = nullptr;
}

TEST_F(LinkTest, WhoIsToWaitForAMomentBeforeEnteringDoes)
{
    options.budgets.entries = 60;  // then one a second
    auto alice = Joined("Alice");
    for (int i = 0; i < 60; ++i) {
        alice->link->LeaveMeeting();
        EXPECT_TRUE(alice->link->JoinMeeting(u"room01"_s));
    }
}

TEST_F(LinkTest, RefusesAtTheCallWhatCannotBeSent)
{
    auto alice = Joined("Alice"), bob = Joined("bob");
    alice->Next();
    const auto item = alice->link->Users()->Item(u"bob"_s);
    const QByteArray small(100, 'x');
    const struct {
        const char* what;
        std::function<void()> call;
        bool refused;
    } rows[] = {
        {"x beyond", [&] { item->SendVideoFrame(small, u"Alice"_s, 32768, 0, 0, 65); }, true},
        {"y beyond", [&] { item->SendVideoFrame(small, u"Alice"_s, 0, -32769, 0, 65); }, true},
        {"a picture of no type", [&] { item->SendVideoFrame(small, u"Alice"_s, 0, 0, 3, 65); }, true},
        {"longest text", [&] { alice->link->Send(u"bob"_s, QString(20'480, QChar(0xe9))); }, false},
        {"one more", [&] { alice->link->Send(u"bob"_s, QString(20'480, QChar(0xe9)) + u'x'); }, true},
        {"largest frame, farthest out",
         [&] { item->SendVideoFrame(QByteArray(512 * 1024, 'x'), u"Alice"_s, -32768, 32767, 0, 65); }, false},
        {"one more", [&] { item->SendVideoFrame(QByteArray(512 * 1024 + 1, 'x'), u"Alice"_s, 0, 0, 0, 65); },
         true},
        {"too large a record", [&] { item->Deliver(u"Alice"_s, {}, kStroke + QString(8 << 20, u'1'), 0); },
         true},
        {"no recipient", [&] { alice->link->Send(QString(), u"x"_s); }, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        if (row.refused)
            EXPECT_THROW(row.call(), std::runtime_error);
        else
            EXPECT_NO_THROW(row.call());
    }
    alice->link->Logout();
    EXPECT_THROW(item->Deliver(u"Alice"_s, {}, u"x"_s, 0), std::runtime_error);
    alice->link.reset();
    EXPECT_THROW(item->Deliver(u"Alice"_s, {}, u"x"_s, 0), std::runtime_error);
}

TEST_P(EachProtocol, AFullOutboxRefusesTheNextPostWhole)
{
    FaultProxy proxy(relay->Port());
    auto alice = Joined("Alice", At(proxy.Port())), bob = Joined("bob");
    alice->Next();
    proxy.Block(true);
    proxy.Cut();
    const QString record = kStroke + QString(4 << 20, u'1');
    int taken = 0;
    EXPECT_THROW(
        for (; taken < 20; ++taken) {
            alice->Draw(record);
            alice->Turn();
        },
        std::runtime_error);
    EXPECT_EQ(taken, 7);  // of 4 MiB and a little: the eighth is over 32 MiB
    proxy.Block(false);
    for (int i = 0; i < taken; ++i) EXPECT_EQ(bob->Next().size(), record.size() + 6);
    EXPECT_TRUE(alice->Until([&] { return StatsOf(*alice->link).outbox == 0; }));
    EXPECT_NO_THROW(alice->Draw(record));
}

/// One number for a line however many get it, none for what goes to nobody or to the board.
TEST_F(LinkTest, TellsWhichOwnLinesAreSafe)
{
    FaultProxy proxy(relay->Port());
    auto alice = Joined("Alice", At(proxy.Port())), bob = Joined("bob"), carol = Joined("carol");
    alice->Next(2);
    const auto say = [&](const QStringList& to) {
        for (const QString& handle : to) alice->link->Send(handle, u"hello"_s);
        return alice->link->LastLine();
    };
    const auto accepted = [&](quint64 line) {
        return alice->Until([&] { return alice->linesAccepted == line; });
    };
    EXPECT_EQ(alice->link->LastLine(), 0u);
    EXPECT_EQ(say({u"bob"_s, u"carol"_s}), 1u);
    EXPECT_EQ(say({u"Alice"_s}), 1u);
    alice->Draw(kStroke);
    EXPECT_EQ(say({u"bob"_s}), 2u);
    EXPECT_TRUE(accepted(2));
    proxy.Block(true);
    proxy.Cut();
    EXPECT_TRUE(alice->Until(
        [&] { return !alice->states.empty() && alice->states.back().phase == LinkState::Phase::Cut; }));
    say({u"bob"_s});
    EXPECT_EQ(say({u"bob"_s}), 4u);
    EXPECT_EQ(alice->linesAccepted, 2u);
    proxy.Block(false);
    EXPECT_TRUE(accepted(4));
    EXPECT_TRUE(alice->linesLost.empty());
}

TEST_P(EachProtocol, RefusalsAreResultsWithAReason)
{
    auto alice = Attendee();
    const auto reason = [&](const char* handle, const QString& stored) {
        EXPECT_FALSE(alice->link->Login(QString::fromLatin1(handle), stored, {}));
        EXPECT_FALSE(alice->link->LoggedIn());
        return alice->link->LastRefusal();
    };
    EXPECT_TRUE(reason("Alice", EncipherPassword(u"wrong"_s)).contains(u"wrong"_s));
    EXPECT_TRUE(reason("nobody", EncipherPassword(u"secret"_s)).contains(u"wrong"_s));
    EXPECT_TRUE(reason("Alice", EncipherPassword(QString(3000, u'x'))).contains(u"longer"_s));
    for (const QString& lost : {u"пароль1"_s, u"??????"_s})
        EXPECT_TRUE(reason("Alice", EncipherPassword(lost)).contains(u"Windows-1252"_s));
    EXPECT_THROW(alice->link->HasMeetingPermission(), std::runtime_error);
    EXPECT_THROW(alice->link->SendPassword(u"Alice"_s), std::runtime_error);  // this service has no mail
    EXPECT_TRUE(alice->link->Login(u"Alice"_s, EncipherPassword(u"  secret "_s), {}));  // blanks at the ends
    EXPECT_TRUE(alice->link->HasMeetingPermission());
    EXPECT_EQ(alice->link->ServerKey().size(), 20);
    EXPECT_FALSE(alice->link->JoinMeeting(u"nocode"_s));
    EXPECT_TRUE(alice->link->CreateMeeting(u"Taken1"_s, {}));

    auto bob = Attendee();
    EXPECT_TRUE(bob->Login(u"bob"_s));
    for (const bool permitted : {true, false, true, false}) {  // an operator changes it while he is logged in
        relay->TheAccounts().SetPermitted("bob", permitted);
        EXPECT_EQ(Tell("account bob"), "ok");
        EXPECT_EQ(bob->link->HasMeetingPermission(), permitted);
    }
    EXPECT_FALSE(bob->link->JoinMeeting(u"taken1"_s));
    auto carol = Attendee();
    EXPECT_TRUE(carol->Login(u"carol"_s));
    EXPECT_FALSE(carol->link->CreateMeeting(u"taken1"_s, {}));
    EXPECT_TRUE(carol->link->JoinMeeting(u"taken1"_s));  // the session is still good for another try

    relay->TheAccounts().SetBan({Ban::Of::Handle, "bob", "bob", 0});
    EXPECT_EQ(Tell("bans"), "ok");
    EXPECT_FALSE(bob->Login(u"bob"_s));
    EXPECT_TRUE(bob->link->LastRefusal().contains(u"banned"_s)) << qPrintable(bob->link->LastRefusal());

    auto nobody = std::make_unique<LinkedAttendee>(u"127.0.0.1:1"_s);
    EXPECT_FALSE(nobody->Login(u"Alice"_s));
    EXPECT_EQ(nobody->questions, 0);
}

TEST_P(EachProtocol, TrustIsAskedOnceAndWaitsWithoutAClock)
{
    auto alice = Attendee();
    alice->pins.clear();
    EXPECT_FALSE(alice->Login(u"Alice"_s));  // "no" is the answer
    EXPECT_EQ(alice->questions, 1);
    EXPECT_TRUE(alice->pins.empty());
    alice->answer = true;
    EXPECT_TRUE(alice->Login(u"Alice"_s));
    EXPECT_TRUE(alice->Login(u"Alice"_s));
    EXPECT_EQ(alice->questions, 2);
    EXPECT_EQ(alice->pins[alice->service], QString::fromStdString(relay->Fingerprint()));
}

TEST_F(LinkTest, ADeviceThatWasInBeforeIsNotLockedOutWithItsAddress)
{
    const auto devices = folder.path / "share" / "devices";
    LinkedAttendee alice(Attendee()->service, relay->Fingerprint(), QString::fromStdString(devices));
    EXPECT_TRUE(alice.Login(u"Alice"_s));
    const auto guess = [&](int i) {
        return Fresh()->Login("alice", "guess " + std::to_string(i), 1).result();
    };
    for (int i = 0; i < 12; ++i) EXPECT_EQ(guess(i), RESULT_WRONG);  // a neighbour behind the same address
    EXPECT_EQ(Fresh()->Login("alice", "secret", 1).result(), RESULT_LATER);
    EXPECT_TRUE(alice.Login(u" alice"_s)) << qPrintable(alice.link->LastRefusal());
    const auto files = [&] {
        const std::filesystem::directory_iterator each(devices);
        return std::vector(begin(each), end(each));
    };
    ASSERT_EQ(files().size(), 1u);
    const std::filesystem::path file = files()[0];
    using std::filesystem::perms;
    EXPECT_EQ(status(file).permissions(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(status(devices).permissions(), perms::owner_all);
    permissions(file, perms::all);  // others could have put it there
    EXPECT_EQ(alice.Logged(u"asked again"_s), 0);
    EXPECT_TRUE(alice.Login(u"Alice"_s));
    EXPECT_EQ(alice.Logged(u"asked again"_s), 1);
}

TEST_P(EachProtocol, ServiceWithAnotherKeyHearsNothing)
{
    TemporaryFolder elsewhere;
    const char* agrees = GetParam() == Protocol::Http ? "\x08http/1.1" : "\x08zephyl/1";
    PretendedService other({.papers = Authority(elsewhere.path).Make(), .protocol = agrees});
    auto alice = Attendee(At(other.Port()));  // pinned: the real relay's key
    EXPECT_FALSE(alice->Login(u"Alice"_s));
    EXPECT_TRUE(alice->link->LastRefusal().contains(u"not the one that was accepted"_s));
    EXPECT_EQ(other.End(), "");
    EXPECT_GT(other.Connections(), 0);
    EXPECT_EQ(alice->questions, 0);
}

/// An invitation's key is believed without a question and for this run only, and never in the place of
/// another.
TEST_F(LinkTest, AnInvitationNamesTheKeyAndReplacesNone)
{
    boost::asio::io_context io;
    boost::system::error_code unknown;
    boost::asio::ip::tcp::resolver(io).resolve("localhost", "", unknown);
    if (unknown) GTEST_SKIP() << "this system does not know localhost: it has no /etc/hosts";
    const QString right = QString::fromStdString(relay->Fingerprint()),
                  other = u"sha256:"_s + u"0"_s.repeated(64);
    const struct {
        const char* what;
        QString pinned, named, again;  // again: by a second invitation behind the login
        QString kept, keptAgain;       // NameKey's answers
        const char* refusal;
    } rows[] = {
        {"the right one", {}, right, other, {}, right, nullptr},
        {"another one", {}, other, right, {}, {}, "not the one that the invitation names"},
        {"the pinned one", right, right, right, {}, {}, nullptr},
        {"another than the pinned one", right, other, other, right, right, nullptr},
        {"the right one, another is pinned", other, right, right, other, other, "was accepted before"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        LinkedAttendee alice(u"localhost:%1"_s.arg(relay->Port()), row.pinned.toStdString());
        const QString service = u"LocalHost:%1"_s.arg(relay->Port());
        EXPECT_EQ(alice.link->NameKey(service, row.named), row.kept);
        EXPECT_EQ(alice.Login(u"Alice"_s), !row.refusal) << qPrintable(alice.link->LastRefusal());
        EXPECT_TRUE(alice.link->LastRefusal().contains(QLatin1String(row.refusal)));
        EXPECT_EQ(alice.link->NameKey(service, row.again), row.keptAgain);
        EXPECT_EQ(alice.questions, 0);
        EXPECT_EQ(alice.pins.size(), row.pinned.isEmpty() ? 0u : 1u);
        EXPECT_EQ(row.refusal ? right : alice.link->Face().fingerprint, right);
    }
    LinkedAttendee stranger(u"127.0.0.1:%1"_s.arg(relay->Port()));
    const ServiceFace seen = LookAt(*stranger.link);
    EXPECT_EQ(seen.fingerprint, right);
    EXPECT_FALSE(seen.vouched || stranger.questions > 0);
}

/// Of several addresses the first that shakes hands is taken; one that only lets in holds nobody up.
TEST_F(LinkTest, SeveralAddressesAreTriedBesideEachOther)
{
    namespace asio = boost::asio;
    using asio::ip::tcp;
    asio::io_context io;
    const auto loopback = asio::ip::address_v4::loopback();
    tcp::acceptor silent(io, {loopback, 0}), refusing(io, {loopback, 0});
    const tcp::endpoint good(loopback, relay->Port()), mute = silent.local_endpoint(),
                                                       closed = refusing.local_endpoint();
    refusing.close();
    const struct {
        const char* what;
        link::Endpoints addresses;
        const char* problem;
    } rows[] = {
        {"one", {good}, ""},
        {"the silent one first", {mute, mute, good}, ""},
        {"the closed one first", {closed, good}, ""},
        {"silent only", {mute}, "it does not answer the TLS handshake"},
        {"none", {}, "it has no address"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        io.restart();
        link::OpeningTimes times;
        if (*row.problem) times.handshake = std::chrono::milliseconds(50);
        times.nextAddress = std::chrono::milliseconds(20);
        auto opened = asio::co_spawn(
            io, link::OpenAny(TlsContext::Client(), {.host = "127.0.0.1"}, row.addresses, times),
            asio::use_future);
        const auto begun = std::chrono::steady_clock::now();
        while (opened.wait_for(std::chrono::seconds(0)) != std::future_status::ready) io.run_one();
        try {
            EXPECT_EQ(opened.get()->Peer().fingerprint, relay->Fingerprint());
            EXPECT_STREQ(row.problem, "");
        } catch (const std::exception& e) {
            EXPECT_STREQ(e.what(), row.problem);
        }
        EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));  // the bound of one
    }
}

TEST_P(EachProtocol, AnotherMeetingHasItsOwnCollectionAndEvents)
{
    auto alice = Joined("Alice"), bob = Joined("bob");
    alice->Next();
    const auto old = alice->link->Users();
    alice->Hold(true);
    bob->link->Send(u"Alice"_s, u"too late"_s);
    bob->Turn();
    bob->link->LeaveMeeting();  // so it has been appended
    alice->link->Logout();
    EXPECT_TRUE(old->Items().empty());
    EXPECT_FALSE(alice->link->LoggedIn());
    EXPECT_TRUE(alice->Login(u"Alice"_s));
    EXPECT_TRUE(alice->link->CreateMeeting(u"Other1"_s, {}));
    alice->Hold(false);
    EXPECT_NE(alice->link->Users(), old);
    EXPECT_EQ(alice->Until([&] { return alice->own.size() == 2; }), true);
    EXPECT_EQ(alice->own, QStringList({u"begins 0"_s, u"begins 0"_s}));
    bob->heard.clear();
    EXPECT_TRUE(bob->link->JoinMeeting(u"other1"_s));
    EXPECT_EQ(alice->Next(), u"bob=5"_s);
    EXPECT_TRUE(alice->heard.empty());
}

TEST_P(EachProtocol, WhoStartedTakesBackAndEverybodyHearsItInOrder)
{
    FaultProxy proxy(relay->Port());
    auto alice = Joined("Alice", At(proxy.Port())), bob = Joined("bob");
    alice->Next();
    EXPECT_TRUE(alice->link->StartedMeeting());
    EXPECT_TRUE(alice->link->PlacesOwn());
    EXPECT_FALSE(bob->link->StartedMeeting());
    EXPECT_THROW(bob->link->TakeBack(u"Alice"_s), std::runtime_error);
    EXPECT_THROW(alice->link->TakeBack({}), std::runtime_error);
    bob->Draw(kStroke);
    bob->Turn();
    EXPECT_EQ(alice->Next(), u"bob:"_s + kStroke);
    alice->Draw(kStroke + u'1');
    proxy.Cut();
    alice->link->TakeBack(u"bob"_s);
    EXPECT_EQ(alice->link->LastBoardPost(), 2u);
    alice->Draw(kStroke + u'2');
    alice->Turn();
    const QStringList all{u"Alice:"_s + kStroke + u'1', u"Alice-bob"_s, u"Alice:"_s + kStroke + u'2'};
    EXPECT_EQ(bob->Next(3), all);
    EXPECT_TRUE(alice->Until([&] { return alice->own.size() == 4; }));
    EXPECT_EQ(alice->own.mid(1), QStringList({u"placed 1"_s, u"placed 2"_s, u"placed 3"_s}));
    auto carol = Joined("carol");
    EXPECT_EQ(carol->Next(4), QStringList(u"bob:"_s + kStroke) + all);
    alice->link->LeaveMeeting();
    EXPECT_FALSE(alice->link->StartedMeeting());
    alice->heard.clear();
    ASSERT_TRUE(alice->link->JoinMeeting(u"Room01"_s));
    EXPECT_TRUE(alice->link->StartedMeeting());
    EXPECT_TRUE(alice->Until(
        [&] { return std::count(alice->heard.begin(), alice->heard.end(), u"Alice (earlier)-bob"_s) == 1; }));
}

TEST_P(EachProtocol, AServiceThatStopsFreezesNobody)
{
    auto alice = Joined("Alice"), bob = Joined("bob");
    alice->Next();
    options.port = relay->Port();
    relay->Stop();
    relay.reset();
    EXPECT_TRUE(alice->Until(
        [&] { return !alice->states.empty() && alice->states.back().phase == LinkState::Phase::Cut; }));
    EXPECT_NO_THROW(alice->link->Send(u"bob"_s, u"are you there"_s));
    alice->Turn();
    const quint64 line = alice->link->LastLine();
    StartRelay();  // its memory is empty: the meeting is gone, and so is the session
    EXPECT_EQ(alice->Next(2), QStringList({u"Alice=0"_s, u"bob=0"_s}));
    EXPECT_TRUE(alice->Until([&] { return alice->states.back().phase == LinkState::Phase::Ended; }));
    EXPECT_TRUE(alice->states.back().text.contains(u"1 line to bob"_s))
        << qPrintable(alice->states.back().text);
    alice->link->Send(u"bob"_s, u"nobody listens any more"_s);
    EXPECT_TRUE(alice->Until([&] { return alice->linesLost.size() == 2; }));
    EXPECT_EQ(alice->linesLost, (std::vector{line, alice->link->LastLine()}));
    EXPECT_FALSE(alice->link->LoggedIn());
    EXPECT_TRUE(alice->Handles().isEmpty());
    EXPECT_TRUE(alice->Login(u"Alice"_s));
    EXPECT_TRUE(alice->link->CreateMeeting(u"Room01"_s, {}));
}

/// Its steady clocks stood still: nothing else would tell it for 15 seconds.
TEST_P(EachProtocol, AfterSleepItFindsOutAtOnceWhetherTheConnectionStands)
{
    FaultProxy proxy(relay->Port());
    const auto alice = Joined("Alice", At(proxy.Port())), bob = Joined("bob");
    const auto cuts = [&](const QString& why) {
        return std::count_if(alice->states.begin(), alice->states.end(), [&](const LinkState& state) {
            return state.phase == LinkState::Phase::Cut && state.text.contains(why);
        });
    };
    const auto sleep = [&](std::chrono::milliseconds time) {
        const qsizetype before = alice->Logged(u"slept for"_s);
        alice->slept = alice->slept.load() + time;
        EXPECT_TRUE(alice->Until([&] { return alice->Logged(u"slept for"_s) > before; }));
    };
    const auto reconnects = [&] { return StatsOf(*alice->link).reconnects; };
    const auto datagramsPass = [&] {
        return alice->Until([&] {
            const LinkStats now = StatsOf(*alice->link);
            return now.upByUdp == (GetParam() == Protocol::Udp) && now.downByUdp == now.upByUdp;
        });
    };
    EXPECT_TRUE(datagramsPass());
    sleep(5s);
    alice->link->Send(u"bob"_s, u"awake"_s);
    alice->Turn();
    EXPECT_TRUE(bob->Until([&] { return !bob->heard.empty() && bob->heard.back() == u"Alice:awake"_s; }));
    EXPECT_EQ(reconnects(), 0u);  // it stood all the time
    sleep(20s);                   // the service has given it up
    EXPECT_TRUE(alice->Until([&] { return reconnects() == 1; }));
    EXPECT_EQ(cuts(u"this computer slept"_s), 1);
    EXPECT_TRUE(datagramsPass());
    proxy.BlackHole(true);  // a router has forgotten it
    sleep(5s);
    EXPECT_TRUE(alice->Until([&] { return cuts(u"nothing was heard behind"_s) > 0; }));
    proxy.BlackHole(false);
    EXPECT_TRUE(alice->Until([&] { return alice->states.back().phase == LinkState::Phase::Connected; }));
    alice->link->Send(u"bob"_s, u"again"_s);
    alice->Turn();
    EXPECT_TRUE(bob->Until([&] { return bob->heard.back() == u"Alice:again"_s; }));
    EXPECT_TRUE(datagramsPass());
}

TEST_P(EachProtocol, AHandleThatLogsInElsewhereEndsHereAndDoesNotFightBack)
{
    auto alice = Joined("Alice"), bob = Joined("bob");
    auto again = Joined("Alice");
    EXPECT_TRUE(alice->Until([&] { return alice->states.back().phase == LinkState::Phase::Ended; }));
    EXPECT_FALSE(alice->link->LoggedIn());
    again->link->Send(u"bob"_s, u"from here"_s);
    again->Turn();
    EXPECT_TRUE(bob->Until([&] { return !bob->heard.empty() && bob->heard.back() == u"Alice:from here"_s; }));
    EXPECT_TRUE(again->link->LoggedIn());
}

}  // namespace
}  // namespace zephyl
