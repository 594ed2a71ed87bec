// Three relays that share their meetings, and what happens to them, to what they stand on, and to the roads
// between.

#include <signal.h>

#include <QMap>
#include <algorithm>

#include "reliability/cluster.h"
#include "reliability/judge.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

constexpr double kNotBack = 60'000;

QString Relay(std::size_t number)
{
    return u"relay-%1"_s.arg(number % Cluster::kEach + 1);
}

QString Server(std::size_t number)
{
    return u"nats-%1"_s.arg(number % Cluster::kEach + 1);
}

/// What is done to a part or a road, and undone.
struct Harm {
    QString kind;  // figures are by this
    std::function<void()> begin, end;
    double milliseconds = 0;  // how long it lasts at least
    enum class Survived { Meanwhile, Afterwards } survived = Survived::Meanwhile;
};

/// Four who talk and draw, each at the relay that it was given, until that is lost or somebody moves it.
class Trial {
public:
    /// Also large records: so many that other relays listen to the log.
    static constexpr Load kUsual{50, 5}, kLarge{20, 5, 6000};
    Trial(Run& run, Outcome& outcome, const Load& oneOfThem = kLarge, bool gather = false)
        : mRun(run), mOutcome(outcome), mCluster(6, {}, {1, 8192}, gather)
    {
        const auto doors = mCluster.Doors();
        mCrowd = Gather(mCluster, 4, [&](Client& one) {
            one.proxy.SetTarget(doors[std::size_t(one.Number()) % doors.size()]);
        });
        SetLoad(mCrowd, kUsual);
        mCrowd.back()->SetLoad(oneOfThem);
    }
    Cluster& All() { return mCluster; }
    stage::Cluster& Parts() { return mCluster.Parts(); }
    Crowd& People() { return mCrowd; }
    /// How many seats have gone to the relay that keeps the meeting.
    qsizetype Gathered() const
    {
        qsizetype gathered = 0;
        for (const auto& one : mCrowd) gathered += one->Attendee().Logged(u"The seat goes to"_s);
        return gathered;
    }

    /// Somebody goes to another relay: the road to the one where it is is blocked until then.
    void MoveSomebody()
    {
        Client& one = *mCrowd[mRun.Below(mCrowd.size())];
        FaultProxy* road = &one.proxy;
        const std::string where = one.Stats().relay;
        const QString at = QString::fromStdString(where);
        for (int i = 1; i <= Cluster::kEach; ++i)
            if (at.endsWith(u":%1"_s.arg(mCluster.Front(i).Port()))) road = &mCluster.Front(i);
        const std::uint64_t before = one.returns;
        road->Block(true);
        road->Cut(mRun.Below(2) ? FaultProxy::End::Reset : FaultProxy::End::Finish);
        mOutcome.Must(WaitFor([&] { return one.returns > before || one.Stats().relay != where; }, 30),
                      u"who is moved does not come back"_s);
        road->Block(false);
        ++mMoves;
    }

    /// False: somebody is not back.
    bool Try(const Harm& harm)
    {
        Suffered& suffered = mSuffered[harm.kind];
        ++suffered.times;
        const Time begun = Clock::now();
        harm.begin();
        double back = 0;
        if (harm.survived == Harm::Survived::Meanwhile) {
            back = UntilAllBack(mCrowd);
            suffered.meanwhile = std::max(suffered.meanwhile, back);
        }
        if (const double rest = harm.milliseconds - Since(begun); rest > 0) Sleep(rest);
        const Time ended = Clock::now();
        harm.end();
        suffered.mending = std::max(suffered.mending, Since(ended));
        const double after = UntilAllBack(mCrowd);
        suffered.afterwards = std::max(suffered.afterwards, after);
        suffered.spans.emplace_back(begun, Clock::now());
        const bool kept = std::max(back, after) < kNotBack;
        mOutcome.Must(kept, u"somebody is not back: %1, number %2"_s.arg(harm.kind).arg(suffered.times));
        mOutcome.Must(WaitFor([&] { return mCluster.CopiesInStep(); }, 60),
                      u"the copies of the log do not get in step"_s);
        return kept;
    }

