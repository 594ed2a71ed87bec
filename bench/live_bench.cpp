// Live pictures by UDP beside TLS: what one costs the relay, and how old it is on a bad network.
//   bench_live cpu                              and beside a bare loop of recvmmsg and sendmmsg
//   bench_live film ADDRESS SECONDS             a relay, and somebody who films at it; prints its port
//   bench_live watch ADDRESS PORT udp|tls SECONDS
// bench/live.sh puts the last two on the two ends of a bad network.

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "live_stand.h"
#include "service/net/datagram_socket.h"
#include "service/relay/private_folder.h"

using namespace zephyl;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kReceivers = 8;
constexpr std::size_t kCameraBytes = 40 * 1024, kNarrowBytes = 8 * 1024;

/// Sends pictures with the time in them, and says how old those are that arrive.
class Attendee {
public:
    Attendee(const std::string& service, std::uint16_t port, int index, bool udp, const std::string& from)
        : mClient(service, port, index, udp, from)
    {
        mClient.onItem = [this, udp](const Header& header, std::string_view body) {
            if (!header.has_live()) return;
            Clock::time_point sent;
            std::memcpy(&sent, body.data(), sizeof sent);
            ages.push_back(Seconds(Clock::now() - sent));
            if (!udp) mClient.raw.SendRead(0, 0, mLiveBytes += body.size());
        };
    }
    void Film(std::size_t bytes)
    {
        std::string body(bytes, 'f');
        const Clock::time_point now = Clock::now();
        std::memcpy(body.data(), &now, sizeof now);
        Header header;
        header.mutable_live()->set_everyone(true);
        header.mutable_live()->mutable_picture()->set_type(0);
        header.mutable_live()->set_frame(++mFrames);
        header.mutable_live()->set_total(std::uint32_t(bytes));
        std::string frame;
        AppendItem(frame, header, LANE_LIVE, body, Way::Up);
        mClient.Put(frame);
    }
    void Turn(std::chrono::milliseconds atMost = 0ms) { mClient.Turn(atMost); }
    std::vector<double> ages;

private:
    LiveClient mClient;
    std::uint64_t mFrames = 0, mLiveBytes = 0;
};

/// What comes from the one who spoke first goes to all others, as it is. `cut`: by the kernel, out of one
/// send.
[[noreturn]] void RunBare(int report, bool cut)
{
    DatagramSocket socket = DatagramSocket::Listen(AddressOf("127.0.0.1", 0));
    if (!cut) socket.CutNothing();
    sockaddr_in own{};
    socklen_t length = sizeof own;
    ::getsockname(socket.Descriptor(), reinterpret_cast<sockaddr*>(&own), &length);
    Tell(report, ntohs(own.sin_port));
    std::vector<DatagramPath> peers;
    DatagramBatch batch;
    for (pollfd wait{socket.Descriptor(), POLLIN, 0};;) {
        ::poll(&wait, 1, -1);
        batch.Clear();
        socket.Receive([&](std::string_view datagram, const DatagramPath& from) {
            if (datagram.size() < 100) return peers.push_back(from);
            batch.bytes.append(datagram);
            batch.sizes.push_back(std::uint16_t(datagram.size()));
        });
        for (std::size_t i = 1; i < peers.size() && !batch.Empty(); ++i) socket.Send(batch, &peers[i]);
    }
}

struct Cost {
    double microseconds = 0;  // a frame and receiver
    double shown = 0;         // of those sent
};

constexpr int kFrames = 150;
constexpr auto kPause = 20ms;

