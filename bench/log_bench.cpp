// How long a line takes into a meeting's log in NATS and out of it again, beside a bare loop that publishes
// to JetStream and consumes what comes, in turn on the same server. usage: bench_log [SERVERS [ROUNDS
// [BYTES]]]

#include <algorithm>
#include <cstdio>

#include "bare_jetstream.h"
#include "service/cluster/log_stand.h"
#include "service/cluster/pair.h"

namespace zephyl {
namespace {

using Clock = std::chrono::steady_clock;

Microseconds Round(LogStand& stand, std::size_t bytes)
{
    const std::size_t before = stand.delivered.size();
    const auto begin = Clock::now();
    stand.Put(CHANNEL_TALK, bytes, 't');
    stand.Until([&] { return stand.delivered.size() > before; });
    return Clock::now() - begin;
}

double At(std::vector<Microseconds>& all, double part)
{
    std::sort(all.begin(), all.end());
    return all[static_cast<std::size_t>(part * static_cast<double>(all.size() - 1))].count();
}

}  // namespace
}  // namespace zephyl

int main(int argc, char** argv)
{
    using namespace zephyl;
    const auto number = [&](int at, std::size_t usual) {
        return argc > at ? static_cast<std::size_t>(std::atol(argv[at])) : usual;
    };
    const std::size_t rounds = number(2, 3000), bytes = number(3, 200);
    InNats pair(number(1, 1));
    std::uint64_t epochs = 0;
    LogStand stand([&](LogStand& s) { return LogInEngine(s, *pair.one, epochs); });
    if (!stand.TryOpen()) return 1;
    const NatsSite site = pair.nats.Site();
    BareJetStream bare(site.servers.front(), site.replicas);
    const std::string body(bytes, 't');
    std::vector<Microseconds> ours, theirs;
    for (std::size_t i = 0; i < rounds + rounds / 10; ++i) {
        const Microseconds one = Round(stand, bytes), other = bare.Round(body);
        if (i < rounds / 10) continue;  // until both are warm
        ours.push_back(one);
        theirs.push_back(other);
    }
    for (const double part : {0.5, 0.9, 0.99}) {
        const double one = At(ours, part), other = At(theirs, part);
        std::printf("p%-2.0f  log %7.0f us   bare %7.0f us   %.2fx\n", 100 * part, one, other, one / other);
    }
}
