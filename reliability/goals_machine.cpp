// What the machine runs out of, and what a long time does.

#include <signal.h>
#include <sys/resource.h>

#include <QDir>
#include <QFile>
#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <map>

#include "reliability/cluster.h"
#include "reliability/judge.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

// --- nothing left --------------------------------------------------------------------------------------

/// Folders that are a small volume each, which only who is started inside sees.
class SmallVolumes {
public:
    SmallVolumes(const QStringList& folders, int mebibytes, const QString& log)
        : mFolders(folders),
          mHolder(
              u"unshare"_s,
              QStringList{u"-Urm"_s, u"sh"_s, u"-c"_s,
                          u"for each do cp -a \"$each\" \"$each.kept\" && mount -t tmpfs -o "
                          "size=%1m,mode=0700 none \"$each\" && cp -a \"$each.kept/.\" \"$each\" || exit; "
                          "done; echo mounted; exec sleep 3600"_s.arg(mebibytes),
                          u"sh"_s} +
                  folders,
              {}, log)
    {
        if (mHolder.ReadLine(10) != "mounted") throw std::runtime_error("no volume");
    }
    QStringList Inside() const
    {
        return {u"nsenter"_s, u"-t"_s, QString::number(mHolder.Pid()),
                u"-U"_s,      u"-m"_s, u"--preserve-credentials"_s};
    }
    void Fill()
    {
        for (const QString& folder : mFolders) {
            QFile file(Filler(folder));
            if (!file.open(QIODevice::Append | QIODevice::Unbuffered)) throw std::runtime_error("no filler");
            for (const qsizetype bytes : {1 << 20, 4096, 1})
                while (file.write(QByteArray(bytes, 'x')) == bytes) continue;
        }
    }
    void Free()
    {
        for (const QString& folder : mFolders) QFile::remove(Filler(folder));
    }

private:
    QString Filler(const QString& folder) const
    {
        return u"/proc/%1/root%2/filler"_s.arg(mHolder.Pid()).arg(folder);
    }
    const QStringList mFolders;
    stage::Child mHolder;
};

/// Whether an account can be added now, and what the program says to it.
bool AddAccount(const Daemon& daemon, const QString& handle, QString& said)
{
    QFile password(daemon.Folder() / "password");
    if (!password.open(QIODevice::WriteOnly)) throw std::runtime_error("no password file");
    password.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    password.write("secret\n");
    password.close();
    const QString log = daemon.Folder() / "user.log";
    QFile::remove(log);
    const QStringList words = daemon.wrapper + QStringList{stage::Programs() + u"/zephyld"_s,
                                                           u"user"_s,
                                                           u"add"_s,
                                                           handle,
                                                           u"--password-file"_s,
                                                           password.fileName(),
                                                           u"--data"_s,
                                                           daemon.Data()};
    const int status = stage::Child(words.front(), words.mid(1), {}, log).WaitForEnd();
    QFile text(log);
    said = text.open(QIODevice::ReadOnly) ? QString::fromUtf8(text.readAll()).trimmed() : QString();
    return status == 0;
}

void SendMuch(const Crowd& crowd, int records, std::size_t bytes, std::size_t lineBytes = 60)
{
    for (int i = 0; i < records; ++i)
        for (auto& one : crowd) one->SendOne(i % 4 ? Board : Talk, i % 4 ? bytes : lineBytes);
}

/// Everything has been applied by everybody; the log may still have it in memory only.
bool AllApplied(const Crowd& crowd, double seconds)
{
    return WaitFor(
        [&] {
            std::uint64_t all = 0;
            for (auto& one : crowd) all += one->sentCount;
            return std::all_of(crowd.begin(), crowd.end(),
                               [&](auto& one) { return one->appliedCount >= all - one->sentCount; });
        },
        seconds);
}

/// Processor time of the service in two quiet seconds, as a share of one core.
double IdleShare(pid_t service)
{
    const double before = ProcessorSecondsOf(service);
    Sleep(2000);
    return (ProcessorSecondsOf(service) - before) / 2;
}

/// Each record of everybody once.
void NewcomerGetsTheBoard(Outcome& outcome, const Site& site, const Crowd& crowd)
{
    Client newcomer(site, 3);
    newcomer.Enter(u"ROOM01"_s, false);
    std::map<std::pair<int, std::uint32_t>, int> missing;
    for (auto& one : crowd)
        for (const Sent& record : one->sent[Board]) missing[{one->Number(), record.number}] = 1;
    const std::size_t board = missing.size();
    newcomer.Until([&] { return newcomer.entries.back().applied[Board].size() >= board; }, 20);
    for (const Applied& record : newcomer.Do([&] { return newcomer.entries.back().applied[Board]; }))
        --missing[{record.sender, record.number}];
    const auto wrong = std::count_if(missing.begin(), missing.end(), [](auto& one) { return one.second; });
    outcome.Must(wrong == 0, u"%1 of %2 records are lost or twice at a newcomer"_s.arg(wrong).arg(board));
}

