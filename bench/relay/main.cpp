// What a delivery costs the relay, beside the bare limit. Prints Markdown; takes about three minutes.

#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>

#include "relay/load.h"
#include "service/relay/passwords.h"

using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace {

constexpr int kRepetitions = 5;
constexpr auto kWarm = 150ms;
constexpr auto kMeasured = 600ms;

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double Part(std::vector<double> values, double part)
{
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

class Folder {
public:
    Folder()
    {
        char name[] = "/tmp/relay-bench-XXXXXX";
        mPath = ::mkdtemp(name);
    }
    ~Folder() { std::filesystem::remove_all(mPath); }
    std::filesystem::path Data() const { return mPath / "data"; }

private:
    std::filesystem::path mPath;
};

struct Work {
    std::size_t bytes;
    int receivers;
    int inFlight;  // messages on their way to the slowest receiver
    bool oneStopped = false;
};

struct Cost {
    double microseconds = 0;  // of processor a delivery
    std::size_t grown = 0;    // resident bytes
};

// One sender keeps `inFlight` messages on their way.
Cost Measure(Kind kind, const Work& work)
{
    const Folder folder;
    const int all = work.receivers + 1 + (work.oneStopped ? 1 : 0);
    const ServerProcess server(kind, folder.Data(), all);
    Peers peers(server, kind, all);
    if (work.oneStopped) peers.Stop(all - 1);
    std::uint64_t sent = 0;
    const auto run = [&](std::chrono::milliseconds time) {
        for (const auto until = steady_clock::now() + time; steady_clock::now() < until; peers.Poll(1ms))
            while (sent - peers.Slowest(1, 1 + work.receivers) < static_cast<std::uint64_t>(work.inFlight)) {
                peers[0].Post(work.bytes);
                ++sent;
            }
    };
    run(kWarm);
    const auto before = server.Cpu();
    const std::size_t resident = server.Resident();
    const std::uint64_t from = peers.Slowest(1, 1 + work.receivers);
    run(kMeasured);
    const double used = std::chrono::duration<double, std::micro>(server.Cpu() - before).count();
    const double deliveries =
        static_cast<double>(peers.Slowest(1, 1 + work.receivers) - from) * work.receivers;
    const std::size_t now = server.Resident();
    return {used / deliveries, now > resident ? now - resident : 0};
}

const char* Verdict(double ratio, double target)
{
    return ratio <= target ? "met" : ratio <= 1.15 * target ? "within 15 %" : "**missed**";
}

void Deliveries()
{
    const struct {
        Work work;
        double target;
    } cells[] = {
        {{200, 8, 32}, 1.3},   {{200, 32, 32}, 1.5}, {{200, 128, 32}, 1.5}, {{4096, 8, 16}, 1.3},
        {{4096, 32, 16}, 1.3}, {{8192, 8, 16}, 1.3}, {{8192, 32, 16}, 1.3}, {{102'400, 8, 4}, 1.15},
    };
    std::puts(
        "| message, receivers | relay, us | one send each, us | one send a read, us | beside the better | "
        "target | |");
    std::puts("| --- | --- | --- | --- | --- | --- | --- |");
    for (const auto& cell : cells) {
        std::vector<double> relay, each, batch;
        for (int i = 0; i < kRepetitions; ++i) {  // in turn, so that a noisy moment meets them all
            relay.push_back(Measure(Kind::Relay, cell.work).microseconds);
            each.push_back(Measure(Kind::BareEach, cell.work).microseconds);
            batch.push_back(Measure(Kind::BareBatch, cell.work).microseconds);
        }
        const double limit = std::min(Median(each), Median(batch));
        const double ratio = Median(relay) / limit;
        std::printf("| %zu bytes, %d | %.2f | %.2f | %.2f | %.2f | %.2f | %s |\n", cell.work.bytes,
                    cell.work.receivers, Median(relay), Median(each), Median(batch), ratio, cell.target,
                    Verdict(ratio, cell.target));
        std::fflush(stdout);
    }
}

// Four senders, each 30 messages a second, to eight receivers.
std::vector<double> Ages(Kind kind)
{
    const Folder folder;
    const ServerProcess server(kind, folder.Data(), 12);
    Peers peers(server, kind, 12);
    std::vector<double> ages;
    const auto begin = steady_clock::now();
    for (int tick = 0; tick < 4 * 30 * 3; ++tick) {
        const auto due = begin + tick * (1000ms / 120);
        while (steady_clock::now() < due)
            peers.Poll(std::max(0ms, std::chrono::duration_cast<std::chrono::milliseconds>(
                                         due - steady_clock::now())),
                       &ages);
        peers[tick % 4].Post(200);
    }
    for (int i = 0; i < 20; ++i) peers.Poll(5ms, &ages);
    return ages;
}

void Latency()
{
    std::vector<double> relay50, relay99, bare50, bare99;
    for (int i = 0; i < kRepetitions; ++i) {
        const auto ours = Ages(Kind::Relay), bare = Ages(Kind::BareBatch);
        relay50.push_back(Part(ours, 0.5) * 1e6), relay99.push_back(Part(ours, 0.99) * 1e6);
        bare50.push_back(Part(bare, 0.5) * 1e6), bare99.push_back(Part(bare, 0.99) * 1e6);
    }
    std::puts("\n| 4 senders x 30 a second to 8 | relay, us | bare loop, us | ratio | target | |");
    std::puts("| --- | --- | --- | --- | --- | --- |");
    const double p50 = Median(relay50) / Median(bare50), p99 = Median(relay99) / Median(bare99);
    std::printf("| p50 | %.0f | %.0f | %.2f | 1.15 | %s |\n", Median(relay50), Median(bare50), p50,
                Verdict(p50, 1.15));
    std::printf("| p99 | %.0f | %.0f | %.2f | 1.50 | %s |\n", Median(relay99), Median(bare99), p99,
                Verdict(p99, 1.5));
}

void Memory()
{
    constexpr int sessions = 1000;
    const Folder folder;
    const ServerProcess server(Kind::Relay, folder.Data(), sessions);
    double one = 0;
    {
        Peers first(server, Kind::Relay, 1, false);
        one = static_cast<double>(server.Resident()) / (1 << 20);
    }
    Peers many(server, Kind::Relay, sessions, false);
    const double each = (static_cast<double>(server.Resident()) / 1024 - one * 1024) / sessions;
    std::puts("\n| resident memory | figure | target | |");
    std::puts("| --- | --- | --- | --- |");
    std::printf("| an idle session, KiB | %.1f | 20 | %s |\n", each, Verdict(each, 20));
    std::printf("| the process with one, MiB | %.1f | 12 | %s |\n", one, Verdict(one, 12));
}

void Durability()
{
    std::puts("\n| log in files beside memory | memory, us | files, us | ratio | target | |");
    std::puts("| --- | --- | --- | --- | --- | --- |");
    for (const Work& work : {Work{200, 8, 32}, Work{8192, 8, 16}}) {
        std::vector<double> memory, files;
        for (int i = 0; i < kRepetitions; ++i) {
            memory.push_back(Measure(Kind::Relay, work).microseconds);
            files.push_back(Measure(Kind::RelayFiles, work).microseconds);
        }
        const double ratio = Median(files) / Median(memory);
        std::printf("| %zu bytes, %d | %.2f | %.2f | %.2f | 1.10 | %s |\n", work.bytes, work.receivers,
                    Median(memory), Median(files), ratio, Verdict(ratio, 1.1));
    }
}

void Stopped()
{
    std::vector<double> without, with;
    std::size_t grown = 0;
    for (int i = 0; i < kRepetitions; ++i) {
        without.push_back(Measure(Kind::Relay, {200, 8, 32}).microseconds);
        const Cost cost = Measure(Kind::Relay, {200, 8, 32, true});
        with.push_back(cost.microseconds);
        grown = std::max(grown, cost.grown);
    }
    const double ratio = Median(with) / Median(without);
    std::puts("\n| one receiver stopped | without, us | with, us | ratio | target | memory grown, MiB | |");
    std::puts("| --- | --- | --- | --- | --- | --- | --- |");
    std::printf("| 200 bytes, 8 | %.2f | %.2f | %.2f | 1.10 | %.1f (16 of talk are kept) | %s |\n",
                Median(without), Median(with), ratio, static_cast<double>(grown) / (1 << 20),
                Verdict(ratio, 1.1));
}

}  // namespace

int main(int argc, char** argv)
{
    zephyl::StartSodium();
    PinTo(kLoadCore);
    const std::string only = argc > 1 ? argv[1] : "";
    const struct {
        const char* name;
        void (*run)();
    } parts[] = {
        {"deliveries", Deliveries}, {"latency", Latency},       {"memory", Memory},
        {"stopped", Stopped},       {"durability", Durability},
    };
    for (const auto& part : parts)
        if (only.empty() || only == part.name) part.run();
    return 0;
}
