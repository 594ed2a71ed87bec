// What a network does to those who are connected.

#include <QRegularExpression>
#include <algorithm>
#include <cmath>

#include "reliability/cluster.h"
#include "reliability/judge.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

const Load kTalkative{50, 5};

FaultProxy::Way AnyWay(Run& run)
{
    return run.Below(2) ? FaultProxy::Way::Up : FaultProxy::Way::Down;
}

FaultProxy::End AnyEnd(Run& run)
{
    return run.Below(2) ? FaultProxy::End::Reset : FaultProxy::End::Finish;
}

/// How far the client gets on a silent road: not even to TLS, or to any byte of what it is answered there.
std::size_t AnyStep(Run& run)
{
    return run.Below(4) ? run.Below(2000) : 0;
}

/// Four talk and draw while one road after the other lets in and answers nothing, from a random step of the
/// way back on.
void SilentRoads(Run& run, Outcome& outcome)
{
    const int spells = run.Form(4, 60);
    const auto site = OpenSite(run, 4);
    Crowd crowd = Gather(*site, 4);
    SetLoad(crowd, kTalkative);
    double slowest = 0;
    for (int i = 0; i < spells; ++i) {
        Sleep(double(100 + run.Below(700)));
        Client& victim = *crowd[run.Below(crowd.size())];
        victim.proxy.Silence(AnyStep(run));
        victim.proxy.Cut(AnyEnd(run));
        for (std::size_t left = run.Below(run.Form(3000, 12'000)); left > 0;
             left -= std::min<std::size_t>(left, 500)) {
            Sleep(double(std::min<std::size_t>(left, 500)));
            victim.proxy.Silence(AnyStep(run));
        }
        victim.proxy.Silence({});
        slowest = std::max(slowest, UntilBack(victim, crowd));
    }
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    outcome.Figure(u"%1 silent roads, everybody back %2 after the road at most"_s.arg(spells).arg(
        Milliseconds(slowest)));
    outcome.Must(slowest < 60'000, u"somebody is not back"_s);
    outcome.Soon(slowest <= 5000, u"back later than 5 s"_s);
}

/// Four talk and draw while their connections end at random bytes.
void RandomCuts(Run& run, Outcome& outcome)
{
    const double seconds = run.Form(4, 120);
    const std::uint64_t wanted = run.Form(8, 100);
    const auto site = OpenSite(run, 4);
    Crowd crowd = Gather(*site, 4);
    SetLoad(crowd, kTalkative);
    const Time begun = Clock::now();
    std::uint64_t cuts = 0;
    while (Since(begun) < seconds * 1000 || (cuts < wanted && Since(begun) < seconds * 3000)) {
        Client& victim = *crowd[run.Below(crowd.size())];
        victim.proxy.CutIn(1 + run.Below(20'000), AnyWay(run), AnyEnd(run));
        // One way back in ten is let in and not answered; the one beside it is.
        victim.proxy.SilenceOne(run.Below(10) ? std::nullopt : std::optional(AnyStep(run)));
        Sleep(seconds * 1000 / double(wanted) * (0.5 + double(run.Below(1000)) / 1000) * 0.9);
        cuts = 0;
        for (auto& one : crowd) cuts += one->proxy.Cuts();
    }
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    const double p99 = Percentile(CatchUps(crowd), 99);
    outcome.Figure(u"%1 cuts in %2 s, p99 catch-up %3"_s.arg(cuts)
                       .arg(Since(begun) / 1000, 0, 'f', 0)
                       .arg(Milliseconds(p99)));
    outcome.Must(cuts >= wanted, u"only %1 cuts"_s.arg(cuts));
    outcome.Soon(p99 <= 2000, u"catching up took more than 2 s"_s);
}

/// One after the other, large records whose way is cut inside them, up or down.
void CutInsideRecords(Run& run, Outcome& outcome)
{
    const int offsets = run.Form(12, 500);
    const double largest = run.Form(512.0, 8192.0);
    const auto site = OpenSite(run, 2);
    Crowd crowd = Gather(*site, 2);
    std::uint64_t bytesInAll = 0;
    for (int i = 0; i < offsets; ++i) {
        const double power = double(run.Below(1001)) / 1000;
        const auto bytes = std::size_t(1024 * 64 * std::pow(largest / 64, power)) - 16;
        bytesInAll += bytes;
        const std::size_t from = run.Below(2);
        const bool up = run.Below(2);
        Client& sender = *crowd[from];
        Client& receiver = *crowd[1 - from];
        (up ? sender : receiver)
            .proxy.CutIn(1 + run.Below(bytes), up ? FaultProxy::Way::Up : FaultProxy::Way::Down, AnyEnd(run));
        const std::uint64_t before = receiver.appliedCount;
        sender.SendOne(Board, bytes);
        const bool came = WaitFor([&] { return receiver.appliedCount > before; }, 60);
        outcome.Must(came, u"record %1 of %2 bytes does not arrive"_s.arg(i).arg(bytes));
        if (!came) break;
    }
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    std::uint64_t cuts = 0;
    for (auto& one : crowd) cuts += one->proxy.Cuts();
    outcome.Figure(u"%1 cuts inside %2 records, %3 MiB"_s.arg(cuts).arg(offsets).arg(bytesInAll >> 20));
    outcome.Must(cuts >= std::uint64_t(offsets) * 9 / 10, u"only %1 cuts"_s.arg(cuts));
}

/// Numbers in front of "line" and "drawing" in what the link says it could not deliver.
int Named(const QString& text, const QString& noun)
{
    static const QRegularExpression words(u"(\\d+) (line|drawing)s? to"_s);
    int named = 0;
    for (auto match = words.globalMatch(text); match.hasNext();) {
        const auto found = match.next();
        if (found.captured(2) == noun) named += found.captured(1).toInt();
    }
    return named;
}

int Presence(Client& watcher, int who, int status)
{
    return watcher.Do([&] {
        const auto& seen = watcher.entries.back().presence;
        return int(std::count(seen.begin(), seen.end(), std::pair(who, status)));
    });
}

/// Away long enough for the others to see it leave, then back; then the meeting ends meanwhile.
void BeyondGrace(Run& run, Outcome& outcome)
{
    const int grace = run.Form(1, 60);
    // By HTTP a cut is noticed half a minute later: streams that end mean nothing there.
    const int kSeen = LinkedAttendee::usual == Protocol::Http ? 45 : 10;
    const auto site =
        OpenSite(run, 3, u"grace_seconds = %1\naway_seconds = 4\nkeep_empty_seconds = 1\n"_s.arg(grace));
    Crowd crowd = Gather(*site, 3);
    Client& lonely = *crowd[2];
    const auto goSilent = [&] {
        if (run.Below(2))
            lonely.proxy.Silence(run.Below(300));  // behind the handshake each try would keep the seat
        else
            lonely.proxy.Block(true);
        lonely.proxy.Cut();
        outcome.Must(lonely.Until([&] { return lonely.states.back().state.phase == LinkState::Phase::Cut; }),
                     u"the cut is not noticed"_s);
        outcome.Must(lonely.Do([&] { return lonely.states.back().state.text.contains(u"trying again"_s); }),
                     u"nothing says so"_s);
        for (int i = 0; i < 5; ++i) lonely.SendOne(i % 2 ? Talk : Board, 100);
    };
    const auto comeBack = [&] {
        lonely.proxy.Silence({});
        lonely.proxy.Block(false);
    };
    goSilent();
    const auto leftSeen = [&] { return Presence(*crowd[0], 2, kStatusLeft) > 0; };
    outcome.Must(WaitFor(leftSeen, grace + kSeen), u"nobody sees the leave"_s);
    comeBack();
    outcome.Must(WaitFor([&] { return lonely.returns > 0; }, 30), u"it does not come back"_s);
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Verdict verdict = JudgeAll(crowd);
    outcome.Must(verdict.leaves == 2, u"%1 leaves instead of one at each of two"_s.arg(verdict.leaves));
    verdict.leaves = 0;
    Demand(outcome, verdict);
    for (int i = 0; i < 2; ++i)
        outcome.Must(Presence(*crowd[std::size_t(i)], 2, kStatusPresent) == 1, u"not one join"_s);
    const bool returned = lonely.Do([&] {
        return std::any_of(lonely.states.begin(), lonely.states.end(),
                           [](const LinkSeen& seen) { return seen.state.back == LinkState::Back::Returned; });
    });
    outcome.Must(returned, u"it does not say that it returned"_s);

    goSilent();
    outcome.Must(WaitFor([&] { return Presence(*crowd[0], 2, kStatusLeft) == 2; }, grace + kSeen),
                 u"nobody sees the second leave"_s);
    for (int i = 0; i < 2; ++i) crowd[std::size_t(i)]->Leave();
    Sleep(7000);  // until the seat is gone, and the empty meeting with it
    comeBack();
    outcome.Must(WaitFor([&] { return lonely.ends > 0; }, 30), u"the end is not stated"_s);
    const QString last = lonely.Do([&] { return lonely.states.back().state.text; });
    outcome.Figure(u"one leave and one join at each; told: \"%1\""_s.arg(last));
    outcome.Must(Named(last, u"line"_s) == 2 && Named(last, u"drawing"_s) == 3,
                 u"not all that was undelivered is named: "_s + last);
    outcome.Must(last.contains(u"c0"_s) && last.contains(u"c1"_s), u"not named to whom"_s);
}

}  // namespace

std::vector<Goal> CutGoals()
{
    constexpr auto kEither = Goal::On::OneOrThree;
    return {
        {"R1", "four clients, 50 records/s and 5 lines/s each, cut at random bytes", RandomCuts, kEither},
        {"R2", "cuts inside records of 64 KiB to 8 MiB", CutInsideRecords, kEither},
        {"roads", "roads that let in and fall silent at a random step of the way back", SilentRoads, kEither},
        {"R3", "an outage beyond grace, then one in which the meeting ends", BeyondGrace, kEither}};
}

}  // namespace reliability
