// What a chat line and an idle session cost by each protocol, beside TCP in the same run: a real service, two
// real links a protocol, in turn. Prints Markdown.
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

#include "reliability/daemon.h"
#include "reliability/linked_attendee.h"

using namespace Qt::StringLiterals;
using namespace reliability;

namespace {

constexpr int kRounds = 9, kLines = 200, kIdle = 20;
constexpr double kIdleSeconds = 15;

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + std::ptrdiff_t(values.size() / 2), values.end());
    return values[values.size() / 2];
}

double OwnSeconds()
{
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

std::unique_ptr<LinkedAttendee> LoggedIn(const Daemon& daemon, Protocol protocol, int number)
{
    LinkedAttendee::usual = protocol;
    auto one = std::make_unique<LinkedAttendee>(daemon.Address(), daemon.Fingerprint());
    if (!one->Login(u"c%1"_s.arg(number))) throw std::runtime_error(one->link->LastRefusal().toStdString());
    return one;
}

struct Pair {
    std::unique_ptr<LinkedAttendee> sender, receiver;

    Pair(const Daemon& daemon, Protocol protocol, int number)
        : sender(LoggedIn(daemon, protocol, number)), receiver(LoggedIn(daemon, protocol, number + 1))
    {
        const QString code = u"bench%1"_s.arg(number);
        if (!sender->link->CreateMeeting(code, {}) || !receiver->link->JoinMeeting(code))
            throw std::runtime_error("no meeting");
        sender->Next();
    }
    /// From the call to the event, milliseconds.
    double Line()
    {
        const Time begun = Clock::now();
        sender->link->Send(receiver->link->Handle(), u"one line of usual length, as people write them"_s);
        sender->Turn();
        receiver->Next();
        return Since(begun);
    }
};

struct Cost {
    double service, client;  // milliseconds of processor time a session and minute
};

Cost Idle(Protocol protocol)
{
    const Daemon daemon(kIdle);
    std::vector<std::unique_ptr<LinkedAttendee>> all;
    for (int i = 0; i < kIdle; ++i) all.push_back(LoggedIn(daemon, protocol, i));
    const double service = ProcessorSecondsOf(daemon.Pid()), own = OwnSeconds();
    const Time begun = Clock::now();
    while (Since(begun) < kIdleSeconds * 1000) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const double scale = 60'000 / kIdleSeconds / kIdle;
    return {(ProcessorSecondsOf(daemon.Pid()) - service) * scale, (OwnSeconds() - own) * scale};
}

}  // namespace

int main()
{
    const std::vector<std::pair<const char*, Protocol>> roads = {{"TCP", Protocol::Tcp},
                                                                 {"HTTP", Protocol::Http}};
    const Daemon daemon(4, u"items_per_second = 0\n"_s);
    std::map<const char*, std::vector<double>> medians, tails;
    std::vector<std::pair<const char*, std::unique_ptr<Pair>>> pairs;
    for (const auto& [name, protocol] : roads)
        pairs.emplace_back(name, std::make_unique<Pair>(daemon, protocol, int(pairs.size()) * 2));
    for (int round = 0; round < kRounds; ++round)
        for (auto& [name, pair] : pairs) {
            std::vector<double> times;
            for (int i = 0; i < kLines; ++i) times.push_back(pair->Line());
            medians[name].push_back(Median(times));
            std::sort(times.begin(), times.end());
            tails[name].push_back(times[std::size_t(kLines * 99 / 100)]);
        }
    pairs.clear();
    const double tcp = Median(medians["TCP"]);
    std::printf(
        "| protocol | a line, p50 | beside TCP | p99 | idle session: service, ms a minute | client |\n"
        "| --- | --- | --- | --- | --- | --- |\n");
    for (const auto& [name, protocol] : roads) {
        const Cost cost = Idle(protocol);
        std::printf("| %s | %.2f ms | %.2fx | %.2f ms | %.1f | %.1f |\n", name, Median(medians[name]),
                    Median(medians[name]) / tcp, Median(tails[name]), cost.service, cost.client);
    }
}
