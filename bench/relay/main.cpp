// What a delivery costs the relay, beside the bare limit and beside servers of others. Prints Markdown.

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>

#include "relay/cells.h"
#include "service/relay/door/passwords.h"

namespace {

constexpr int kRepetitions = 5;

constexpr struct {
    Kind kind;
    const char* name;
} kNames[] = {
    {Kind::Relay, "relay"},           {Kind::RelayMemory, "log in memory"}, {Kind::BareEach, "send each"},
    {Kind::BareBatch, "send a read"}, {Kind::Mosquitto, "mosquitto"},       {Kind::Nats, "nats-server"},
    {Kind::Mumble, "mumble-server"},
};
constexpr Kind kForeign[] = {Kind::Mosquitto, Kind::Nats, Kind::Mumble};

const char* NameOf(Kind kind)
{
    return kNames[static_cast<int>(kind)].name;
}

double Part(std::vector<double> values, double part)
{
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

using Figures = std::map<Kind, std::vector<double>>;

/// Five times each, in turn, so that a noisy moment meets them all. One that fails is left out, and why is
/// said on stderr.
template <class Measure>
void InTurn(std::initializer_list<Kind> kinds, Measure measure)
{
    for (int i = 0; i < kRepetitions; ++i)
        for (const Kind kind : kinds) {
            if (!Installed(kind)) continue;
            try {
                measure(kind);
            } catch (const std::exception& error) {
                std::fprintf(stderr, "%s: %s\n", NameOf(kind), error.what());
            }
        }
}

/// The medians of one cell.
class Medians {
public:
    explicit Medians(const Figures& all)
    {
        for (const auto& [kind, values] : all) mOf[kind] = Part(values, 0.5);
    }

    double operator[](Kind kind) const { return mOf.at(kind); }

    std::string Text(Kind kind, int digits) const
    {
        const auto found = mOf.find(kind);
        if (found == mOf.end()) return "-";
        char text[32];
        std::snprintf(text, sizeof text, "%.*f", digits, found->second);
        return text;
    }

    /// Who of the others is better than the relay.
    std::string AheadOf() const
    {
        std::string better;
        for (const Kind kind : kForeign)
            if (const auto found = mOf.find(kind); found != mOf.end() && found->second < mOf.at(Kind::Relay))
                better += std::string(better.empty() ? "**behind** " : ", ") + NameOf(kind);
        return better.empty() ? "ahead" : better;
    }

private:
    std::map<Kind, double> mOf;
};

const char* Verdict(double ratio, double target)
{
    return ratio <= target ? "met" : ratio <= 1.15 * target ? "within 15 %" : "**missed**";
}

void Who(std::size_t)
{
    for (const auto& [kind, name] : kNames) {
        if (kind == Kind::RelayMemory || kind == Kind::BareEach) continue;
        char folder[] = "/tmp/relay-bench-XXXXXX";
        const std::filesystem::path path = ::mkdtemp(folder);
        if (Installed(kind))
            std::printf("%s: %s\n", name, ServerProcess(kind, path / "data", 0).Tls().c_str());
        else
            std::printf("%s: not installed\n", name);
        std::filesystem::remove_all(path);
    }
}

void Deliveries(std::size_t onlyBytes)
{
    const struct {
        Work work;
        double target;
    } cells[] = {
        {{200, 8, 32}, 1.3},   {{200, 32, 32}, 1.5}, {{200, 128, 32}, 1.5}, {{4096, 8, 16}, 1.3},
        {{4096, 32, 16}, 1.3}, {{8192, 8, 16}, 1.3}, {{8192, 32, 16}, 1.3}, {{102'400, 8, 4}, 1.15},
    };
    std::puts(
        "\n| bytes, receivers; us a delivery | relay | one send each | one send a read | beside the better | "
        "target | "
        "| mosquitto | nats-server | mumble-server | |\n"
        "| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |");
    for (const auto& [work, target] : cells) {
        if (onlyBytes > 0 && work.bytes != onlyBytes) continue;
        Figures all;
        InTurn({Kind::Relay, Kind::BareEach, Kind::BareBatch, Kind::Mosquitto, Kind::Nats, Kind::Mumble},
               [&](Kind kind) { all[kind].push_back(Measure(kind, work).microseconds); });
        const Medians us(all);
        const double ratio = us[Kind::Relay] / std::min(us[Kind::BareEach], us[Kind::BareBatch]);
        std::printf("| %zu, %d | %.2f | %.2f | %.2f | %.2f | %.2f | %s | %s | %s | %s | %s |\n", work.bytes,
                    work.receivers, us[Kind::Relay], us[Kind::BareEach], us[Kind::BareBatch], ratio, target,
                    Verdict(ratio, target), us.Text(Kind::Mosquitto, 2).c_str(),
                    us.Text(Kind::Nats, 2).c_str(), us.Text(Kind::Mumble, 2).c_str(), us.AheadOf().c_str());
        std::fflush(stdout);
    }
}

void Latency(std::size_t)
{
    Figures half, most;
    InTurn({Kind::Relay, Kind::BareBatch, Kind::Mosquitto, Kind::Nats, Kind::Mumble}, [&](Kind kind) {
        const std::vector<double> ages = Ages(kind);
        half[kind].push_back(Part(ages, 0.5) * 1e6);
        most[kind].push_back(Part(ages, 0.99) * 1e6);
    });
    std::puts(
        "\n| 4 senders x 30 a second to 8; us | relay | bare loop | ratio | target | | mosquitto | "
        "nats-server | "
        "mumble-server | |\n| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |");
    const auto row = [](const char* name, const Medians& us, double target) {
        const double ratio = us[Kind::Relay] / us[Kind::BareBatch];
        std::printf("| %s | %.0f | %.0f | %.2f | %.2f | %s | %s | %s | %s | %s |\n", name, us[Kind::Relay],
                    us[Kind::BareBatch], ratio, target, Verdict(ratio, target),
                    us.Text(Kind::Mosquitto, 0).c_str(), us.Text(Kind::Nats, 0).c_str(),
                    us.Text(Kind::Mumble, 0).c_str(), us.AheadOf().c_str());
    };
    row("p50", Medians(half), 1.15);
    row("p99", Medians(most), 1.5);
}

void MemoryHeld(std::size_t)
{
    std::map<Kind, Memory> held;
    InTurn({Kind::Relay, Kind::Mosquitto, Kind::Nats, Kind::Mumble}, [&](Kind kind) {
        if (!held.count(kind)) held[kind] = MeasureMemory(kind);  // it hardly differs from run to run
    });
    const auto text = [&](Kind kind, double Memory::*figure) {
        char digits[32] = "-";
        if (held.count(kind)) std::snprintf(digits, sizeof digits, "%.1f", held[kind].*figure);
        return std::string(digits);
    };
    std::puts(
        "\n| resident memory | relay | target | | mosquitto | nats-server | mumble-server |\n"
        "| --- | --- | --- | --- | --- | --- | --- |");
    const auto row = [&](const char* name, double Memory::*figure, double target) {
        std::printf("| %s | %s | %.0f | %s | %s | %s | %s |\n", name, text(Kind::Relay, figure).c_str(),
                    target, Verdict(held[Kind::Relay].*figure, target), text(Kind::Mosquitto, figure).c_str(),
                    text(Kind::Nats, figure).c_str(), text(Kind::Mumble, figure).c_str());
    };
    row("an idle session, KiB", &Memory::eachKiB, 20);
    row("the process with one, MiB", &Memory::withOneMiB, 12);
}

void Stopped(std::size_t)
{
    std::puts(
        "\n| 200 bytes to 8, one more stopped | without, us | with, us | ratio | target | | memory grown, "
        "MiB |\n"
        "| --- | --- | --- | --- | --- | --- | --- |");
    const auto kinds = {Kind::Relay, Kind::Mosquitto, Kind::Nats, Kind::Mumble};
    Figures without, with, grown;
    InTurn(kinds, [&](Kind kind) {
        without[kind].push_back(Measure(kind, {200, 8, 32}).microseconds);
        const Cost cost = Measure(kind, {200, 8, 32, true});
        with[kind].push_back(cost.microseconds);
        grown[kind].push_back(cost.grownMiB);
    });
    for (const Kind kind : kinds) {
        if (with[kind].empty()) continue;
        const double alone = Part(without[kind], 0.5), beside = Part(with[kind], 0.5);
        std::printf("| %s | %.2f | %.2f | %.2f | 1.10 | %s | %.1f |\n", NameOf(kind), alone, beside,
                    beside / alone, Verdict(beside / alone, 1.1), Part(grown[kind], 1));
    }
}

void Durability(std::size_t onlyBytes)
{
    std::puts(
        "\n| log in files beside memory | memory, us | files, us | ratio | target | |\n"
        "| --- | --- | --- | --- | --- | --- |");
    for (const Work& work : {Work{200, 8, 32}, Work{8192, 8, 16}, Work{102'400, 8, 4}}) {
        if (onlyBytes > 0 && work.bytes != onlyBytes) continue;
        Figures all;
        InTurn({Kind::RelayMemory, Kind::Relay},
               [&](Kind kind) { all[kind].push_back(Measure(kind, work).microseconds); });
        const Medians us(all);
        const double ratio = us[Kind::Relay] / us[Kind::RelayMemory];
        std::printf("| %zu bytes, %d | %.2f | %.2f | %.2f | 1.10 | %s |\n", work.bytes, work.receivers,
                    us[Kind::RelayMemory], us[Kind::Relay], ratio, Verdict(ratio, 1.1));
        std::fflush(stdout);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    zephyl::StartSodium();
    PinTo(kLoadCore);
    const std::string only = argc > 1 ? argv[1] : "";
    const std::size_t onlyBytes = argc > 2 ? std::stoul(argv[2]) : 0;
    const struct {
        const char* name;
        void (*run)(std::size_t onlyBytes);
    } parts[] = {
        {"who", Who},           {"deliveries", Deliveries}, {"latency", Latency},
        {"memory", MemoryHeld}, {"stopped", Stopped},       {"durability", Durability},
    };
    for (const auto& part : parts)
        if (only.empty() || only == part.name) part.run(onlyBytes);
    return 0;
}
