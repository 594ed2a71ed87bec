// The program zephyl as scripts and people meet it.
#include <gtest/gtest.h>
#include <signal.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <deque>
#include <thread>

#include "service/codec/jpeg_encoder.h"
#include "service/relay/relay_fixture.h"
#include "service/wire/door_file.h"

namespace zephyl {
namespace {

using namespace Qt::StringLiterals;

constexpr int kPatience = 20'000;  // milliseconds

QJsonObject Json(const QByteArray& line)
{
    return QJsonDocument::fromJson(line).object();
}

/// One `zephyl run`; answers and events apart.
class Script {
public:
    explicit Script(const QStringList& options,
                    const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
    {
        mProcess.setProcessEnvironment(environment);
        mProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        mProcess.start(QString::fromLatin1(ZEPHYL), QStringList{u"run"_s} + options);
    }
    ~Script() { mProcess.closeWriteChannel(), mProcess.waitForFinished(kPatience); }

    QJsonObject Ask(const QByteArray& command)
    {
        mProcess.write(command + '\n');
        while (true) {
            const QJsonObject line = NextLine();
            if (!line.contains(u"event"_s)) return line;
            mEvents.push_back(line);
        }
    }
    QJsonObject Event(const char* kind)
    {
        while (true) {
            while (!mEvents.empty()) {
                const QJsonObject event = mEvents.front();
                mEvents.pop_front();
                if (event[u"event"_s] == QLatin1String(kind)) return event;
            }
            const QJsonObject line = NextLine();
            if (line.isEmpty()) return line;
            mEvents.push_back(line);
        }
    }
    bool Ok(const QByteArray& command)
    {
        const QJsonObject reply = Ask(command);
        return reply[u"ok"_s].toBool() && reply[u"reply"_s] == Json(command)[u"do"_s];
    }
    QProcess& Process() { return mProcess; }

private:
    /// Empty: it ended, or said nothing for too long.
    QJsonObject NextLine()
    {
        while (!mProcess.canReadLine())
            if (!mProcess.waitForReadyRead(kPatience) && !mProcess.canReadLine()) return {};
        return Json(mProcess.readLine());
    }
    QProcess mProcess;
    std::deque<QJsonObject> mEvents;
};

class ZephylTest : public testing::Test, protected RelayRoom {
protected:
    ZephylTest() : RelayRoom(Logs::Files) { StartRelay(); }
    QStringList Options() const
    {
        return {u"--service"_s, QString::fromStdString(relay->Address()), u"--trust"_s,
                QString::fromStdString(relay->Fingerprint()).mid(7).toUpper()};
    }
    QString File(const char* name, const QByteArray& content) const
    {
        const QString path = QString::fromStdString((folder.path / name).string());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        return path;
    }
    /// Standard output of a run to its end; `exit` must be its code.
    QByteArray Output(const QStringList& arguments, const QByteArray& input = {}, int exit = 0)
    {
        QProcess process;
        process.start(QString::fromLatin1(ZEPHYL), arguments);
        process.write(input);
        process.closeWriteChannel();
        EXPECT_TRUE(process.waitForFinished(kPatience));
        EXPECT_EQ(process.exitCode(), exit) << process.readAllStandardError().constData();
        return process.readAllStandardOutput();
    }
};

constexpr char kLoginAlice[] = R"({"do":"login","handle":"alice","password":"secret","hostname":""})";
constexpr char kLoginBob[] = R"({"do":"login","handle":"bob","password":"secret"})";

TEST_F(ZephylTest, ScriptsTakePartInAMeeting)
{
    const QString saved = QString::fromStdString((folder.path / "pictures").string());
    Script alice(Options()), bob(Options() + QStringList{u"--save"_s, saved});
    EXPECT_TRUE(alice.Ok(kLoginAlice));
    EXPECT_TRUE(bob.Ok(kLoginBob));
    EXPECT_EQ(alice.Ask(R"({"do":"permission"})")[u"allowed"_s], true);
    EXPECT_EQ(alice.Ask(R"({"do":"server_key"})")[u"key"_s].toString().size(), 20);
    EXPECT_FALSE(bob.Ok(R"({"do":"join","code":"Standup"})"));
    EXPECT_TRUE(alice.Ok(R"({"do":"create","code":"Standup"})"));
    EXPECT_TRUE(bob.Ok(R"({"do":"join","code":"standup"})"));
    EXPECT_EQ(alice.Event("status"), Json(R"({"event":"status","handle":"bob","status":5})"));
    EXPECT_EQ(bob.Ask(R"({"do":"users"})"), Json(R"({"reply":"users","handles":["bob","Alice"]})"));

    EXPECT_TRUE(alice.Ok(R"({"do":"send","to":"bob","text":"héllo"})"));
    EXPECT_TRUE(alice.Ok(R"({"do":"deliver","to":["bob"],"text":"[[ZUM_WB_CLEAR]]"})"));
    EXPECT_EQ(bob.Event("message"), Json(R"({"event":"message","from":"Alice","text":"héllo"})"));
    EXPECT_EQ(bob.Event("message")[u"text"_s], u"[[ZUM_WB_CLEAR]]"_s);

    JpegEncoder encoder;
    const JpegBytes jpeg = encoder.EncodeBgr24(std::vector<std::uint8_t>(24 * 10 * 3, 50), 24, 10, 60);
    const QString picture =
        File("p.jpg", QByteArray(reinterpret_cast<const char*>(jpeg.data()), qsizetype(jpeg.size())));
    EXPECT_TRUE(alice.Ok(R"({"do":"frame","to":["bob"],"x":-3,"y":4,"type":1,"quality":60,"file":")" +
                         picture.toUtf8() + "\"}"));
    QJsonObject frame = bob.Event("frame");
    EXPECT_EQ(QFile(frame.take(u"file"_s).toString()).size(), qint64(jpeg.size()));
    EXPECT_EQ(frame.take(u"bytes"_s).toInt(), int(jpeg.size()));
    EXPECT_EQ(frame,
              Json(R"({"event":"frame","from":"Alice","x":-3,"y":4,"type":1,"width":24,"height":10})"));

