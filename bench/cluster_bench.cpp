// What a delivery costs where several relays share a meeting, and how long it takes: one relay with its log
// in files, one with its log in NATS, and three, on servers and relays of its own. Prints Markdown.
// usage: bench_cluster [cost|latency [NATS-SERVERS [BYTES [ROUNDS]]]]

#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/json.hpp>
#include <thread>

#include "bare_jetstream.h"
#include "relay/cells.h"
#include "service/cluster/test_nats.h"
#include "service/relay/door/identity.h"
#include "service/relay/private_folder.h"
#include "service/relay/process_memory.h"

namespace asio = boost::asio;
using namespace zephyl;
using namespace std::chrono_literals;

namespace {

enum class Setup { Files, JetStream, Gathered, Three, ThreeFromAfar };
constexpr struct {
    Setup setup;
    const char* name;
} kSetups[] = {{Setup::Files, "one, files"},
               {Setup::JetStream, "one, JetStream"},
               {Setup::Gathered, "three, gathered"},
               {Setup::Three, "three, apart"},
               {Setup::ThreeFromAfar, "three, apart, sender not at the keeper"}};
constexpr std::size_t kSetupCount = std::size(kSetups);

/// A relay of a cluster, ready; never returns.
[[noreturn]] void RunShared(const NatsSite& site, const std::string& name, const std::filesystem::path& data,
                            const std::filesystem::path& key, int accounts, int report)
{
    PrepareMemory();
    RelayOptions options = BareRelayOptions(data);
    options.cluster.name = name;
    options.cluster.advertise = name + ":1";
    const Identity identity = PrepareIdentity(key);
    options.key = identity.key;
    options.certificate = identity.certificate;
    Relay relay(options,
                std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>()),
                kCheapHash, std::make_unique<NatsEngine>(site, OpenNats, [](const std::string& trouble) {
                    if (!trouble.empty()) std::fprintf(stderr, "%s\n", trouble.c_str());
                }));
    StartFor(relay, accounts);
    while (!relay.TakesClients()) std::this_thread::sleep_for(10ms);
    Tell(report, relay.Port());
    ForgetStart();
    for (;;) ::pause();
}

/// Relays and what they share, alive together.
class Service {
public:
    Service(Setup setup, std::size_t natsServers, int accounts)
    {
        if (setup == Setup::Files) {
            mRelays.push_back(std::make_unique<ServerProcess>(Kind::Relay, mFolder.path / "relay", accounts));
            return;
        }
        PreparePrivateFolder(mFolder.path / "key");
        PrepareIdentity(mFolder.path / "key");
        mNats = std::make_unique<TestNats>(natsServers, TestNats::Tls::Yes);
        for (int i = 0; i < (setup == Setup::JetStream ? 1 : 3); ++i)
            mRelays.push_back(std::make_unique<ServerProcess>(Kind::Relay, [&](int report) {
                const std::string name = "relay" + std::to_string(i);
                RunShared(mNats->Site(), name, mFolder.path / name, mFolder.path / "key", accounts, report);
            }));
    }

    /// In the order in which clients are connected to them.
    Servers Relays() const
    {
        Servers relays;
        for (const auto& one : mRelays) relays.push_back(one.get());
        return relays;
    }
    /// What the engine's servers have been sent by their clients.
    double EngineBytes() const
    {
        double bytes = 0;
        for (std::size_t i = 0; mNats && i < mNats->Count(); ++i) bytes += BytesAt(mNats->MonitorPort(i));
        return bytes;
    }
    const TestNats& Nats() const { return *mNats; }

private:
    static double BytesAt(std::uint16_t port)
    {
        asio::io_context io;
        asio::ip::tcp::socket socket(io);
        socket.connect({asio::ip::address_v4::loopback(), port});
        asio::write(socket, asio::buffer(std::string("GET /connz?limit=1000 HTTP/1.0\r\n\r\n")));
        std::string answer;
        boost::system::error_code end;
        asio::read(socket, asio::dynamic_buffer(answer), end);
        double bytes = 0;
        const auto all = boost::json::parse(answer.substr(answer.find("\r\n\r\n") + 4));
        for (const auto& one : all.at("connections").as_array())
            bytes += one.at("in_bytes").to_number<double>();
        return bytes;
    }

    TemporaryFolder mFolder;
    std::unique_ptr<TestNats> mNats;
    std::vector<std::unique_ptr<ServerProcess>> mRelays;
};