Cost MeasureBare(bool cut)
{
    Server server([cut](int report) { RunBare(report, cut); });
    std::vector<DatagramSocket> peers;
    for (int i = 0; i <= kReceivers; ++i) {
        peers.push_back(DatagramSocket::Towards(AddressOf("127.0.0.1", server.port)));
        DatagramBatch hello{"hello", {5}};
        peers.back().Send(hello);
        ::usleep(10'000);
    }
    const std::size_t count = PartsOf(kCameraBytes);
    const DatagramBatch frame{std::string(count * kDatagramBytes, 'f'),
                              std::vector<std::uint16_t>(count, kDatagramBytes)};
    std::size_t came = 0;
    const double before = server.Cpu();
    for (int i = 0; i < kFrames; ++i) {
        peers[0].Send(frame);
        for (const auto until = Clock::now() + kPause; Clock::now() < until; ::usleep(500))
            for (DatagramSocket& peer : peers)
                while (!peer.Receive([&](std::string_view, const DatagramPath&) { ++came; })) {
                }
    }
    return {(server.Cpu() - before) * 1e6 / (kFrames * kReceivers),
            double(came) / double(count * kFrames * kReceivers)};
}

Cost MeasureRelay(bool udp)
{
    const auto data = std::filesystem::temp_directory_path() / ("bench_live_" + std::to_string(::getpid()));
    Server server([&](int report) {
        const auto relay = StartRelay(data, "127.0.0.1", kReceivers + 1);
        Tell(report, relay->Port());
        for (;;) ::pause();
    });
    std::vector<std::unique_ptr<Attendee>> all;
    for (int i = 0; i <= kReceivers; ++i)
        all.push_back(std::make_unique<Attendee>("127.0.0.1", server.port, i, udp, "127.0.0.1"));
    const auto round = [&] {
        all[0]->Film(kCameraBytes);
        for (const auto until = Clock::now() + kPause; Clock::now() < until; ::usleep(500))
            for (const auto& one : all) one->Turn();
    };
    for (int i = 0; i < 20; ++i) round();
    for (const auto& one : all) one->ages.clear();
    const double before = server.Cpu();
    for (int i = 0; i < kFrames; ++i) round();
    const double used = server.Cpu() - before;
    std::size_t shown = 0;
    for (const auto& one : all) shown += one->ages.size();
    std::filesystem::remove_all(data);
    return {used * 1e6 / (kFrames * kReceivers), double(shown) / (kFrames * kReceivers)};
}

void MeasureCpu()
{
    PinTo(1);
    constexpr int kWays = 4, kTimes = 5;
    std::vector<double> used[kWays];
    double shown[kWays] = {};
    for (int i = 0; i < kTimes; ++i) {
        const Cost costs[kWays] = {MeasureRelay(true), MeasureRelay(false), MeasureBare(false),
                                   MeasureBare(true)};
        for (int k = 0; k < kWays; ++k) {
            shown[k] += costs[k].shown / kTimes;
            used[k].push_back(costs[k].microseconds);
        }
    }
    for (auto& one : used) std::sort(one.begin(), one.end());
    const auto median = [&](int way) { return used[way][kTimes / 2]; };
    std::printf(
        "| us a frame of 40 KiB and receiver, %d receivers | UDP | TLS | bare sendmmsg | bare, the kernel "
        "cuts |\n",
        kReceivers);
    std::printf("| medians | %.1f |", median(0));
    for (int k = 1; k < kWays; ++k) std::printf(" %.1f (%.2fx) |", median(k), median(0) / median(k));
    std::printf("\n| shown |");
    for (const double part : shown) std::printf(" %.1f %% |", 100 * part);
    std::printf("\n");
}

void FilmAt(const std::string& address, int seconds)
{
    const auto data = std::filesystem::temp_directory_path() / ("bench_live_" + std::to_string(::getpid()));
    {
        const auto relay = StartRelay(data, address, kReceivers + 1);
        Attendee filming(address, relay->Port(), 0, false, address);
        std::printf("%u\n", unsigned(relay->Port()));
        std::fflush(stdout);
        for (const auto until = Clock::now() + std::chrono::seconds(seconds); Clock::now() < until;) {
            filming.Film(kNarrowBytes);
            filming.Turn();
            ::usleep(1'000'000 / 15);
        }
    }
    std::filesystem::remove_all(data);
}

void Watch(const std::string& address, std::uint16_t port, bool udp, int seconds)
{
    Attendee watching(address, port, udp ? 1 : 2, udp, "0.0.0.0");
    watching.ages.clear();
    for (const auto until = Clock::now() + std::chrono::seconds(seconds); Clock::now() < until;)
        watching.Turn(20ms);
    std::vector<double>& ages = watching.ages;
    std::sort(ages.begin(), ages.end());
    const auto at = [&](double part) {
        return ages.empty() ? 0 : 1000 * ages[std::size_t(part * double(ages.size() - 1))];
    };
    std::printf("| %s | %.0f | %.0f | %zu of %d |\n", udp ? "UDP" : "TLS", at(0.5), at(0.95), ages.size(),
                15 * seconds);
}

}  // namespace

int main(int argc, char** argv)
{
    StartSodium();
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "cpu" && argc == 2)
        MeasureCpu();
    else if (what == "film" && argc == 4)
        FilmAt(argv[2], std::atoi(argv[3]));
    else if (what == "watch" && argc == 6)
        Watch(argv[2], std::uint16_t(std::atoi(argv[3])), std::string(argv[4]) == "udp", std::atoi(argv[5]));
    else
        return std::fprintf(stderr, "bench_live cpu, or see bench/live.sh\n"), 1;
    return 0;
}