void FullVolume(Run& run, Outcome& outcome, Daemon& daemon, SmallVolumes& volume)
{
    Crowd crowd = Gather(daemon, 3);
    SendMuch(crowd, 10, 2000);
    outcome.Must(AtRest(crowd), u"it does not come to rest before"_s);
    volume.Fill();
    // More than a segment of each channel has to be caught up with: 8 MiB of records, 1 MiB of lines.
    SendMuch(crowd, run.Form(32, 64), 170'000, 40'000);
    outcome.Must(AllApplied(crowd, 60), u"the meeting does not go on"_s);
    const auto told = [&](const char* words) {
        return crowd[0]->Until(
            [&] {
                return std::any_of(
                    crowd[0]->states.begin(), crowd[0]->states.end(),
                    [&](const LinkSeen& seen) { return seen.state.text.contains(QLatin1String(words)); });
            },
            20);
    };
    outcome.Must(told("cannot save"), u"nobody is told"_s);
    // The first ones may still fit into pages that the store has; and a segment that could not grow gives
    // back what it had reserved, at a moment of its own.
    QString said;
    int added = 0;
    for (; added < 40; ++added) {
        volume.Fill();
        if (!AddAccount(daemon, u"late%1"_s.arg(added), said)) break;
    }
    outcome.Must(added < 40, u"accounts are added to a full volume"_s);
    outcome.Must(!said.isEmpty(), u"an account is refused without a word"_s);
    const double idle = IdleShare(daemon.Pid());
    volume.Free();
    // Until then a kill may lose what was said meanwhile, and everybody knows it.
    outcome.Must(told("saves this meeting again"),
                 u"what was kept in memory is not written when there is room"_s);
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    daemon.End(SIGKILL);
    daemon.Start();
    Follow(crowd, daemon);
    SendMuch(crowd, 5, 2000);
    outcome.Must(AtRest(crowd), u"it does not come to rest after a kill"_s);
    Demand(outcome, JudgeAll(crowd));
    NewcomerGetsTheBoard(outcome, daemon, crowd);
    QString again;
    outcome.Must(AddAccount(daemon, u"late%1"_s.arg(added), again),
                 u"no account can be added afterwards: "_s + again);
    outcome.Figure(
        u"volume full: everybody told, and told again when there was room; an account refused with "
        "\"%1\"; idle at %2 % of a core"_s.arg(said.section(u'\n', 0, 0))
            .arg(idle * 100, 0, 'f', 1));
    outcome.Must(idle < 0.2, u"it spins"_s);
}

/// Of the one process that listens there.
void FewDescriptors(Outcome& outcome, const Site& site, pid_t service, std::uint16_t port)
{
    Crowd crowd = Gather(site, 3);
    rlimit before{}, few{};
    prlimit(service, RLIMIT_NOFILE, nullptr, &before);
    few = before;
    few.rlim_cur = rlim_t(DescriptorsOf(service) + 2);
    prlimit(service, RLIMIT_NOFILE, &few, nullptr);
    boost::asio::io_context io;
    std::vector<boost::asio::ip::tcp::socket> idle;
    for (int i = 0; i < 8; ++i) {
        idle.emplace_back(io);
        idle.back().connect({boost::asio::ip::address_v4::loopback(), port});
    }
    SendMuch(crowd, 10, 2000);
    outcome.Must(AllApplied(crowd, 60), u"without descriptors the meeting does not go on"_s);
    const double share = IdleShare(service);
    idle.clear();
    prlimit(service, RLIMIT_NOFILE, &before, nullptr);
    Client late(site, 3);
    late.Enter(u"ROOM01"_s, false);
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    outcome.Figure(
        u"no descriptor left: idle at %1 % of a core, a newcomer afterwards"_s.arg(share * 100, 0, 'f', 1));
    outcome.Must(share < 0.2, u"it spins without descriptors"_s);
}