    EXPECT_TRUE(bob.Ok(R"({"do":"leave"})"));
    EXPECT_EQ(alice.Event("status")[u"status"_s], 0);
    alice.Process().closeWriteChannel();  // the end of the input is a quit in order
    EXPECT_TRUE(alice.Process().waitForFinished(kPatience));
    EXPECT_EQ(alice.Process().exitCode(), 0);
    EXPECT_TRUE(bob.Ok(R"({"do":"logout"})"));
    EXPECT_TRUE(bob.Ok(R"({"do":"quit"})"));
    EXPECT_TRUE(bob.Process().waitForFinished(kPatience));
}

TEST_F(ZephylTest, EveryLineHasOneAnswerAndItGoesOn)
{
    Script alice(Options());
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
        const QJsonObject reply = alice.Ask(row.line);
        EXPECT_TRUE(reply[u"error"_s].toString().contains(QLatin1String(row.error)))
            << qPrintable(reply[u"error"_s].toString());
        const QJsonValue told = *row.what ? QJsonValue(QLatin1String(row.what)) : reply[u"do"_s];
        EXPECT_EQ(reply[u"do"_s], told);
    }
    EXPECT_FALSE(alice.Ok(R"({"do":"login","handle":"alice","password":"wrong"})"));
    EXPECT_FALSE(alice.Ok(R"({"do":"login","handle":"alice","password":"пароль"})"));
    EXPECT_TRUE(alice.Ok(kLoginAlice));

