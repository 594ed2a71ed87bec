#include "live_stand.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <stdexcept>

#include "service/relay/door/passwords.h"

using namespace zephyl;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr HashCost kCheap{1, 8192};

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

}  // namespace

double Seconds(std::chrono::steady_clock::duration time)
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

std::unique_ptr<Relay> StartRelay(const std::filesystem::path& data, const std::string& host, int accounts)
{
    auto log = std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
    auto relay = std::make_unique<Relay>(Options(data, host), log, kCheap);
    for (int i = 0; i < accounts; ++i)
        relay->TheAccounts().Add("user" + std::to_string(i), HashPassword("secret", kCheap), "");
    relay->Start();
    return relay;
}

Server::Server(const std::function<void(int report)>& run)
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

Server::~Server()
{
    ::kill(mPid, SIGKILL);
    ::waitpid(mPid, nullptr, 0);
}

double Server::Cpu() const
{
    clockid_t clock;
    timespec used{};
    ::clock_getcpuclockid(mPid, &clock);
    ::clock_gettime(clock, &used);
    return double(used.tv_sec) + double(used.tv_nsec) * 1e-9;
}

void Tell(int report, std::uint16_t port)
{
    if (::write(report, &port, sizeof port) != sizeof port) ::_exit(1);
}

LiveClient::LiveClient(const std::string& service, std::uint16_t port, int index, bool udp,
                       const std::string& from)
    : raw(port, {}, kProtocolVersion, from, service)
{
    raw.Login("user" + std::to_string(index), "secret", std::uint64_t(index) + 1);
    const Place place = raw.Enter("Bench1", index == 0).place();
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

void LiveClient::Put(const std::string& frame)
{
    if (!mRoad) return raw.SendBytes(frame);
    const Clock::time_point now = Clock::now();
    mRoad->Free(now);
    mRoad->Put(frame, now, mOut);
    SendOut();
}

void LiveClient::Turn(std::chrono::milliseconds atMost)
{
    pollfd waits[] = {{raw.Socket(), POLLIN, 0}, {mSocket ? mSocket->Descriptor() : -1, POLLIN, 0}};
    ::poll(waits, 2, int(atMost.count()));
    if (mRoad) {
        mSocket->Receive([this](std::string_view datagram, const DatagramPath&) {
            const auto arrived = mRoad->Take(datagram, Clock::now(), mOut);
            if (arrived.frame)
                ReadLiveFrame(*arrived.frame, Way::Down,
                              [this](const ItemView& item) { onItem(item.header, item.body); });
        });
        mRoad->Tick(Clock::now(), mOut);
        SendOut();
    }
    while (const auto received = raw.Ready())
        if (onItem) onItem(received->header, received->body);
}

void LiveClient::SendOut()
{
    mSocket->Send(mOut);
    mOut.Clear();
}
