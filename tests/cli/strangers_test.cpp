// What strangers write, and what a hostile service says, at the terminals of zephyl and zephyld: plain lines.
#include <gtest/gtest.h>

#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QJsonDocument>
#include <filesystem>

#include "demo/stage.h"
#include "reliability/fake_service.h"
#include "reliability/hostile_service.h"
#include "service/relay/temporary_folder.h"
#include "support/files.h"
#include "support/injections.h"
#include "support/plain.h"
#include "text/text_rules.h"

namespace zephyl {
namespace {

using namespace Qt::StringLiterals;
using stage::Child;

constexpr char kEnd[] = "that is all";

/// A service that lets anybody in and then says that, again and again.
class TellingService {
public:
    explicit TellingService(const std::string& said)
        : mPapers(Authority(mFolder.path).Make()),
          mTls(TlsContext::Server(mPapers.key, mPapers.certificate)),
          mService(mTls, {false, false, [said](std::string& out) { out += said; }})
    {
    }
    QStringList Options() const
    {
        return {u"--service"_s, u"127.0.0.1:%1"_s.arg(mService.Port()), u"--trust"_s,
                QString::fromStdString(mTls->Fingerprint())};
    }

private:
    TemporaryFolder mFolder;
    const Papers mPapers;
    const std::shared_ptr<const TlsContext> mTls;
    HostileService mService;
};

/// What comes behind the entry, in order.
class Said {
public:
    void Text(const std::string& from, std::string_view text)
    {
        Item& item = Next();
        item.set_from(from);
        item.set_stream(7);
        item.set_number(item.sequence());
        item.mutable_text();
        item.set_total(std::uint32_t(text.size()));
        AppendItem(bytes, mHeader, LANE_TALK, text, Way::Down);
    }
    void Present(const std::string& handle)
    {
        Presence& presence = *Next().mutable_presence();
        presence.set_handle(handle);
        presence.set_status(5);
        AppendItem(bytes, mHeader, LANE_TALK, {}, Way::Down);
    }
    void Notice(const std::string& text)
    {
        Next().mutable_notice()->set_text(text);
        AppendItem(bytes, mHeader, LANE_TALK, {}, Way::Down);
    }
    void Bye(const std::string& text)
    {
        mHeader.Clear();
        mHeader.mutable_bye()->set_reason(BYE_KICKED);
        mHeader.mutable_bye()->set_text(text);
        AppendFrame(bytes, mHeader, {}, Way::Down);
    }
    std::string bytes;

private:
    Item& Next()
    {
        mHeader.Clear();
        mHeader.mutable_item()->set_channel(CHANNEL_TALK);
        mHeader.mutable_item()->set_sequence(++mSequence);
        return *mHeader.mutable_item();
    }
    Header mHeader;
    std::uint64_t mSequence = 0;
};

/// Lines of UTF-8 in which nothing hides.
void ExpectPlain(const QByteArray& line)
{
    EXPECT_EQ(Utf8Text(line).toUtf8(), line);
    EXPECT_TRUE(IsPlain(Utf8Text(line))) << line.toStdString();
}

class StrangersTest : public testing::Test {
protected:
    std::unique_ptr<Child> Zephyl(const QStringList& words)
    {
        return std::make_unique<Child>(stage::Programs() + u"/zephyl"_s, words, std::map<QString, QString>{},
                                       Path("log"));
    }
    std::unique_ptr<Child> Listener(const TellingService& service)
    {
        WriteSecret(Path("pw"), "secret\n");
        return Zephyl(QStringList{u"listen"_s} + service.Options() +
                      QStringList{u"--handle"_s, u"bob"_s, u"--password-file"_s, Path("pw"), u"standup"_s});
    }
    /// Of standard error; each line begins like this.
    qsizetype ExpectPlainLog(const QByteArray& begin)
    {
        const QByteArrayList lines = ReadFile(Path("log")).split('\n');
        for (const QByteArray& line : lines) {
            ExpectPlain(line);
            EXPECT_TRUE(line.isEmpty() || line.startsWith(begin)) << line.toStdString();
        }
        return lines.size() - 1;
    }
    QString Path(const char* name) const { return QString::fromStdString((folder.path / name).string()); }

