// A service that floods its client: bounded memory, and the user is heard.
#include <gtest/gtest.h>
#include <signal.h>

#include <QFile>

#include "demo/stage.h"
#include "reliability/hostile_service.h"
#include "service/relay/door/identity.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

using namespace Qt::StringLiterals;
/// With its output read, or with nobody reading it; by signal, or by command.
TEST(HostileService, HoldsNoClient)
{
    TemporaryFolder folder;
    const Identity identity = PrepareIdentity(folder.path);
    const auto context = TlsContext::Server(identity.key, identity.certificate);
    const QString log = QString::fromStdString((folder.path / "log").string());
    struct Row {
        NamedFlood flood;
        bool atOnce = false;
    };
    std::vector<Row> rows;
    for (const NamedFlood& flood : Floods()) rows.push_back({flood});
    rows.push_back({Floods()[1], true});  // texts, before the login is answered
    int number = 0;
    for (const auto& [flood, atOnce] : rows) {
        SCOPED_TRACE(testing::Message() << flood.what << (atOnce ? " before the login" : ""));
        HostileService service(context, {false, atOnce, flood.flood});
        QFile::remove(log);
        const bool unread = ++number % 3 == 0, byCommand = !atOnce && !unread;
        stage::Child zephyl(u"/bin/sh"_s,
                            {u"-c"_s, unread ? u"exec \"$0\" \"$@\""_s : u"exec \"$0\" \"$@\" >/dev/null"_s,
                             stage::Programs() + u"/zephyl"_s, u"run"_s, u"--service"_s,
                             u"127.0.0.1:%1"_s.arg(service.Port()), u"--trust"_s,
                             QString::fromStdString(context->Fingerprint())},
                            {}, log);
        zephyl.Write(R"({"do":"login","handle":"alice","password":"secret"})");
        zephyl.Write(R"({"do":"join","code":"Standup"})");
        service.LetItFlood();
        EXPECT_GT(service.flooded, 0u);
        EXPECT_LE(zephyl.PeakMegabytes(), 160);
        EXPECT_LE(QFile(log).size(), 100'000);
        if (byCommand)
            zephyl.Write(R"({"do":"quit"})");
        else
            zephyl.Signal(SIGTERM);
        EXPECT_EQ(zephyl.WaitForEnd(10), 0);
    }
}

/// It lets in and closes at the next question.
TEST(HostileService, IsNotAskedWithoutAPause)
{
    TemporaryFolder folder;
    const Identity identity = PrepareIdentity(folder.path);
    const auto context = TlsContext::Server(identity.key, identity.certificate);
    HostileService service(context, {true, false, {}});
    stage::Script alice({u"--service"_s, u"127.0.0.1:%1"_s.arg(service.Port()), u"--trust"_s,
                         QString::fromStdString(context->Fingerprint())},
                        {}, QString::fromStdString((folder.path / "log").string()));
    EXPECT_TRUE(alice.AskLine(R"({"do":"login","handle":"alice","password":"secret"})")[u"ok"_s].toBool());
    EXPECT_TRUE(alice.AskLine(R"({"do":"join","code":"Standup"})")[u"error"_s].isString());
    EXPECT_LE(service.logins, 10);
    EXPECT_FALSE(alice.Has(stage::Is("state", u"returned"_s)));
}

}  // namespace
}  // namespace zephyl