/// All three nats-servers have no room, and are killed and started anew once there is: they do not go on by
/// themselves, and do not end when they are asked to.
void FullServers(Outcome& outcome, Cluster& cluster)
{
    const QStringList servers{u"nats-1"_s, u"nats-2"_s, u"nats-3"_s};
    stage::Cluster& parts = cluster.Parts();
    QStringList folders;
    for (const QString& server : servers) {
        parts.Kill(server);
        folders += parts.Path() + u'/' + server + u"/data"_s;
    }
    std::unique_ptr<SmallVolumes> volumes;
    try {
        volumes = std::make_unique<SmallVolumes>(folders, 96, parts.Path() + u"/volumes.log"_s);
    } catch (const std::exception&) {
        outcome.cannot = u"this machine lets nobody mount a small volume"_s;
        return;
    }
    parts.wrapper = volumes->Inside();
    parts.Start(servers);
    Crowd crowd = Gather(cluster, 3);
    SendMuch(crowd, 10, 2000);
    outcome.Must(AtRest(crowd), u"it does not come to rest before"_s);
    volumes->Fill();
    SendMuch(crowd, 32, 170'000, 40'000);
    Sleep(5000);
    const double idle = IdleShare(parts.Pid(u"relay-1"_s));
    volumes->Free();
    for (const QString& server : servers) parts.Kill(server);
    parts.Start(servers);
    const Time room = Clock::now();
    outcome.Must(AtRest(crowd, 120), u"it does not come to rest"_s);
    outcome.Figure(
        u"the nats-servers' volumes full: the meeting waited, and was at rest %1 after they were "
        "started anew with room; a relay idle at %2 % of a core"_s.arg(Milliseconds(Since(room)))
            .arg(idle * 100, 0, 'f', 1));
    Demand(outcome, JudgeAll(crowd));
    NewcomerGetsTheBoard(outcome, cluster, crowd);
    outcome.Must(idle < 0.2, u"it spins"_s);
}

void NothingLeftForThree(Outcome& outcome)
{
    {
        Cluster cluster(4);
        cluster.SetFronts(false);
        FewDescriptors(outcome, cluster, cluster.Parts().Pid(u"relay-1"_s), cluster.PortOf(u"relay_1"_s));
    }
    Cluster cluster(4);
    cluster.SetFronts(false);
    FullServers(outcome, cluster);
}

void NothingLeft(Run& run, Outcome& outcome)
{
    if (run.cluster) return NothingLeftForThree(outcome);
    {
        Daemon daemon(4);
        FewDescriptors(outcome, daemon, daemon.Pid(), daemon.Port());
    }
    Daemon daemon(4);
    daemon.End(SIGTERM);
    std::unique_ptr<SmallVolumes> volume;
    try {
        volume =
            std::make_unique<SmallVolumes>(QStringList{daemon.Data()}, 48, daemon.Folder() / "volume.log");
    } catch (const std::exception&) {
        outcome.cannot = u"this machine lets nobody mount a small volume"_s;
        return;
    }
    daemon.wrapper = volume->Inside();
    daemon.Start();
    FullVolume(run, outcome, daemon, *volume);
    daemon.End(SIGTERM);
}

// --- a long time ---------------------------------------------------------------------------------------

/// Comes, stays, talks and goes, always in the same room, until it is told to stop.
class Regular {
public:
    Regular(const Daemon& daemon, int number, std::uint64_t seed)
        : client(daemon, number), mRandom(seed), mRoom(u"SOAK0%1"_s.arg(number % kRooms))
    {
        client.onText = [this](int, const QString& text) {
            if (text.startsWith(u"[[ZUM_WB_CLEAR]]"_s))
                client.entries.back().applied[Board].push_back({-1, 0, {}});
        };
        mThread = std::thread([this] { Live(); });
    }
    ~Regular() { Stop(); }
    void Stop()
    {
        mStop = true;
        if (mThread.joinable()) mThread.join();
    }

    static constexpr int kRooms = 5;
    Client client;
    std::atomic<int> visits{0}, troubles{0};
    std::atomic<bool> inside{false}, stay{false};

private:
    void Live()
    {
        while (!mStop) try {
                Arrive();
                inside = true;
                ++visits;
                client.SetLoad({1, 0.2, 300, 60});
                Pause(5 + double(mRandom() % 25));
                while (stay && !mStop) Pause(0.05);
                client.SetLoad({});
                inside = false;
                if (mStop) return;
                if (mRandom() % 3 == 0)
                    client.Do([this] { client.Attendee().link->Logout(); });
                else
                    client.Leave();
                Pause(double(mRandom() % 4));
            } catch (const std::exception&) {
                ++troubles;
                Pause(0.5);
            }
    }
    void Arrive()
    {
        try {
            client.Enter(mRoom, false);
        } catch (const std::exception&) {
            client.Enter(mRoom, true);
        }
        if (mRandom() % 10 == 0)
            client.Do([this] {
                const auto items = client.Attendee().link->Users()->Items();
                if (items.size() > 1) client.Attendee().Draw(u"[[ZUM_WB_CLEAR]]"_s);
            });
    }
    void Pause(double seconds)
    {
        for (const Time begun = Clock::now(); !mStop && Since(begun) < seconds * 1000;) Sleep(20);
    }