    TemporaryFolder folder;
    const std::vector<std::string> injections = Injections();
};

bool IsUtf8(const std::string& text)
{
    return Utf8Text(QByteArrayView(text.data(), qsizetype(text.size()))).toStdString() == text;
}

TEST_F(StrangersTest, TextsAndHandlesStayInTheirLines)
{
    ASSERT_EQ(injections.size(), 500u);
    Said said;
    std::string everything;
    for (const std::string& text : injections) {
        if (IsUtf8(text) && everything.size() < 30'000) {  // the wire refuses other handles and notices
            said.Present(text);
            everything += text;
        }
        said.Text("eve", text);
    }
    said.Notice(everything);
    said.Text("eve", kEnd);
    const TellingService service(said.bytes);

    const auto listener = Listener(service);
    std::size_t texts = 0;
    for (QByteArray line; line != QByteArray("eve: ") + kEnd; ++texts) {
        do ExpectPlain(line = listener->ReadLine());
        while (line.startsWith("* "));
        ASSERT_TRUE(line.startsWith("eve: ")) << line.toStdString();
    }
    EXPECT_EQ(texts, injections.size() + 1);
    listener->Signal(SIGTERM);
    EXPECT_EQ(listener->WaitForEnd(), 0);

    stage::Script script(service.Options(), {}, Path("log"));
    script.AskLine(R"({"do":"login","handle":"bob","password":"secret"})");
    script.Process().Write(R"({"do":"join","code":"standup"})");
    QStringList heard;
    while (heard.isEmpty() || heard.last() != QLatin1String(kEnd)) {
        const QByteArray line = script.Process().ReadLine();
        ExpectPlain(line);
        const QJsonObject event = QJsonDocument::fromJson(line).object();
        if (event[u"event"_s] == u"message"_s) heard += event[u"text"_s].toString();
    }
    ASSERT_EQ(std::size_t(heard.size()), injections.size() + 1);
    for (std::size_t i = 0; i < injections.size(); ++i)
        EXPECT_EQ(heard[qsizetype(i)],
                  Utf8Text(QByteArrayView(injections[i].data(), qsizetype(injections[i].size()))));
    ExpectPlainLog("zephyl: ");
}

TEST_F(StrangersTest, AFarewellIsOneLine)
{
    Said said;
    said.Bye("over\r\nzephyl: \x1b]0;x\x07\u009b2J\u2028\u202eann: y");
    const TellingService service(said.bytes);
    const auto listener = Listener(service);
    int lines = 0;
    EXPECT_ANY_THROW(for (;; ++lines) ExpectPlain(listener->ReadLine()));
    EXPECT_GE(lines, 2);  // that bob is there, and the farewell
    EXPECT_EQ(listener->WaitForEnd(), 1);
    ExpectPlainLog("zephyl: ");
}

TEST_F(StrangersTest, DecipheredTextDrivesNoTerminal)
{
    WriteFile(Path("key"), "00998877665544332211\n");
    const std::string zephyl = "'" + (stage::Programs() + u"/zephyl"_s).toStdString() + "' ";
    const std::string options = "cipher --key-file '" + Path("key").toStdString() + "'";
    const std::string both =
        "printf 'a\\033[2J\\302\\220b\\n' | " + zephyl + "en" + options + " | " + zephyl + "de" + options;
    int terminal = -1;
    const pid_t shell = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (shell == 0) ::_exit(::execl("/bin/sh", "sh", "-c", both.c_str(), nullptr));
    QByteArray shown;
    for (char c = 0; ::read(terminal, &c, 1) == 1;) shown += c;
    ::close(terminal);
    ::waitpid(shell, nullptr, 0);
    EXPECT_EQ(shown, "a\\x1b[2J\\u0090b\r\n");
}

TEST_F(StrangersTest, TheServicesLogIsOneLineAnEntry)
{
    const std::filesystem::path meetings = folder.path / "data" / "meetings";
    std::filesystem::create_directories(meetings);
    for (const std::filesystem::path& made : {folder.path / "data", meetings})
        std::filesystem::permissions(made, std::filesystem::perms::owner_all);
    qsizetype strange = 0;  // folders that are no meetings: each is told
    for (const std::string& name : injections)
        if (name.size() < 200 && name.find_first_of(std::string("/\0", 2)) == std::string::npos)
            strange += std::filesystem::create_directory(meetings / name);
    const auto zephyld = [&](const QStringList& words) {
        return std::make_unique<Child>(stage::Programs() + u"/zephyld"_s, words, std::map<QString, QString>{},
                                       Path("log"));
    };
    const auto service = zephyld({u"serve"_s, u"--data"_s, Path("data"), u"--listen"_s, u"127.0.0.1:0"_s});
    EXPECT_TRUE(service->ReadLine().startsWith("zephyld ready "));
    service->Signal(SIGTERM);
    EXPECT_EQ(service->WaitForEnd(), 0);
    EXPECT_GT(strange, 200);
    EXPECT_GE(ExpectPlainLog("["), strange);

    QFile::remove(Path("log"));
    const QString name = u"a\x1b]0;x\a\r\nzephyld: ready\u0085\u009b2J\u2028\u202e\U000e0041"_s;
    for (const QStringList& words : {QStringList{u"kick"_s, name, u"bob"_s},
                                     {u"kick"_s, u"standup"_s, name},
                                     {u"user"_s, u"permit"_s, name},
                                     {u"user"_s, u"add"_s, u"bob"_s, u"--email"_s, u"a@b."_s + name},
                                     {u"user"_s, u"add"_s, name, u"--password-file"_s, Path("pw")},
                                     {name},
                                     {u"kick"_s, u"a"_s, u"b"_s, name}})
        EXPECT_NE(
            zephyld(words.size() > 1 ? words + QStringList{u"--data"_s, Path("data")} : words)->WaitForEnd(),
            0);
    EXPECT_EQ(ExpectPlainLog("zephyld: "), 7);
}

}  // namespace
}  // namespace zephyl
