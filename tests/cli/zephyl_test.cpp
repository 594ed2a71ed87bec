// The program zephyl as scripts and people meet it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <boost/asio/ip/tcp.hpp>

#include "cli/zephyl_room.h"
#include "service/wire/door_file.h"
#include "support/a_meeting.h"

namespace zephyl {
namespace {

constexpr char kLoginAlice[] = R"({"do":"login","handle":"alice","password":"secret","hostname":""})";
constexpr char kLoginBob[] = R"({"do":"login","handle":"bob","password":"secret"})";

TEST_F(ZephylTest, ScriptsTakePartInAMeeting)
{
    Script alice = Run(Options()), bob = Run(Options() + QStringList{u"--save"_s, Path("pictures")});
    EXPECT_TRUE(alice.Ok(kLoginAlice));
    EXPECT_TRUE(bob.Ok(kLoginBob));
    EXPECT_EQ(alice.AskLine(R"({"do":"permission"})")[u"allowed"_s], true);
    EXPECT_EQ(alice.AskLine(R"({"do":"server_key"})")[u"key"_s].toString().size(), 20);
    EXPECT_FALSE(bob.Ok(R"({"do":"join","code":"Standup"})"));
    EXPECT_TRUE(alice.Ok(R"({"do":"create","code":"Standup"})"));
    EXPECT_TRUE(bob.Ok(R"({"do":"join","code":"standup"})"));
    EXPECT_EQ(alice.Event(Is("event", u"status"_s)), Json(R"({"event":"status","handle":"bob","status":5})"));
    EXPECT_EQ(bob.AskLine(R"({"do":"users"})"), Json(R"({"reply":"users","handles":["bob","Alice"]})"));

    EXPECT_TRUE(alice.Ok(R"({"do":"send","to":"bob","text":"héllo"})"));
    EXPECT_EQ(bob.Event(Is("event", u"message"_s)),
              Json(R"({"event":"message","from":"Alice","text":"héllo"})"));

    const QByteArray jpeg = AJpeg(24, 10);
    const QString picture = File("p.jpg", jpeg);
    EXPECT_TRUE(alice.Ok(R"({"do":"frame","to":["bob"],"x":-3,"y":4,"type":1,"quality":60,"file":")" +
                         picture.toUtf8() + "\"}"));
    QJsonObject frame = bob.Event(Is("event", u"frame"_s));
    EXPECT_EQ(QFile(frame.take(u"file"_s).toString()).size(), qint64(jpeg.size()));
    EXPECT_EQ(frame.take(u"bytes"_s).toInt(), int(jpeg.size()));
    EXPECT_EQ(frame,
              Json(R"({"event":"frame","from":"Alice","x":-3,"y":4,"type":1,"width":24,"height":10})"));