    std::mt19937_64 mRandom;
    const QString mRoom;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

using Regulars = std::vector<std::unique_ptr<Regular>>;

/// What each visit saw rises by one from each sender; a CLEAR may have taken what was in front of it, and
/// what a sender named as undelivered when it left is missing.
void JudgeVisits(const Regulars& all, Outcome& outcome)
{
    std::size_t deliveries = 0, twice = 0, missing = 0, damaged = 0, visits = 0;
    int named = 0;
    const auto judge = [&](const Client& client) {
        for (const Entry& entry : client.entries) {
            ++visits;
            damaged += std::size_t(entry.damaged);
            for (const Channel channel : {Talk, Board}) {
                std::map<int, std::uint32_t> last;
                for (const Applied& one : entry.applied[channel]) {
                    if (one.sender < 0) {
                        last.clear();
                        continue;
                    }
                    ++deliveries;
                    std::uint32_t& before = last[one.sender];
                    twice += before != 0 && one.number <= before;
                    if (before != 0 && one.number > before + 1) missing += one.number - before - 1;
                    before = std::max(before, one.number);
                }
            }
        }
        named += int(std::count_if(client.states.begin(), client.states.end(), [](const LinkSeen& seen) {
            return seen.state.text.contains(u"Not delivered"_s);
        }));
    };
    for (const auto& regular : all) regular->client.Do([&] { judge(regular->client); });
    outcome.Figure(
        u"%1 visits, %2 deliveries: %3 twice or out of order, %4 missing (%5 goodbyes named "
        "undelivered items), %6 damaged"_s.arg(visits)
            .arg(deliveries)
            .arg(twice)
            .arg(missing)
            .arg(named)
            .arg(damaged));
    outcome.Must(deliveries > 0 && twice == 0 && damaged == 0, u"twice, out of order or damaged"_s);
    outcome.Must(missing == 0 || named > 0, u"something is missing"_s);
}

/// MiB in ten minutes, by least squares.
double Slope(const std::vector<std::pair<double, double>>& samples)
{
    double x = 0, y = 0, xx = 0, xy = 0;
    const auto n = double(samples.size());
    for (const auto& [seconds, mebibytes] : samples)
        x += seconds, y += mebibytes, xx += seconds * seconds, xy += seconds * mebibytes;
    const double spread = n * xx - x * x;
    return spread == 0 ? 0 : (n * xy - x * y) / spread * 600;
}

void Soak(Run& run, Outcome& outcome)
{
    const int count = run.Form(15, 50);
    const double seconds = run.Form(8, 1200);
    Daemon daemon(count);
    Regulars all;
    for (int i = 0; i < count; ++i) all.push_back(std::make_unique<Regular>(daemon, i, run.random()));
    const auto everybodyIn = [&] {
        for (auto& one : all) one->stay = true;
        const bool in = WaitFor(
            [&] { return std::all_of(all.begin(), all.end(), [](auto& one) { return bool(one->inside); }); },
            60);
        outcome.Must(in, u"somebody does not get in"_s);
        Sleep(1500);
        const int descriptors = daemon.Descriptors();
        for (auto& one : all) one->stay = false;
        return descriptors;
    };
    const int before = everybodyIn();
    const Time begun = Clock::now();
    std::vector<std::pair<double, double>> samples;
    int cuts = 0;
    while (Since(begun) < seconds * 1000) {
        Sleep(1000);
        for (auto& one : all)
            if (run.Below(20) == 0) one->client.proxy.Cut(), ++cuts;
        if (Since(begun) > seconds * 250)
            samples.emplace_back(Since(begun) / 1000, double(daemon.ResidentKiB()) / 1024);
    }
    const int after = everybodyIn();
    for (auto& one : all) one->Stop();
    JudgeVisits(all, outcome);
    const double slope = Slope(samples);
    const double mean = samples.empty() ? 0 : samples[samples.size() / 2].second;
    outcome.Figure(
        u"%1 cuts in %2 s; memory about %3 MiB, slope %4 MiB in ten minutes; %5 descriptors before, "
        "%6 after"_s.arg(cuts)
            .arg(seconds, 0, 'f', 0)
            .arg(mean, 0, 'f', 1)
            .arg(slope, 0, 'f', 2)
            .arg(before)
            .arg(after));
    outcome.Must(std::abs(after - before) <= 5, u"descriptors grow"_s);
    outcome.Soon(slope < 1, u"memory grows"_s);
}

}  // namespace

std::vector<Goal> MachineGoals()
{
    return {{"R14", "a soak with clients coming and going, one in twenty cut each second", Soak},
            {"R16", "data volume full; no descriptors left", NothingLeft, Goal::On::OneOrThree}};
}

}  // namespace reliability
