#pragma once
// A service in this process, and the program zephyl beside it.

#include <gtest/gtest.h>

#include <QJsonDocument>

#include "demo/stage.h"
#include "service/relay/relay_fixture.h"
#include "support/files.h"

namespace zephyl {

using namespace Qt::StringLiterals;
using stage::Child, stage::Is;

inline QJsonObject Json(const QByteArray& line)
{
    return QJsonDocument::fromJson(line).object();
}

/// One `zephyl run`.
struct Script : stage::Script {
    using stage::Script::Script;
    bool Ok(const QByteArray& command)
    {
        const QJsonObject reply = AskLine(command);
        return reply[u"ok"_s].toBool() && reply[u"reply"_s] == Json(command)[u"do"_s];
    }
};

class ZephylTest : public testing::Test, protected RelayRoom {
protected:
    ZephylTest() : RelayRoom({Logs::Files}) { StartRelay(); }
    QStringList Options() const
    {
        return {u"--service"_s, QString::fromStdString(relay->Address()), u"--trust"_s,
                QString::fromStdString(relay->Fingerprint()).mid(7).toUpper()};
    }
    /// A command of somebody who logs in for it.
    QStringList As(const QString& command, const QString& handle, const QStringList& more) const
    {
        return QStringList{command} + Options() +
               QStringList{u"--handle"_s, handle, u"--password-file"_s, File("pw", "secret\n")} + more;
    }
    Script Run(const QStringList& words) { return Script(words, {}, Path("log")); }
    std::unique_ptr<Child> Start(const QStringList& words)
    {
        return std::make_unique<Child>(stage::Programs() + u"/zephyl"_s, words, std::map<QString, QString>{},
                                       Path("log"));
    }
    /// Its exit status when it has read `input`.
    int Exit(const QStringList& words) { return Start(words)->WaitForEnd(); }
    /// What it says to so many lines of input.
    QByteArray Filtered(const QStringList& words, const QByteArray& input)
    {
        const auto filter = Start(words);
        filter->Write(input);
        QByteArray lines;
        for (qsizetype i = 0; i < input.count('\n') + 1; ++i) lines += filter->ReadLine() + '\n';
        return lines;
    }
    /// The environment of somebody who has no personal service yet.
    using Home = std::map<QString, QString>;
    Home MakeHome(const char* data) const
    {
        std::filesystem::create_directory(folder.path / "runtime");
        std::filesystem::permissions(folder.path / "runtime", std::filesystem::perms::owner_all);
        return {{u"XDG_RUNTIME_DIR"_s, Path("runtime")}, {u"XDG_DATA_HOME"_s, Path(data)}};
    }
    /// Why it does not do that, on standard error.
    void ExpectRefusal(const QStringList& words, const char* why)
    {
        QFile::remove(Path("log"));
        EXPECT_NE(Exit(words), 0) << why;
        EXPECT_TRUE(ReadFile(Path("log")).contains(why)) << why;
    }
    QString Path(const char* name) const { return QString::fromStdString((folder.path / name).string()); }
    QString File(const char* name, const QByteArray& content) const
    {
        WriteSecret(Path(name), content);
        return Path(name);
    }
};

}  // namespace zephyl
