// What happens to processes.

#include <signal.h>

#include "reliability/judge.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

/// The service dies again and again under four who talk and draw.
void KilledService(Run& run, Outcome& outcome)
{
    const int kills = run.Form(3, 50);
    Daemon daemon(4);
    Crowd crowd = Gather(daemon, 4);
    SetLoad(crowd, {50, 5});
    double slowestStart = 0, slowestReturn = 0;
    for (int i = 0; i < kills; ++i) {
        Sleep(double(300 + run.Below(1500)));
        std::uint64_t returns = 0;
        for (auto& one : crowd) returns += one->returns;
        daemon.End(SIGKILL);
        const Time killed = Clock::now();
        daemon.Start();
        Follow(crowd, daemon);
        slowestStart = std::max(slowestStart, Since(killed));
        const Time listening = Clock::now();
        const auto allBack = [&] {
            std::uint64_t now = 0;
            for (auto& one : crowd) now += one->returns;
            return now >= returns + crowd.size();
        };
        const bool back = WaitFor(allBack, 30);
        outcome.Must(back, u"somebody is not back after kill %1"_s.arg(i + 1));
        if (!back) break;
        slowestReturn = std::max(slowestReturn, Since(listening));
    }
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    outcome.Figure(u"%1 kills; listening again after %2 at most, everybody back after %3"_s.arg(kills).arg(
        Milliseconds(slowestStart), Milliseconds(slowestReturn)));
    outcome.Soon(slowestStart <= 2000, u"listening later than 2 s"_s);
    outcome.Soon(slowestReturn <= 5000, u"back later than 5 s"_s);
}

}  // namespace

std::vector<Goal> KillGoals()
{
    return {{"R7", "kill -9 of the service under the load of R1", KilledService}};
}

}  // namespace reliability