    EXPECT_TRUE(bob.Ok(R"({"do":"leave"})"));
    EXPECT_EQ(alice.Event(Is("event", u"status"_s))[u"status"_s], 0);
    alice.Process().CloseInput();  // its end is a quit in order
    EXPECT_EQ(alice.Process().WaitForEnd(), 0);
    EXPECT_TRUE(bob.Ok(R"({"do":"logout"})"));
    EXPECT_TRUE(bob.Ok(R"({"do":"quit"})"));
    EXPECT_EQ(bob.Process().WaitForEnd(), 0);
}

TEST_F(ZephylTest, InvitesWithTheKeyThatNobodyVouchesForAndTakesInvitations)
{
    const QString service = QString::fromStdString(relay->Address());
    const QByteArray link =
        "zephyl://" + service.toUtf8() + "/Standup#" + QByteArray::fromStdString(relay->Fingerprint());
    const auto said = [&](const QStringList& words) {
        return Start(QStringList{u"invite"_s} + words)->ReadLine();
    };
    EXPECT_EQ(said({u"--service"_s, service, u"--link"_s, u"Standup"_s}), link);
    EXPECT_TRUE(said({u"--service"_s, service, u"Standup"_s}).endsWith(' ' + link));
    const struct {
        QStringList words;
        const char* why;
    } rows[] = {
        {{u"Standup"_s}, "lets nobody else in"},
        {{u"--service"_s, service, u"Stand-up"_s}, "6 to 20"},
        {{u"--service"_s, service, u"--trust"_s, QString(64, u'0'), u"Standup"_s}, "accepted before"},
        {{u"--service"_s, u"127.0.0.1:1"_s, u"Standup"_s}, "cannot be reached"},
    };
    for (const auto& row : rows) ExpectRefusal(QStringList{u"invite"_s} + row.words, row.why);
    const auto listen = Start({u"listen"_s, u"--create"_s, u"--handle"_s, u"bob"_s, u"--password-file"_s,
                               File("pw", "secret\n"), u"Come: "_s + QString::fromUtf8(link) + u'.'});
    EXPECT_EQ(listen->ReadLine(), "* bob is here");
}

TEST_F(ZephylTest, EveryLineHasOneAnswerAndItGoesOn)
{
    Script alice = Run(Options());
    const struct {
        const char* line;
        const char* error;
        const char* what;
    } rows[] = {
        {"hello", "not a JSON object", ""},
        {"[1]", "not a JSON object", ""},
        {"{}", "must name a command", ""},
        {R"({"do":7})", "must name a command", ""},
        {R"({"do":"dance"})", "no such command", "dance"},
        {R"({"do":"permission"})", "no session", "permission"},
        {R"({"do":"login","handle":"alice"})", "\"password\" must be a text", "login"},
        {R"({"do":"join","code":"x"})", "no session", "join"},
        {"", "not a JSON object", ""},
        {R"({"do":"server_key"})", "no session", "server_key"},
        {R"({"do":"send","to":"bob","text":"x"})", "no session", "send"},
        {R"({"do":"deliver","to":["bob"],"text":"x"})", "no session", "deliver"},
        {R"({"do":"deliver","to":"bob","text":"x"})", "must be a list", "deliver"},
        {R"({"do":"frame","to":[],"file":"/nowhere","x":0,"y":0,"type":0})", "cannot read", "frame"},
        {R"({"do":"frame","to":[],"file":"/dev/null","x":0.5,"y":0,"type":0})", "whole number", "frame"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        const QJsonObject reply = alice.AskLine(row.line);
        EXPECT_TRUE(reply[u"error"_s].toString().contains(QLatin1String(row.error)))
            << qPrintable(reply[u"error"_s].toString());
        const QJsonValue told = *row.what ? QJsonValue(QLatin1String(row.what)) : reply[u"do"_s];
        EXPECT_EQ(reply[u"do"_s], told);
    }
    EXPECT_FALSE(alice.Ok(R"({"do":"login","handle":"alice","password":"wrong"})"));
    EXPECT_FALSE(alice.Ok(R"({"do":"login","handle":"alice","password":"пароль"})"));
    EXPECT_TRUE(alice.Ok(kLoginAlice));
    for (const char* code : {"", "short", "stand up", "stand-up", "st\u00e4ndup", "standup\\u2028",
                             "standup\\u009b", "standup\\u202e", "abcdefghijklmnopqrstu"}) {
        const QJsonObject reply = alice.AskLine(QByteArray(R"({"do":"create","code":")") + code + "\"}");
        EXPECT_EQ(reply[u"ok"_s], false) << code;
        EXPECT_TRUE(reply[u"reason"_s].toString().startsWith(u"The Meeting Code must "_s)) << code;
    }

    Script stranger = Run(Options().first(2));  // nobody vouches for the key
    EXPECT_FALSE(stranger.Ok(kLoginBob));
    stranger.Process().Signal(SIGTERM);
    EXPECT_LT(stranger.Process().WaitForEnd(), 128);  // it ends by itself
}

TEST_F(ZephylTest, PeopleListenAndSend)
{
    const auto send = [&](const QStringList& rest) { return Exit(As(u"send"_s, u"alice"_s, rest)); };
    const auto listener = Start(As(u"listen"_s, u"bob"_s, {u"--create"_s, u"Standup"_s}));
    EXPECT_EQ(listener->ReadLine(), "* bob is here");
    EXPECT_EQ(send({u"standup"_s, u"good\x1b[2Jmorning"_s}), 0);
    for (const char* line : {"* Alice enters", "Alice: good\\x1b[2Jmorning", "* Alice leaves"})
        EXPECT_EQ(listener->ReadLine(), line);
    EXPECT_EQ(send({u"--to"_s, u" BOB"_s, u"standup"_s, u"only you"_s}), 0);  // as bob spells it
    for (const char* line : {"* Alice enters", "Alice: only you", "* Alice leaves"})
        EXPECT_EQ(listener->ReadLine(), line);
    EXPECT_EQ(send({u"--to"_s, u"dave"_s, u"standup"_s, u"x"_s}), 1);
    EXPECT_EQ(send({u"nowhere"_s, u"x"_s}), 1);
    EXPECT_EQ(send({u"standup"_s, u" "_s}), 1);
    listener->Signal(SIGTERM);
    EXPECT_EQ(listener->WaitForEnd(), 0);
}

TEST_F(ZephylTest, EnciphersLineByLine)
{
    const QString key = File("key", "00998877665544332211\nnot this\n");
    const QByteArray lines = "A\nhello, w\xc3\xb6rld\n";  // and the empty line that Write ends
    const QByteArray secret = Filtered({u"encipher"_s, u"--key-file"_s, key}, lines);
    EXPECT_EQ(secret.indexOf('\n'), 16);
    EXPECT_EQ(Filtered({u"decipher"_s, u"--key-file"_s, key}, secret.toLower().chopped(1)), lines + '\n');
    EXPECT_EQ(Exit({u"encipher"_s, u"--key-file"_s, u"/nowhere"_s}), 1);
    EXPECT_EQ(Exit({u"encipher"_s, u"--key-file"_s, File("short", "0099887766554433221\n")}), 1);
}

/// Two programs start at the same moment where no service is running: one service comes of it.
TEST_F(ZephylTest, StartsThePersonalServiceOfThisComputer)
{
    const Home own = MakeHome("share");
    const std::filesystem::path runtime = folder.path / "runtime";
    std::vector<pid_t> daemons;
    {
        Script alice({}, own, Path("log")), bob({}, own, Path("log"));
        alice.Process().Write(kLoginAlice);
        EXPECT_TRUE(bob.Ok(kLoginBob));  // unknown handles register themselves
        for (const char* next : {R"({"do":"create","code":"private"})", R"({"do":"stats"})"})
            EXPECT_TRUE(alice.AskLine(next)[u"ok"_s].toBool());  // the answers to login and to create
        EXPECT_TRUE(bob.Ok(R"({"do":"join","code":"private"})"));
        daemons = stage::PersonalServices(Path("runtime"));
        EXPECT_TRUE(ReadDoorFile(runtime / "zephyl" / "door").has_value());
    }
    EXPECT_EQ(daemons.size(), 1u);
    EXPECT_TRUE(stage::EndPersonalServices(Path("runtime")));
}

/// A mute program has the port of a service that is dead; or the door is a pipe that nobody fills.
TEST_F(ZephylTest, StartsItBesideWhatADeadOneLeft)
{
    const Home own = MakeHome("share");
    const std::filesystem::path door = folder.path / "runtime" / "zephyl" / "door";
    boost::asio::io_context io;
    const boost::asio::ip::tcp::acceptor mute(io, {boost::asio::ip::address_v4::loopback(), 0});
    WriteDoorFile(door, {mute.local_endpoint().port(), relay->Fingerprint(), std::string(64, 'a')});
    for (const bool pipe : {false, true}) {
        if (pipe) {
            std::filesystem::remove(door);
            ASSERT_EQ(::mkfifo(door.c_str(), 0600), 0);
        }
        EXPECT_TRUE(Script({}, own, Path("log")).Ok(kLoginBob)) << pipe;
        EXPECT_TRUE(stage::EndPersonalServices(Path("runtime")));
    }
}

TEST_F(ZephylTest, SaysWhyThereCanBeNoPersonalService)
{
    const Home own = MakeHome("runtime/no folder");
    File("runtime/no folder", "");  // as a home that cannot be written to
    const auto reason = [&] {
        return Script({}, own, Path("log")).AskLine(kLoginBob)[u"reason"_s].toString();
    };
    EXPECT_TRUE(reason().contains(u"cannot make the folder"_s)) << qPrintable(reason());
    const std::filesystem::path lock = folder.path / "runtime" / "zephyl" / "door.lock";
    std::filesystem::remove(lock);
    ASSERT_EQ(::mkfifo(lock.c_str(), 0600), 0);
    EXPECT_TRUE(reason().contains(u"door.lock is not a regular file"_s)) << qPrintable(reason());
}

TEST_F(ZephylTest, APasswordFileIsItsOwnersAlone)
{
    const QString file = File("pw", "secret\n");
    const auto status = [&](const QString& program, QStringList words) {
        return Child(stage::Programs() + program, words + QStringList{u"--password-file"_s, file}, {},
                     Path("log"))
            .WaitForEnd();
    };
    const QStringList add{u"user"_s, u"add"_s, u"erin"_s, u"--data"_s, Path("data")};
    const QStringList listen =
        QStringList{u"send"_s, u"--handle"_s, u"bob"_s, u"nowhere"_s, u"x"_s} + Options();
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
    EXPECT_EQ(status(u"/zephyld"_s, add), 1);
    EXPECT_EQ(status(u"/zephyl"_s, listen), 1);
    EXPECT_EQ(ReadFile(Path("log")).count("chmod 600 "), 2);
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
    EXPECT_EQ(status(u"/zephyld"_s, add), 0);
}

TEST_F(ZephylTest, ChangesTheOwnPassword)
{
    const struct {
        const char *password, *wish;
        int status;
    } rows[] = {{"wrong\n", "chosen\n", 1}, {"secret\n", "\u0430\n", 1}, {"secret\n", "chosen\n", 0}};
    for (const auto& row : rows) {
        Script bob = Run(Options());
        EXPECT_TRUE(bob.Ok(kLoginBob)) << "none has changed it yet";
        EXPECT_EQ(Exit(QStringList{u"password"_s, u"--handle"_s, u"bob"_s} + Options() +
                       QStringList{u"--password-file"_s, File("now", row.password), u"--new-password-file"_s,
                                   File("wish", row.wish)}),
                  row.status)
            << row.wish;
    }
    Script bob = Run(Options());
    EXPECT_FALSE(bob.Ok(kLoginBob));
    EXPECT_TRUE(bob.Ok(R"({"do":"login","handle":"bob","password":"chosen"})"));
}

// What it left as its own would keep the service, which runs as another user, from its accounts.
TEST_F(ZephylTest, TheSuperuserChangesAccountsAsTheFoldersOwner)
{
    if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can become somebody else";
    constexpr uid_t kNobody = 65534;
    const std::filesystem::path data = folder.path / "theirs";
    std::filesystem::permissions(folder.path, std::filesystem::perms(0711));
    std::filesystem::create_directory(data);
    ASSERT_EQ(::chown(data.c_str(), kNobody, gid_t(kNobody)), 0);
    QFile::setPermissions(File("own", "secret\n"), QFile::ReadOwner);  // the superuser's alone
    const QStringList add{u"user"_s,  u"add"_s, u"erin"_s, u"--data"_s, Path("theirs"), u"--password-file"_s,
                          Path("own")};
    ASSERT_EQ(Child(stage::Programs() + u"/zephyld"_s, add, {}, Path("log")).WaitForEnd(), 0);
    struct stat accounts {};
    ASSERT_EQ(::stat((data / "accounts.sqlite").c_str(), &accounts), 0);
    EXPECT_EQ(accounts.st_uid, kNobody);
}

}  // namespace
}  // namespace zephyl