double Middle(std::vector<double> values, double part = 0.5)
{
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

struct Measured {
    std::vector<double> all, keeper, others, copies;
};

// Whoever begins the meeting is connected to the first relay, which keeps it. Clients that are told to gather
// there have done so.
void MeasureOnce(Setup setup, std::size_t natsServers, Work work, Measured& into)
{
    if (setup == Setup::ThreeFromAfar) work.sender = 1;
    work.gathered = setup == Setup::Gathered;
    const Service service(setup, natsServers, AccountsFor(work));
    const double before = service.EngineBytes();
    const std::vector<Cost> costs = Measure(service.Relays(), work);
    const double bytes = service.EngineBytes() - before;
    double all = 0;
    for (const Cost& one : costs) all += one.microseconds;
    into.all.push_back(all);
    into.keeper.push_back(costs.front().microseconds);
    into.others.push_back(all - costs.front().microseconds);
    into.copies.push_back(bytes / static_cast<double>(costs.front().messages * work.bytes));
}

const char* Verdict(double ratio, double target)
{
    return ratio <= target ? "met" : ratio <= 1.15 * target ? "within 15 %" : "**missed**";
}

void CostOfAll(std::size_t natsServers, std::size_t onlyBytes, int rounds)
{
    std::puts(
        "| bytes, receivers | setup | us a delivery | of it the keeper | the others | beside files | aim | "
        "bytes to the engine a message, in bodies |\n| --- | --- | --- | --- | --- | --- | --- | --- |");
    for (const Work& work : {Work{200, 8, 32}, Work{200, 32, 32}, Work{8192, 8, 16}, Work{8192, 32, 16},
                             Work{102'400, 8, 4}, Work{102'400, 32, 4}}) {
        if (onlyBytes > 0 && work.bytes != onlyBytes) continue;
        Measured measured[kSetupCount];
        for (int round = 0; round < rounds; ++round)
            for (const auto& [setup, name] : kSetups)
                MeasureOnce(setup, natsServers, work, measured[static_cast<int>(setup)]);
        for (const auto& [setup, name] : kSetups) {
            const Measured& one = measured[static_cast<int>(setup)];
            const double ratio = Middle(one.all) / Middle(measured[0].all);
            std::printf("| %zu, %d | %s | %.2f | %.2f | %.2f | %.2f | %s | %.2f |\n", work.bytes,
                        work.receivers, name, Middle(one.all), Middle(one.keeper), Middle(one.others), ratio,
                        setup == Setup::Files ? "" : Verdict(ratio, 1.5), Middle(one.copies));
        }
        std::fflush(stdout);
    }
}

/// As often a second as a message is sent in what is measured beside it.
std::vector<double> BareTimes(const TestNats& nats, std::size_t bytes)
{
    const NatsSite site = nats.Site();
    BareJetStream bare(site.servers.front(), site.replicas);
    const std::string body(bytes, 't');
    std::vector<double> times;
    const auto begin = std::chrono::steady_clock::now();
    for (int tick = 0; tick < kTicks; ++tick) {
        std::this_thread::sleep_until(begin + tick * kTick);
        times.push_back(bare.Round(body).count() * 1e-6);
    }
    return times;
}

void Latency(std::size_t natsServers, std::size_t, int rounds)
{
    const Prompt prompt;
    std::vector<double> half[kSetupCount], most[kSetupCount], bareHalf, bareMost;
    for (int round = 0; round < rounds; ++round)
        for (const auto& [setup, name] : kSetups) {
            if (setup == Setup::ThreeFromAfar) continue;  // three of the four senders are that in "apart"
            const Service service(setup, natsServers, kAccountsForAges);
            const std::vector<double> ages = Ages(service.Relays(), setup == Setup::Gathered);
            half[static_cast<int>(setup)].push_back(Middle(ages) * 1e6);
            most[static_cast<int>(setup)].push_back(Middle(ages, 0.99) * 1e6);
            if (setup == Setup::Files) continue;
            const std::vector<double> bare = BareTimes(service.Nats(), 200);
            bareHalf.push_back(Middle(bare) * 1e6);
            bareMost.push_back(Middle(bare, 0.99) * 1e6);
        }
    std::printf("bare JetStream loop: p50 %.0f us, p99 %.0f us\n", Middle(bareHalf), Middle(bareMost));
    std::puts(
        "| setup | p50, us | p99, us | added p50 | beside the bare loop | aim |\n"
        "| --- | --- | --- | --- | --- | --- |");
    for (const auto& [setup, name] : kSetups) {
        const auto at = static_cast<int>(setup);
        if (half[at].empty()) continue;
        const double added = Middle(half[at]) - Middle(half[0]), ratio = added / Middle(bareHalf);
        std::printf("| %s | %.0f | %.0f | %.0f | %.2f | %s |\n", name, Middle(half[at]), Middle(most[at]),
                    added, ratio, setup == Setup::Files ? "" : Verdict(ratio, 1.5));
    }
}

}  // namespace

int main(int argc, char** argv)
{
    StartSodium();
    PinTo(kLoadCore);
    const auto number = [&](int at, std::size_t usual) {
        return argc > at ? static_cast<std::size_t>(std::atol(argv[at])) : usual;
    };
    const std::string only = argc > 1 ? argv[1] : "";
    const auto rounds = static_cast<int>(number(4, 5));
    if (only != "latency") CostOfAll(number(2, 1), number(3, 0), rounds);
    if (only != "cost") Latency(number(2, 1), number(3, 0), rounds);
}