    /// Rest and judgement. `bound`: milliseconds within which everybody must have gone on.
    void Finish(double bound)
    {
        SetLoad(mCrowd, {});
        mOutcome.Must(AtRest(mCrowd), u"it does not come to rest"_s);
        for (const auto& one : mCrowd)  // those who only looked in
            one->Do([&] {
                std::erase_if(one->entries.back().presence,
                              [&](auto& seen) { return seen.first >= int(mCrowd.size()); });
            });
        Demand(mOutcome, JudgeAll(mCrowd));
        for (auto it = mSuffered.cbegin(); it != mSuffered.cend(); ++it) {
            const Suffered& one = *it;
            double still = 0;
            for (const auto& [from, to] : one.spans) still = std::max(still, Standstill(from, to));
            const double back = std::max(one.meanwhile, one.afterwards);
            const QString again =
                one.mending < 50 ? QString() : u", there again after "_s + Milliseconds(one.mending);
            mOutcome.Figure(u"%1 x %2: everybody back after %3, nobody heard nothing for longer than %4%5"_s
                                .arg(one.times)
                                .arg(it.key(), Milliseconds(back), Milliseconds(still), again));
            mOutcome.Soon(back <= bound, u"%1: back later than %2"_s.arg(it.key(), Milliseconds(bound)));
        }
        if (const auto gathered = Gathered())
            mOutcome.Figure(u"%1 times a client came to the relay of its meeting"_s.arg(gathered));
        if (mMoves > 0) mOutcome.Figure(u"%1 clients moved to another relay"_s.arg(mMoves));
    }

private:
    struct Suffered {
        int times = 0;
        double meanwhile = 0, afterwards = 0, mending = 0;
        std::vector<std::pair<Time, Time>> spans;
    };
    /// The longest time between two items that somebody took.
    double Standstill(Time from, Time to) const
    {
        double longest = 0;
        for (const auto& one : mCrowd) {
            std::vector<Time> taken{from};
            for (const auto& channel : one->entries.back().applied)
                for (const Applied& applied : channel)
                    if (applied.at > from && applied.at < to) taken.push_back(applied.at);
            taken.push_back(to);
            std::sort(taken.begin(), taken.end());
            for (std::size_t i = 1; i < taken.size(); ++i)
                longest = std::max(
                    longest, std::chrono::duration<double, std::milli>(taken[i] - taken[i - 1]).count());
        }
        return longest;
    }

    Run& mRun;
    Outcome& mOutcome;
    Cluster mCluster;
    Crowd mCrowd;
    QMap<QString, Suffered> mSuffered;
    int mMoves = 0;
};

// --- what there is to suffer ---------------------------------------------------------------------------

class Harms {
public:
    Harms(Run& run, Trial& trial) : mRun(run), mTrial(trial) {}

    Harm Killed(const QStringList& parts, const QString& kind, double away)
    {
        return {kind,
                [this, parts] {
                    for (const QString& part : parts) mTrial.Parts().Kill(part);
                },
                [this, parts] { mTrial.Parts().Start(parts); }, away};
    }
    Harm KilledRelay() { return Killed({Relay(mRun.random())}, u"a relay killed"_s, Moment(2000)); }
    Harm KilledServer() { return Killed({Server(mRun.random())}, u"a nats-server killed"_s, Moment(3000)); }
    /// In order, or not.
    Harm RestartedDatabase()
    {
        Harm harm = Killed({u"postgres"_s}, u"PostgreSQL restarted"_s, Moment(3000));
        if (mRun.Below(2))
            harm.begin = [this] {
                mTrial.Parts().Signal(u"postgres"_s, SIGINT);
                WaitFor([this] { return !mTrial.Parts().Runs(u"postgres"_s); }, 30);
            };
        return harm;
    }
    Harm Stopped(const QString& part, const QString& kind, double milliseconds)
    {
        return {u"%1 stopped for %2 s"_s.arg(kind).arg(milliseconds / 1000),
                [this, part] { mTrial.Parts().Signal(part, SIGSTOP); },
                [this, part] { mTrial.Parts().Signal(part, SIGCONT); }, milliseconds};
    }
    enum class Cut { Refused, Late, Lost };
    Cut AnyCut() { return Cut(mRun.Below(3)); }
    /// Refused: connections end, and none can be made. Late: nothing gets through, and all of it when it is
    /// over, as TCP does it. Lost: what is sent is gone, and so are the connections then.
    Harm CutOff(const std::vector<FaultProxy*>& roads, const QString& what, Cut how, double milliseconds)
    {
        static const QStringList names{u"refused"_s, u"late"_s, u"lost"_s};
        return {u"%1 cut off (%2)"_s.arg(what, names[int(how)]),
                [roads, how] {
                    for (FaultProxy* road : roads) Set(*road, how, true);
                },
                [roads, how] {
                    for (FaultProxy* road : roads) Set(*road, how, false);
                },
                milliseconds};
    }
    Harm Slow(const QString& part, const QString& kind, std::chrono::milliseconds delay, double milliseconds)
    {
        const auto roads = mTrial.All().RoadsOf(part);
        const auto set = [roads](std::chrono::milliseconds time) {
            for (FaultProxy* road : roads)
                for (const FaultProxy::Way way : {FaultProxy::Way::Up, FaultProxy::Way::Down})
                    road->Delay(way, time);
        };
        return {u"roads of %1 of %2 ms each way"_s.arg(kind).arg(delay.count()), [set, delay] { set(delay); },
                [set] { set({}); }, milliseconds};
    }
    double Moment(std::size_t most) { return double(mRun.Below(most)); }

private:
    static void Set(FaultProxy& road, Cut how, bool on)
    {
        switch (how) {
            case Cut::Refused:
                road.Block(on);
                if (on) road.Cut();
                return;
            case Cut::Late:
                for (const FaultProxy::Way way : {FaultProxy::Way::Up, FaultProxy::Way::Down})
                    road.Stall(way, on);
                return;
            case Cut::Lost:
                road.BlackHole(on);
                if (!on) road.Cut();
                return;
        }
    }

