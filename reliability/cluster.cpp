#include "reliability/cluster.h"

#include <signal.h>
#include <sys/stat.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonValue>
#include <QStandardPaths>
#include <cstdio>

#include "service/relay/door/open_accounts.h"
#include "service/relay/door/postgres_accounts.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

QStringList Numbered(const QString& name)
{
    QStringList all;
    for (int i = 1; i <= Cluster::kEach; ++i) all += name + QString::number(i);
    return all;
}

/// As the files of packaging/cluster write it.
QString Word(QString part)
{
    return part.replace(u'-', u'_');
}

void WriteFile(const QString& name, const QString& text)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
        throw std::runtime_error("cannot write " + name.toStdString());
}

}  // namespace

bool Cluster::Missing()
{
    return QStandardPaths::findExecutable(u"nats-server"_s).isEmpty() ||
           QDir(u"/usr/lib/postgresql"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty();
}

Cluster::Cluster(int accounts, const QString& config, zephyl::HashCost cost, bool gather)
{
    // PostgreSQL runs as somebody else, who must find its folder.
    ::chmod(QFile::encodeName(mFolder.Path()).constData(), 0711);
    const QString path = mFolder / "it";
    QDir().mkpath(path);
    WriteFile(path + u"/cluster.lock"_s, {});
    WriteFile(path + u"/relays.toml"_s, config);
    WriteFile(path + u"/cluster.toml"_s, gather ? u"gather = 3000\n"_s : u"gather = 0\n"_s);
    mParts = std::make_unique<stage::Cluster>(path);
    mParts->Start({u"postgres"_s});
    ReadPorts();
    BuildRoads();
    mParts->Start();
    mFingerprint = mParts->Relays().front().fingerprint.toStdString();
    AddAccounts(accounts, cost);
}

// Hard: how it ends in order is tried elsewhere.
Cluster::~Cluster()
{
    for (const QString& part : Numbered(u"relay-"_s) + Numbered(u"nats-"_s) + QStringList{u"postgres"_s})
        try {
            if (mParts->Runs(part)) mParts->Kill(part);
        } catch (const std::exception& problem) {
            std::fprintf(stderr, "%s\n", problem.what());
        }
}

void Cluster::ReadPorts()
{
    QFile file(mParts->Path() + u"/ports"_s);
    if (!file.open(QIODevice::ReadOnly)) throw std::runtime_error("no ports were drawn");
    for (const QByteArray& line : file.readAll().split('\n'))
        if (const QList<QByteArray> words = line.split('='); words.size() == 2)
            mPorts[QString::fromLatin1(words[0])] = words[1].toUShort();
}

void Cluster::BuildRoads()
{
    QString roads;
    const auto build = [&](const QString& from, const QString& to) {
        auto road = std::make_unique<FaultProxy>(mPorts.at(to));
        roads += u"%1_%2=%3\n"_s.arg(from, to).arg(road->Port());
        return road;
    };
    const QStringList relays = Numbered(u"relay-"_s), servers = Numbered(u"nats-"_s);
    for (const QString& relay : relays) {
        mFronts.push_back(build(u"clients"_s, Word(relay)));
        mRoads[{relay, u"postgres"_s}] = build(Word(relay), u"postgres_port"_s);
        for (const QString& server : servers) mRoads[{relay, server}] = build(Word(relay), Word(server));
    }
    for (const QString& from : servers)
        for (const QString& to : servers)
            if (from != to) mRoads[{from, to}] = build(Word(from), u"route_"_s + to.back());
    WriteFile(mParts->Path() + u"/roads"_s, roads);
}

void Cluster::AddAccounts(int accounts, zephyl::HashCost cost) const
{
    if (accounts == 0) return;
    zephyl::StartSodium();
    const QString path = mParts->Path();
    zephyl::ClusterOptions options;
    options.accounts =
        u"postgresql://zephyl@127.0.0.1:%1/zephyl"_s.arg(mPorts.at(u"postgres_port"_s)).toStdString();
    options.accountsPasswordFile = (path + u"/secrets/accounts"_s).toStdString();
    options.accountsAuthorities = (path + u"/authority/authority.pem"_s).toStdString();
    const auto store = zephyl::OpenDatabaseAccounts(options);
    const std::string hash = zephyl::HashPassword("secret", cost);
    for (int i = 0; i < accounts; ++i) store->Add("c" + std::to_string(i), hash, "");
}

std::vector<std::uint16_t> Cluster::Doors() const
{
    return {mPorts.at(u"relay_1"_s), mPorts.at(u"relay_2"_s), mPorts.at(u"relay_3"_s)};
}

int Cluster::Logged(const QByteArray& words) const
{
    int count = 0;
    for (const QString& relay : Numbered(u"relay-"_s)) {
        QFile file(mParts->Path() + u'/' + relay + u"/log"_s);
        if (file.open(QIODevice::ReadOnly)) count += int(file.readAll().count(words));
    }
    return count;
}

bool Cluster::CopiesInStep() const
{
    const QString path = mParts->Path();
    stage::Child status(stage::Programs() + u"/zephyld"_s,
                        {u"status"_s, u"--json"_s, u"--data"_s, path + u"/relay-1/data"_s}, {},
                        path + u"/status.log"_s);
    try {
        const QJsonValue log = QJsonDocument::fromJson(status.ReadLine())[u"cluster"_s][u"log"_s];
        return log[u"answered"_s].toBool() && log[u"copies_behind"_s].toInt(-1) == 0;
    } catch (const std::exception&) {
        return false;  // that relay does not answer yet
    }
}

std::vector<FaultProxy*> Cluster::Between(const QString& one, const QString& other)
{
    std::vector<FaultProxy*> roads;
    for (const auto& [ends, road] : mRoads)
        if (ends == std::pair(one, other) || ends == std::pair(other, one)) roads.push_back(road.get());
    return roads;
}

std::vector<FaultProxy*> Cluster::RoadsOf(const QString& part)
{
    std::vector<FaultProxy*> roads;
    for (const auto& [ends, road] : mRoads)
        if (ends.first == part || ends.second == part) roads.push_back(road.get());
    return roads;
}

void Cluster::SetFronts(bool open)
{
    for (const auto& front : mFronts) front->Block(!open);
}

std::unique_ptr<Site> OpenSite(const Run& run, int accounts, const QString& config, zephyl::HashCost cost)
{
    if (!run.cluster) return std::make_unique<Daemon>(accounts, config, cost);
    auto cluster = std::make_unique<Cluster>(accounts, config, cost);
    cluster->SetFronts(false);
    return cluster;
}

}  // namespace reliability
