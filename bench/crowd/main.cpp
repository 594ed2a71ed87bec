// Many attendees in many meetings at a whole cluster, and what each of its parts has to do for them.
//   bench_crowd DIR ATTENDEES [WORD=VALUE...]      DIR: of packaging/cluster/up. Prints Markdown.
// meeting=20 attendees; seconds=30 of load; idle=20 seconds before that; processes=2 of bots; at-once=64 who
// come in at the same time, of a process; voice=0, video=0: one meeting of so many; scale=1 of the pace;
// spread=1, or 0: all of a meeting are where it was started; usual=0, or 1: passwords cost what they usually
// do; kill=0, or the relay that is killed after a third of the load.

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>
#include <thread>

#include "crowd/bot.h"
#include "crowd/stand.h"
#include "service/relay/door/passwords.h"

using namespace crowd;
using namespace std::chrono_literals;
namespace asio = boost::asio;

namespace {

constexpr auto kTick = 20ms;
constexpr auto kLongestIn = 20min;

double Seconds(Clock::duration time)
{
    return std::chrono::duration<double>(time).count();
}

// --- a process of bots -----------------------------------------------------------------------------

class Host {
public:
    Host(const Plan& plan, Tally& tally, int which, int of, int atOnce)
        : mPlan(plan), mTally(tally), mAtOnce(std::size_t(atOnce))
    {
        const auto tls = zephyl::TlsContext::Client();
        for (int first = which * plan.perMeeting; first < plan.attendees; first += of * plan.perMeeting) {
            Meeting& meeting = *mMeetings.emplace_back(std::make_unique<Meeting>());
            for (int i = first; i < std::min(first + plan.perMeeting, plan.attendees); ++i)
                meeting.bots.push_back(std::make_unique<Bot>(mIo, tls, plan, tally, meeting, i));
        }
        for (const auto& meeting : mMeetings) mToCome.push_back(meeting->bots.front().get());
        for (const auto& meeting : mMeetings)
            for (std::size_t i = 1; i < meeting->bots.size(); ++i) mToCome.push_back(meeting->bots[i].get());
    }
    void Run()
    {
        asio::co_spawn(mIo, Ticks(), asio::detached);
        mIo.run();
        for (const auto& meeting : mMeetings)
            for (const auto& bot : meeting->bots) bot->Miss();
    }

private:
    asio::awaitable<void> Ticks()
    {
        asio::steady_timer timer(mIo);
        for (auto next = Clock::now(); mTally.phase < Phase::Out || mTally.left < mCame;) {
            LetIn();
            const auto now = Clock::now();
            for (std::size_t i = 0; i < mCame; ++i) mToCome[i]->Tick(now);
            next = std::max(next + kTick, now);
            timer.expires_at(next);
            co_await timer.async_wait(asio::use_awaitable);
        }
        mIo.stop();
    }
    /// Nobody joins before all meetings have begun.
    void LetIn()
    {
        const std::size_t creators = mMeetings.size();
        while (mTally.phase == Phase::In && mCame < mToCome.size() && mCame - mTally.present < mAtOnce &&
               (mCame < creators || mTally.present >= creators))
            asio::co_spawn(mIo, mToCome[mCame++]->Run(), asio::detached);
    }

    asio::io_context mIo{1};
    const Plan& mPlan;
    Tally& mTally;
    const std::size_t mAtOnce;
    std::vector<std::unique_ptr<Meeting>> mMeetings;
    std::vector<Bot*> mToCome;
    std::size_t mCame = 0;
};

// --- the one that watches --------------------------------------------------------------------------

struct Use {
    double relays = 0, nats = 0, postgres = 0, bots = 0, all = 0;  // seconds of processor time
    double memory = 0;                                             // of the relays
    Clock::time_point at{};