    Script stranger(
        {u"--service"_s, QString::fromStdString(relay->Address())});  // nobody vouches for the key
    EXPECT_FALSE(stranger.Ok(kLoginBob));
    ::kill(pid_t(stranger.Process().processId()), SIGTERM);
    EXPECT_TRUE(stranger.Process().waitForFinished(kPatience));
    EXPECT_EQ(stranger.Process().exitStatus(), QProcess::NormalExit);
}

TEST_F(ZephylTest, PeopleListenAndSend)
{
    const QString password = File("pw", "secret\n");
    const auto account = [&](const char* handle) {
        return Options() +
               QStringList{u"--handle"_s, QString::fromLatin1(handle), u"--password-file"_s, password};
    };
    QProcess listener;
    listener.start(QString::fromLatin1(ZEPHYL),
                   QStringList{u"listen"_s} + account("bob") + QStringList{u"--create"_s, u"Standup"_s});
    const auto said = [&] {
        if (!listener.canReadLine()) listener.waitForReadyRead(kPatience);
        return listener.readLine();
    };
    EXPECT_EQ(said(), "* bob is here\n");
    Output(QStringList{u"send"_s} + account("alice") + QStringList{u"standup"_s, u"good\x1b[2Jmorning"_s});
    EXPECT_EQ(said(), "* Alice enters\n");
    EXPECT_EQ(said(), "Alice: good\\x1b[2Jmorning\n");
    EXPECT_EQ(said(), "* Alice leaves\n");
    Output(QStringList{u"send"_s} + account("alice") +
           QStringList{u"--to"_s, u" BOB"_s, u"standup"_s, u"only you"_s});  // as bob spells it
    EXPECT_EQ(said(), "* Alice enters\n");
    EXPECT_EQ(said(), "Alice: only you\n");
    EXPECT_EQ(said(), "* Alice leaves\n");
    Output(
        QStringList{u"send"_s} + account("alice") + QStringList{u"--to"_s, u"dave"_s, u"standup"_s, u"x"_s},
        {}, 1);
    Output(QStringList{u"send"_s} + account("alice") + QStringList{u"nowhere"_s, u"x"_s}, {}, 1);
    listener.terminate();
    EXPECT_TRUE(listener.waitForFinished(kPatience));
    EXPECT_EQ(listener.exitCode(), 0);
}

TEST_F(ZephylTest, EnciphersLineByLine)
{
    const QString key = File("key", "00998877665544332211\nnot this\n");
    const QByteArray lines = "A\nhello, w\xc3\xb6rld\n\n";
    const QByteArray secret = Output({u"encipher"_s, u"--key-file"_s, key}, lines);
    EXPECT_EQ(secret.count('\n'), 3);
    EXPECT_EQ(secret.indexOf('\n'), 16);
    EXPECT_EQ(Output({u"decipher"_s, u"--key-file"_s, key}, secret.toLower()), lines);
    Output({u"encipher"_s, u"--key-file"_s, u"/nowhere"_s}, {}, 1);
    EXPECT_NE(Output({u"--help"_s}).indexOf("run"), -1);
}

/// Those that serve behind a door below this folder.
std::vector<pid_t> DaemonsIn(const std::filesystem::path& runtime)
{
    std::vector<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::error_code unreadable;
        const auto program = std::filesystem::read_symlink(entry.path() / "exe", unreadable);
        QFile environment(QString::fromStdString((entry.path() / "environ").string()));
        if (unreadable || program != ZEPHYLD || !environment.open(QIODevice::ReadOnly)) continue;
        if (environment.readAll().contains(("XDG_RUNTIME_DIR=" + runtime.string()).c_str()))
            found.push_back(pid_t(std::stoi(entry.path().filename().string())));
    }
    return found;
}

/// Two programs start at the same moment where no service is running: one service comes of it.
TEST_F(ZephylTest, StartsThePersonalServiceOfThisComputer)
{
    QProcessEnvironment own = QProcessEnvironment::systemEnvironment();
    const std::filesystem::path runtime = folder.path / "runtime";
    std::filesystem::create_directory(runtime);
    std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
    own.insert(u"XDG_RUNTIME_DIR"_s, QString::fromStdString(runtime.string()));
    own.insert(u"XDG_DATA_HOME"_s, QString::fromStdString((folder.path / "share").string()));
    std::vector<pid_t> daemons;
    {
        Script alice({}, own), bob({}, own);
        alice.Process().write(QByteArray(kLoginAlice) + '\n');
        EXPECT_TRUE(bob.Ok(kLoginBob));  // unknown handles register themselves
        EXPECT_TRUE(
            alice.Ask(R"({"do":"create","code":"private"})")[u"ok"_s].toBool());  // the answer to login
        EXPECT_TRUE(alice.Ask(R"({"do":"stats"})")[u"ok"_s].toBool());            // and to create
        EXPECT_TRUE(bob.Ok(R"({"do":"join","code":"private"})"));
        daemons = DaemonsIn(runtime);
        EXPECT_TRUE(ReadDoorFile(runtime / "zephyl" / "door").has_value());
    }
    EXPECT_EQ(daemons.size(), 1u);
    for (const pid_t daemon : daemons) ::kill(daemon, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatience);
    while (!DaemonsIn(runtime).empty() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_TRUE(DaemonsIn(runtime).empty());
}

}  // namespace
}  // namespace zephyl
