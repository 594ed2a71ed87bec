#include "demo/cluster.h"

#include <signal.h>

#include <QDir>
#include <QFile>
#include <cstdio>
#include <stdexcept>

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

Cluster::Cluster(QString folder, const std::map<QString, QString>& accounts) : mFolder(std::move(folder))
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

void Cluster::Start()
{
    QDir().mkpath(mFolder);
    Child up(Program("up"), {mFolder}, {{u"ZEPHYLD"_s, Programs() + u"/zephyld"_s}}, mFolder + u".log"_s);
    mRelays.clear();
    for (int i = 0; i < kRelays; ++i) {
        const QStringList words = QString::fromUtf8(up.ReadLine(kPatience)).simplified().split(u' ');
        if (words.size() != 4) Fail(u"the cluster does not come up; see "_s + mFolder + u".log"_s);
        mRelays.push_back({words[2], words[3]});
    }
    if (up.WaitForEnd(kPatience) != 0) Fail(u"the cluster does not come up; see "_s + mFolder + u".log"_s);
}

void Cluster::Kill(const char* part) const
{
    QFile file(mFolder + u'/' + QLatin1String(part) + u"/pid"_s);
    if (!file.open(QIODevice::ReadOnly)) Fail(u"nobody runs as "_s + QLatin1String(part));
    const int pid = file.readAll().split(' ').first().toInt();
    if (pid <= 1 || ::kill(pid, SIGKILL) != 0) Fail(u"cannot kill "_s + QLatin1String(part));
}

}  // namespace stage