    Use operator-(const Use& o) const
    {
        return {relays - o.relays, nats - o.nats,     postgres - o.postgres,       bots - o.bots,
                all - o.all,       memory - o.memory, Clock::time_point(at - o.at)};
    }
    double Time() const { return Seconds(at.time_since_epoch()); }
};

class Watch {
public:
    Watch(const Stand& stand, const Plan& plan, int processes, int atOnce) : mStand(stand), mPlan(plan)
    {
        for (int i = 0; i < processes; ++i) {
            void* const shared =
                ::mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
            mTallies.push_back(new (shared) Tally);
            const pid_t pid = ::fork();
            if (pid == 0) {
                ::prctl(PR_SET_PDEATHSIG, SIGKILL);
                Host(plan, *mTallies.back(), i, processes, atOnce).Run();
                ::_exit(0);
            }
            mBots.push_back(pid);
        }
    }
    ~Watch()
    {
        for (const pid_t bot : mBots) ::kill(bot, SIGKILL);
        for (const pid_t bot : mBots) ::waitpid(bot, nullptr, 0);
    }

    std::uint64_t Sum(const std::function<std::uint64_t(const Tally&)>& of) const
    {
        std::uint64_t sum = 0;
        for (const Tally* tally : mTallies) sum += of(*tally);
        return sum;
    }
    std::uint64_t Present() const
    {
        return Sum([](const Tally& tally) { return tally.present.load(); });
    }
    void Go(Phase phase)
    {
        for (Tally* tally : mTallies) tally->phase = phase;
    }
    bool Until(const std::function<bool()>& enough, Clock::duration atMost) const
    {
        for (const auto end = Clock::now() + atMost; !enough(); std::this_thread::sleep_for(20ms))
            if (Clock::now() > end) return false;
        return true;
    }
    Use Now() const
    {
        Use use;
        for (const Part& part : mStand.Parts()) {
            double& sum = part.name.starts_with("relay")  ? use.relays
                          : part.name.starts_with("nats") ? use.nats
                                                          : use.postgres;
            sum += CpuOf(part.pid);
            if (part.name.starts_with("relay")) use.memory += MemoryOf(part.pid);
        }
        for (const pid_t bot : mBots) use.bots += CpuOf(bot);
        use.all = CpuOfAll();
        use.at = Clock::now();
        return use;
    }
    /// Milliseconds: in so many of a hundred it was no longer.
    double Percentile(const std::function<const Times&(const Tally&)>& of, double part) const
    {
        std::array<std::uint64_t, 256> steps{};
        for (const Tally* tally : mTallies) of(*tally).AddTo(steps);
        std::uint64_t all = 0, so_far = 0;
        for (const std::uint64_t step : steps) all += step;
        for (std::size_t i = 0; i < steps.size(); ++i)
            if ((so_far += steps[i]) >= part * double(all))
                return all ? std::exp2(double(i + 1) / Times::kEachOctave) / 1e3 : 0;
        return 0;
    }
    const char* Why() const
    {
        for (const Tally* tally : mTallies)
            if (tally->why[0]) return tally->why.data();
        return "";
    }

private:
    const Stand& mStand;
    const Plan& mPlan;
    std::vector<Tally*> mTallies;
    std::vector<pid_t> mBots;
};

void PrintShares(const char* what, const Use& use, double each, double scale, const char* unit)
{
    const double ours = use.relays + use.nats + use.postgres + use.bots;
    std::printf(
        "| %s | relays %.2f, nats-servers %.2f, PostgreSQL %.2f, bots %.2f %s | %.2f cores, and %.2f of "
        "others |\n",
        what, use.relays * scale / each, use.nats * scale / each, use.postgres * scale / each,
        use.bots * scale / each, unit, ours / use.Time(), (use.all - ours) / use.Time());
    std::fflush(stdout);
}

/// False: they did not all come in.
bool ComeIn(const Watch& watch, const Plan& plan, const Use& before)
{
    const auto all = std::uint64_t(plan.attendees);
    const bool in = watch.Until([&] { return watch.Present() == all; }, kLongestIn);
    const Use use = watch.Now() - before;
    std::printf(
        "| %d attendees, %d a meeting | in after %.1f s: %.0f a second | ms each, p50 %.0f, p99 %.0f |\n",
        plan.attendees, plan.perMeeting, use.Time(), double(watch.Present()) / use.Time(),
        watch.Percentile([](const Tally& t) -> const Times& { return t.comingIn; }, 0.5),
        watch.Percentile([](const Tally& t) -> const Times& { return t.comingIn; }, 0.99));
    PrintShares("coming in, ms each", use, plan.attendees, 1e3, "ms");
    std::printf("| told to try later | %llu times | connections lost %llu %s |\n",
                static_cast<unsigned long long>(watch.Sum([](const Tally& t) { return t.later.load(); })),
                static_cast<unsigned long long>(watch.Sum([](const Tally& t) { return t.lost.load(); })),
                watch.Why());
    if (!in) std::printf("| only %llu came in |\n", static_cast<unsigned long long>(watch.Present()));
    return in;
}

void Idle(Watch& watch, const Plan& plan, const Use& before, std::chrono::seconds time)
{
    watch.Go(Phase::Idle);
    std::this_thread::sleep_for(2s);  // what coming in has left to do
    const Use from = watch.Now();
    std::this_thread::sleep_for(time);
    const Use use = watch.Now() - from;
    std::printf("| idle | relays hold %.1f KiB more for each attendee |\n",
                (from.memory - before.memory) / 1024 / plan.attendees);
    PrintShares("idle, ms a minute", use, plan.attendees, 60e3 / use.Time(), "ms");
}

void Load(Watch& watch, const Plan& plan, const Use& before, std::chrono::seconds time, int kill,
          const Stand& stand)
{
    const Use from = watch.Now();
    watch.Go(Phase::Load);
    if (kill > 0) {
        std::this_thread::sleep_for(time / 3);
        const auto killed = Clock::now();
        ::kill(stand.Relay(kill), SIGKILL);
        watch.Until([&] { return watch.Present() < std::uint64_t(plan.attendees); }, 5s);
        std::this_thread::sleep_for(4s);  // who lost no connection may lose a tunnel
        const bool back = watch.Until([&] { return watch.Present() == std::uint64_t(plan.attendees); }, 60s);
        const auto comingBack = [](const Tally& t) -> const Times& { return t.comingBack; };
        std::printf("| relay-%d killed | all back after %.1f s%s | away, ms, p50 %.0f, p99 %.0f |\n", kill,
                    Seconds(Clock::now() - killed), back ? "" : ": no", watch.Percentile(comingBack, 0.5),
                    watch.Percentile(comingBack, 0.99));
        std::this_thread::sleep_for(time / 3);
    } else {
        std::this_thread::sleep_for(time);
    }
    const Use use = watch.Now() - from;
    watch.Go(Phase::Drain);
    const auto sum = [&](int kind, bool received) {
        return watch.Sum([&](const Tally& t) {
            return received ? t.received[std::size_t(kind)].load() : t.sent[std::size_t(kind)].load();
        });
    };
    std::uint64_t deliveries = 0;
    for (int kind = 0; kind < kKinds; ++kind) deliveries += sum(kind, true);
    std::printf(
        "| load | %.0f deliveries a second in %.0f s | relays hold %.1f KiB more for each attendee |\n",
        double(deliveries) / use.Time(), use.Time(),
        (watch.Now().memory - before.memory) / 1024 / plan.attendees);
    PrintShares("load, us a delivery", use, double(deliveries), 1e6, "us");
    const auto owed = [&] { return sum(Receipt, true) < sum(Receipt, false); };
    watch.Until([&] { return !owed(); }, 30s);
    std::this_thread::sleep_for(3s);
    for (int kind = 0; kind < kKinds; ++kind) {
        if (sum(kind, false) == 0) continue;
        const auto at = [&](double part) {
            return watch.Percentile(
                [&](const Tally& t) -> const Times& { return t.times[std::size_t(kind)]; }, part);
        };
        std::printf("| %s | %llu sent, %llu delivered | ms p50 %.1f, p95 %.1f, p99 %.1f |\n",
                    kKindNames[kind], static_cast<unsigned long long>(sum(kind, false)),
                    static_cast<unsigned long long>(sum(kind, true)), at(0.5), at(0.95), at(0.99));
    }
}

/// All leave, and what has not come by then is lost.
bool Judge(Watch& watch, const Plan& plan)
{
    watch.Go(Phase::Out);
    const bool left = watch.Until(
        [&] {
            return watch.Sum([](const Tally& t) { return t.left.load(); }) == std::uint64_t(plan.attendees);
        },
        60s);
    std::this_thread::sleep_for(500ms);
    const auto count = [&](Count Tally::*of) {
        return static_cast<unsigned long long>(watch.Sum([&](const Tally& t) { return (t.*of).load(); }));
    };
    std::uint64_t receipts = watch.Sum([](const Tally& t) { return t.sent[Receipt] - t.received[Receipt]; });
    const unsigned long long lost = count(&Tally::missing) + receipts, twice = count(&Tally::twice),
                             disorder = count(&Tally::disorder), damaged = count(&Tally::damaged);
    std::printf(
        "| lost %llu, twice %llu, out of order %llu, damaged %llu | refused %llu, skipped %llu | "
        "connections lost %llu %s%s |\n",
        lost, twice, disorder, damaged, count(&Tally::refused), count(&Tally::skipped), count(&Tally::lost),
        watch.Why(), left ? "" : "; not all left");
    return lost + twice + disorder + damaged == 0;
}

}  // namespace