    Run& mRun;
    Trial& mTrial;
};

/// Somebody who was never there comes in at any of the relays.
void LookIn(Run& run, Outcome& outcome, Trial& trial)
{
    const Time begun = Clock::now();
    Client newcomer(trial.All(), 4 + int(run.Below(2)));
    const bool in = WaitFor(
        [&] {
            try {
                newcomer.Enter(u"ROOM01"_s, false);
                return true;
            } catch (const std::exception&) {
                Sleep(100);
                return false;
            }
        },
        30);
    outcome.Must(in, u"nobody can come in"_s);
    outcome.Soon(Since(begun) <= 5000, u"a newcomer waits longer than 5 s"_s);
    if (in) newcomer.Leave();
}

// --- goals -----------------------------------------------------------------------------------------------

void KilledRelays(Run& run, Outcome& outcome)
{
    Trial trial(run, outcome);
    Harms harms(run, trial);
    const int kills = run.Form(3, 50);
    bool kept = true;
    for (int i = 0; i < kills && kept; ++i) {
        Sleep(harms.Moment(1500));
        if (run.Below(3) == 0) trial.MoveSomebody();
        const std::size_t first = run.Below(3);
        kept = trial.Try(i % 10 == 9 ? harms.Killed({Relay(first), Relay(first + 1)}, u"two relays killed"_s,
                                                    harms.Moment(2000))
                                     : harms.KilledRelay());
    }
    trial.Finish(5000);
}

void KilledServers(Run& run, Outcome& outcome)
{
    Trial trial(run, outcome);
    Harms harms(run, trial);
    const int kills = run.Form(2, 20);
    bool kept = true;
    for (int i = 0; i < kills && kept; ++i) {
        Sleep(harms.Moment(2000));
        if (run.Below(3) == 0) trial.MoveSomebody();
        kept = trial.Try(harms.KilledServer());
    }
    trial.Finish(5000);
}

