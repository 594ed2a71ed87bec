// Live pictures by UDP beside TLS: what one costs the relay, and how old it is on a bad network.
//   bench_live cpu                              and beside a bare loop of recvmmsg and sendmmsg
//   bench_live film ADDRESS SECONDS             a relay, and somebody who films at it; prints its port
//   bench_live watch ADDRESS PORT udp|tls SECONDS
// bench/live.sh puts the last two on the two ends of a bad network.

#include <arpa/inet.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "service/net/datagram_road.h"
#include "service/net/datagram_socket.h"
#include "service/relay/door/passwords.h"
#include "service/relay/private_folder.h"
#include "service/relay/raw_client.h"
#include "service/relay/relay.h"

using namespace zephyl;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kReceivers = 8;
constexpr std::size_t kCameraBytes = 40 * 1024, kNarrowBytes = 8 * 1024;
constexpr HashCost kCheap{1, 8192};

double Seconds(Clock::duration time)
{
    return std::chrono::duration<double>(time).count();
}

void PinTo(int core)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
    ::sched_setaffinity(0, sizeof set, &set);
}

sockaddr_storage AddressOf(const std::string& host, std::uint16_t port)
{
    sockaddr_storage address{};
    auto& v4 = reinterpret_cast<sockaddr_in&>(address);
    v4.sin_family = AF_INET;
    v4.sin_port = htons(port);
    ::inet_pton(AF_INET, host.c_str(), &v4.sin_addr);
    return address;
}

RelayOptions Options(const std::filesystem::path& data, const std::string& host)
{
    RelayOptions options;
    options.host = host;
    options.data = data;
    options.port = 0;
    options.threads = 1;
    options.logsInMemory = true;
    options.budgets = {};
    options.budgets.items = options.budgets.bytes = options.budgets.liveFrames = options.budgets.liveBytes =
        0;
    return options;
}

std::unique_ptr<Relay> StartRelay(const std::filesystem::path& data, const std::string& host)
{
    auto log = std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
    auto relay = std::make_unique<Relay>(Options(data, host), log, kCheap);
    for (int i = 0; i <= kReceivers; ++i)
        relay->TheAccounts().Add("user" + std::to_string(i), HashPassword("secret", kCheap), "");
    relay->Start();
    return relay;
}

/// A client with its datagrams, or without.
class Attendee {
public:
    Attendee(const std::string& service, std::uint16_t port, int index, bool udp, const std::string& from)
        : mClient(port, {}, kProtocolVersion, from, service)
    {
        mClient.Login("user" + std::to_string(index), "secret", std::uint64_t(index) + 1);
        const Place place = mClient.Enter("Bench1", index == 0).place();
        if (!udp) return;
        mSocket = std::make_unique<DatagramSocket>(DatagramSocket::Towards(AddressOf(service, port)));
        const DatagramKeys keys{place.udp_id(), *ReadDatagramKey(place.udp_key_up()),
                                *ReadDatagramKey(place.udp_key_down())};
        mRoad = std::make_unique<DatagramRoad>(keys, DatagramRoad::Begins::Here, Clock::now());
        const auto open = [this] { return mRoad->Takes(1) && mRoad->Figures().comes; };
        for (const auto until = Clock::now() + 20s; !open();) {
            Turn(10ms);
            if (Clock::now() > until) throw std::runtime_error("no datagram passes");
        }
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
        if (!mRoad) return mClient.SendBytes(frame);
        mRoad->Free(now);
        mRoad->Put(frame, now, mOut);
        SendOut();
    }
    /// Takes what has come.
    void Turn(std::chrono::milliseconds atMost = 0ms)
    {
        pollfd waits[] = {{mClient.Socket(), POLLIN, 0}, {mSocket ? mSocket->Descriptor() : -1, POLLIN, 0}};
        ::poll(waits, 2, int(atMost.count()));
        if (mRoad) {
            mSocket->Receive([this](std::string_view datagram, const DatagramPath&) {
                const auto arrived = mRoad->Take(datagram, Clock::now(), mOut);
                if (arrived.frame)
                    ReadLiveFrame(*arrived.frame, Way::Down,
                                  [this](const ItemView& item) { Show(item.body); });
            });
            mRoad->Tick(Clock::now(), mOut);
            SendOut();
        }
        while (const auto received = mClient.Ready()) {
            if (!received->header.has_live()) continue;
            Show(received->body);
            mClient.SendRead(0, 0, mLiveBytes += received->body.size());
        }
    }
    std::vector<double> ages;

private:
    void Show(std::string_view body)
    {
        Clock::time_point sent;
        std::memcpy(&sent, body.data(), sizeof sent);
        ages.push_back(Seconds(Clock::now() - sent));
    }
    void SendOut()
    {
        mSocket->Send(mOut);
        mOut.Clear();
    }
    RawClient mClient;
    std::unique_ptr<DatagramSocket> mSocket;
    std::unique_ptr<DatagramRoad> mRoad;
    DatagramBatch mOut;
    std::uint64_t mFrames = 0, mLiveBytes = 0;
};

/// A process of its own on the first core; the port that it says.
class Server {
public:
    explicit Server(const std::function<void(int report)>& run)
    {
        int report[2];
        if (::pipe(report) != 0) throw std::runtime_error("no pipe");
        mPid = ::fork();
        if (mPid == 0) {
            PinTo(0);
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            run(report[1]);
            ::_exit(0);
        }
        if (::read(report[0], &port, sizeof port) != sizeof port) throw std::runtime_error("no server");
    }
    ~Server()
    {
        ::kill(mPid, SIGKILL);
        ::waitpid(mPid, nullptr, 0);
    }
    double Cpu() const
    {
        clockid_t clock;
        timespec used{};
        ::clock_getcpuclockid(mPid, &clock);
        ::clock_gettime(clock, &used);
        return double(used.tv_sec) + double(used.tv_nsec) * 1e-9;
    }
    std::uint16_t port = 0;

private:
    pid_t mPid;
};

void Tell(int report, std::uint16_t port)
{
    if (::write(report, &port, sizeof port) != sizeof port) ::_exit(1);
}

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
        const auto relay = StartRelay(data, "127.0.0.1");
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
        const auto relay = StartRelay(data, address);
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