int main(int argc, char** argv)
try {
    if (argc < 3) return std::fprintf(stderr, "bench_crowd DIR ATTENDEES [WORD=VALUE...]\n"), 2;
    std::map<std::string, double> words = {{"meeting", 20}, {"seconds", 30}, {"idle", 20}, {"processes", 2},
                                           {"at-once", 64}, {"voice", 0},    {"video", 0}, {"scale", 1},
                                           {"spread", 1},   {"usual", 0},    {"kill", 0}};
    for (int i = 3; i < argc; ++i) {
        const std::string word = argv[i];
        const std::size_t at = word.find('=');
        if (at == std::string::npos || !words.contains(word.substr(0, at)))
            return std::fprintf(stderr, "%s?\n", argv[i]), 2;
        words[word.substr(0, at)] = std::atof(word.c_str() + at + 1);
    }
    const auto whole = [&](const char* word) { return int(words.at(word)); };
    zephyl::StartSodium();
    const Stand stand(argv[1]);
    Plan plan;
    plan.attendees = std::atoi(argv[2]);
    plan.perMeeting = whole("meeting");
    plan.relays = stand.Relays();
    plan.fingerprint = stand.Fingerprint();
    plan.run = "crowd" + std::to_string(::getpid());
    plan.handles = whole("usual") ? "usual" : "quick";
    plan.spread = whole("spread") != 0;
    plan.voiceEvery = whole("voice");
    plan.videoEvery = whole("video");
    plan.scale = words.at("scale");
    stand.MakeAccounts(plan.handles, plan.attendees, plan.password, whole("usual") != 0);
    Watch watch(stand, plan, whole("processes"), whole("at-once"));
    const Use before = watch.Now();
    bool well = ComeIn(watch, plan, before);
    Idle(watch, plan, before, std::chrono::seconds(whole("idle")));
    Load(watch, plan, before, std::chrono::seconds(whole("seconds")), whole("kill"), stand);
    well = Judge(watch, plan) && well;
    return well ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