void NoQuorum(Run& run, Outcome& outcome)
{
    Trial trial(run, outcome);
    Harms harms(run, trial);
    const int times = run.Form(1, 6);
    bool kept = true;
    for (int i = 0; i < times && kept; ++i) {
        Sleep(harms.Moment(2000));
        const std::size_t first = run.Below(3);
        const bool all = i % 3 == 2;
        Harm harm =
            all ? harms.Killed({Server(0), Server(1), Server(2)}, u"all three nats-servers killed"_s, 3000)
                : harms.Killed({Server(first), Server(first + 1)}, u"two nats-servers killed"_s,
                               run.Form(2000, 10'000));
        harm.survived = Harm::Survived::Afterwards;
        kept = trial.Try(harm);
    }
    trial.Finish(10'000);
}

void RestartedDatabase(Run& run, Outcome& outcome)
{
    Trial trial(run, outcome);
    Harms harms(run, trial);
    const int times = run.Form(1, 10);
    bool kept = true;
    for (int i = 0; i < times && kept; ++i) {
        Sleep(harms.Moment(2000));
        kept = trial.Try(harms.RestartedDatabase());
        LookIn(run, outcome, trial);
        if (run.Below(3) == 0) trial.MoveSomebody();
    }
    trial.Finish(5000);
}

void PairsCutOff(Run& run, Outcome& outcome)
{
    Trial trial(run, outcome);
    Harms harms(run, trial);
    const double lasts = run.Form(2000, 10'000);
    std::vector<std::tuple<QString, QString, QString>> pairs;
    for (std::size_t i = 0; i < Cluster::kEach; ++i) {
        pairs.emplace_back(Relay(i), u"postgres"_s, u"relay and PostgreSQL"_s);
        pairs.emplace_back(Server(i), Server(i + 1), u"two nats-servers"_s);
        for (std::size_t j = 0; j < Cluster::kEach; ++j)
            pairs.emplace_back(Relay(i), Server(j), u"relay and nats-server"_s);
    }
    std::shuffle(pairs.begin(), pairs.end(), run.random);
    if (!run.full) pairs.resize(2);
    bool kept = true;
    for (const auto& [one, other, what] : pairs)
        for (const Harms::Cut how : {Harms::Cut::Refused, Harms::Cut::Late, Harms::Cut::Lost}) {
            if (!kept) break;
            Sleep(harms.Moment(1000));
            if (run.Below(4) == 0) trial.MoveSomebody();
            kept = trial.Try(harms.CutOff(trial.All().Between(one, other), what, how, lasts));
        }
    for (std::size_t i = 0; i < (run.full ? Cluster::kEach : 0); ++i)
        for (const Harms::Cut how : {Harms::Cut::Refused, Harms::Cut::Late, Harms::Cut::Lost}) {
            if (!kept) break;
            kept =
                trial.Try(harms.CutOff(trial.All().RoadsOf(Relay(i)), u"a relay from all"_s, how, lasts)) &&
                trial.Try(
                    harms.CutOff(trial.All().RoadsOf(Server(i)), u"a nats-server from all"_s, how, lasts));
        }
    trial.Finish(10'000);
}

void StoppedParts(Run& run, Outcome& outcome)
{
    Trial trial(run, outcome, Trial::kUsual);  // a slow road carries 160 KB a second
    Harms harms(run, trial);
    const std::vector<double> spells =
        run.full ? std::vector<double>{1000, 2500, 5000, 20'000} : std::vector<double>{2500};
    bool kept = true;
    for (const double spell : spells)
        for (std::size_t i = 0; i < (run.full ? Cluster::kEach : 1); ++i) {
            const std::size_t which = run.full ? i : run.Below(Cluster::kEach);
            if (!kept) break;
            Sleep(harms.Moment(1000));
            // Who is at a relay that says nothing any more waits for the link's own patience of 15 s.
            Harm relay = harms.Stopped(Relay(which), u"a relay"_s, spell);
            if (spell < 15'000) relay.survived = Harm::Survived::Afterwards;
            kept = trial.Try(relay) && trial.Try(harms.Stopped(Server(which), u"a nats-server"_s, spell));
            // Of PostgreSQL only who lets in would stop: nothing gets through to it instead.
            if (kept && i == 0)
                kept = trial.Try(harms.CutOff(trial.All().RoadsOf(u"postgres"_s), u"PostgreSQL from all"_s,
                                              Harms::Cut::Late, spell));
            if (kept && run.full)
                kept =
                    trial.Try(harms.Slow(Relay(which), u"a relay"_s, std::chrono::milliseconds(100), spell));
        }
    trial.Finish(20'000);
}

/// Two of all that at once, and somebody is moved.
void AnythingAtOnce(Run& run, Outcome& outcome, bool gather)
{
    Trial trial(run, outcome, Trial::kLarge, gather);
    Harms harms(run, trial);
    const int rounds = run.Form(3, 100);
    // One is at each of the other two.
    bool kept = !gather || WaitFor([&] { return trial.Gathered() == 2; }, 30);
    outcome.Must(kept, u"they do not come to the relay of their meeting"_s);
    for (int i = 0; i < rounds && kept; ++i) {
        Sleep(harms.Moment(1000));
        if (run.Below(2)) trial.MoveSomebody();
        const std::size_t relay = run.random() % 3, server = run.random() % 3;
        const double lasts = 500 + harms.Moment(run.Form(1500, 8000));
        const Harm ofRelay[] = {harms.Killed({Relay(relay)}, u"a relay killed"_s, lasts),
                                harms.Stopped(Relay(relay), u"a relay"_s, lasts),
                                harms.CutOff(trial.All().RoadsOf(Relay(relay)), {}, harms.AnyCut(), lasts)};
        const Harm ofOthers[] = {
            harms.Killed({Server(server)}, {}, lasts), harms.Stopped(Server(server), {}, lasts),
            harms.CutOff(trial.All().Between(Server(server), Server(server + 1)), {}, harms.AnyCut(), lasts),
            harms.CutOff(trial.All().RoadsOf(u"postgres"_s), {}, harms.AnyCut(), lasts),
            harms.RestartedDatabase()};
        const Harm& one = ofRelay[run.Below(std::size(ofRelay))];
        const Harm& other = ofOthers[run.Below(std::size(ofOthers))];
        kept = trial.Try({u"a relay, and a server or the database, killed, stopped or cut off"_s,
                          [&] {
                              one.begin();
                              other.begin();
                          },
                          [&] {
                              other.end();
                              one.end();
                          },
                          lasts, Harm::Survived::Afterwards});
    }
    LookIn(run, outcome, trial);
    trial.Finish(20'000);
}

/// One relay of three is told to end.
void OneRelayEnds(Run& run, Outcome& outcome)
{
    const int count = run.Form(9, 50);
    Cluster cluster(count);
    const auto doors = cluster.Doors();
    Crowd crowd = Gather(cluster, count, [&](Client& one) {
        one.proxy.SetTarget(doors[std::size_t(one.Number()) % doors.size()]);
    });
    SetLoad(crowd, {1, 0.2});
    Sleep(run.Form(1000, 5000));
    double gone = 0, back = 0;
    int there = 0, told = 0;
    for (std::size_t relay = 0; relay < Cluster::kEach; ++relay) {  // that of the keeper is one of them
        std::vector<Client*> its;
        std::vector<std::uint64_t> before;
        for (auto& one : crowd) {
            const QString at = QString::fromStdString(one->Stats().relay);
            const bool home = at.isEmpty() && std::size_t(one->Number()) % doors.size() == relay;
            if (!home && !at.endsWith(u":%1"_s.arg(cluster.Front(int(relay) + 1).Port()))) continue;
            its.push_back(one.get());
            before.push_back(one->returns);
            one->Do([&] { one->states.clear(); });
        }
        const Time asked = Clock::now();
        cluster.Parts().Signal(Relay(relay), SIGTERM);
        outcome.Must(WaitFor([&] { return !cluster.Parts().Runs(Relay(relay)); }, 30), u"it does not end"_s);
        gone = std::max(gone, Since(asked));
        for (std::size_t i = 0; i < its.size(); ++i) {
            Client& one = *its[i];
            outcome.Must(WaitFor([&] { return one.returns > before[i]; }, 30),
                         u"somebody does not come back"_s);
            told += one.Do([&] {
                return std::any_of(one.states.begin(), one.states.end(), [](const LinkSeen& seen) {
                    return seen.state.text.contains(u"restarts"_s);
                });
            });
        }
        there += int(its.size());
        back = std::max(back, Since(asked));
        cluster.Parts().Start({Relay(relay)});
    }
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    outcome.Figure(
        u"three relays, one after the other, with %1 sessions at them: %2 told, gone after %3 at most, "
        "everybody at another one after %4"_s.arg(there)
            .arg(told)
            .arg(Milliseconds(gone), Milliseconds(back)));
    outcome.Must(told == there, u"not everybody was told"_s);
    outcome.Must(gone <= 10'000, u"it took more than 10 s"_s);
    outcome.Soon(back <= 5000, u"back later than 5 s"_s);
}

}  // namespace

std::vector<Goal> ClusterGoals()
{
    constexpr auto kThree = Goal::On::Three;
    return {{"R7", "kill -9 of one relay after the other under the load of R1", KilledRelays, kThree},
            {"R12", "SIGTERM of one relay after the other with 50 sessions", OneRelayEnds, kThree},
            {"nats", "kill -9 of one nats-server after the other", KilledServers, kThree},
            {"quorum", "kill -9 of two or three nats-servers at once", NoQuorum, kThree},
            {"database", "PostgreSQL restarted and killed", RestartedDatabase, kThree},
            {"pairs", "every two parts cut off from each other", PairsCutOff, kThree},
            {"stops", "relays, nats-servers and PostgreSQL that stand still, and slow roads", StoppedParts,
             kThree},
            {"mixed", "two of all that at once",
             [](Run& run, Outcome& outcome) { AnythingAtOnce(run, outcome, false); }, kThree},
            {"gather", "the same where clients come to their meeting's relay",
             [](Run& run, Outcome& outcome) { AnythingAtOnce(run, outcome, true); }, kThree}};
}

}  // namespace reliability
