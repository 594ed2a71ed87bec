#include "demo/cluster.h"

#include <signal.h>

#include <QDir>
#include <QFile>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "demo/stage.h"

namespace stage {

using namespace Qt::StringLiterals;

namespace {

constexpr int kPatience = 150;  // seconds
constexpr int kRelays = 3;

QString Program(const char* name)
{
    return QStringLiteral(CLUSTER_SCRIPTS "/") + QLatin1String(name);
}

[[noreturn]] void Fail(const QString& what)
{
    throw std::runtime_error(what.toStdString());
}

}  // namespace

Cluster::Cluster(QString folder) : mFolder(std::move(folder)) {}

Cluster::Cluster(QString folder, const std::map<QString, QString>& accounts) : Cluster(std::move(folder))
{
    Start();
    for (const auto& [handle, password] : accounts) {
        QFile file(mFolder + u"/password-of-"_s + handle);
        if (!file.open(QIODevice::WriteOnly)) Fail(u"cannot write "_s + file.fileName());
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        file.write(password.toUtf8() + '\n');
        file.close();
        Child add(Programs() + u"/zephyld"_s,
                  {u"user"_s, u"add"_s, u"--data"_s, mFolder + u"/relay-1/data"_s, u"--password-file"_s,
                   file.fileName(), handle},
                  {}, mFolder + u"/accounts.log"_s);
        if (add.WaitForEnd() != 0) Fail(u"no account for "_s + handle);
    }
}

Cluster::~Cluster()
{
    try {
        End(mFolder);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "the cluster in %s is not ended: %s\n", qPrintable(mFolder), problem.what());
    }
}

void Cluster::End(const QString& folder)
{
    if (!QFile::exists(folder + u"/ports"_s)) return;
    Child down(Program("down"), {folder}, {}, folder + u".log"_s);
    if (down.WaitForEnd(kPatience) != 0) Fail(u"some of it runs on; see "_s + folder + u".log"_s);
}

void Cluster::Start(const QStringList& parts)
{
    QDir().mkpath(mFolder);
    const auto relays = parts.isEmpty() ? kRelays : int(parts.filter(u"relay-"_s).size());
    std::vector<Relay> ready;
    const QStringList words = wrapper + QStringList{Program("up"), mFolder} + parts;
    Child up(words.front(), words.mid(1), {{u"ZEPHYLD"_s, Programs() + u"/zephyld"_s}}, mFolder + u".log"_s);
    for (int i = 0; i < relays; ++i) {
        const QStringList said = QString::fromUtf8(up.ReadLine(kPatience)).simplified().split(u' ');
        if (said.size() != 4) Fail(u"the cluster does not come up; see "_s + mFolder + u".log"_s);
        ready.push_back({said[2], said[3]});
    }
    if (up.WaitForEnd(kPatience) != 0) Fail(u"the cluster does not come up; see "_s + mFolder + u".log"_s);
    if (parts.isEmpty()) mRelays = std::move(ready);
}

// Whose number is used again by somebody else is another's process: only whoever runs it here is asked.
pid_t Cluster::Pid(const QString& part) const
{
    QFile file(mFolder + u'/' + part + u"/pid"_s);
    const QList<QByteArray> words =
        file.open(QIODevice::ReadOnly) ? file.readAll().simplified().split(' ') : QList<QByteArray>();
    QFile stat(u"/proc/"_s + QString::fromLatin1(words.value(0)) + u"/stat"_s);
    const QByteArray text =
        words.size() == 2 && stat.open(QIODevice::ReadOnly) ? stat.readAll() : QByteArray();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    constexpr int kBorn = 19;  // behind the name
    const bool runs =
        !text.isEmpty() && fields.value(kBorn) == words.value(1) && fields[0] != "Z" && fields[0] != "X";
    if (!runs) Fail(u"nobody runs as "_s + part);
    return words[0].toInt();
}

bool Cluster::Runs(const QString& part) const
{
    try {
        return Pid(part) > 0;
    } catch (const std::exception&) {
        return false;
    }
}

void Cluster::Signal(const QString& part, int number) const
{
    if (::kill(Pid(part), number) != 0) Fail(u"cannot signal "_s + part);
}

void Cluster::Kill(const QString& part) const
{
    Signal(part, SIGKILL);
    while (Runs(part)) std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

}  // namespace stage
