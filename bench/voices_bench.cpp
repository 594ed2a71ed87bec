// What voice costs the relay.
//   bench_voices cost [N]  a packet and receiver, eight or N who all speak: beside a bare loop of recvmmsg
//   and sendmmsg bench_voices fifty     fifty who all speak: how much of a core, who is heard

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "live_stand.h"
#include "service/relay/private_folder.h"

using namespace zephyl;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::size_t kVoiceBody = 110;  // 40 kbit/s and its head
constexpr std::size_t kDatagram = 170;   // about what it is on the way
constexpr auto kEvery = 20ms;

/// Calls each once in 20 ms, evenly, and turns all of them meanwhile.
template <class Speak, class Turn>
void Play(int speakers, std::chrono::seconds time, Speak&& speak, Turn&& turn)
{
    const Clock::time_point begin = Clock::now();
    const auto step = std::chrono::duration_cast<Clock::duration>(kEvery) / speakers;
    for (std::int64_t i = 0; i * step < time; ++i) {
        for (const auto at = begin + i * step; Clock::now() < at;) turn();
        speak(int(i % speakers), std::uint64_t(i / speakers));
    }
    for (const auto until = Clock::now() + 100ms; Clock::now() < until;) turn();
}

// --- a relay
// -------------------------------------------------------------------------------------------------

class Talkers {
public:
    Talkers(int count, bool udp)
        : received(std::size_t(count)),
          mFolder(std::filesystem::temp_directory_path() / ("bench_voices_" + std::to_string(::getpid()))),
          mServer([&](int report) {
              const auto relay = StartRelay(mFolder, "127.0.0.1", count);
              Tell(report, relay->Port());
              for (;;) ::pause();
          })
    {
        Header everybody;
        for (int i = 0; i < count; ++i) everybody.mutable_voice_to()->add_handles("user" + std::to_string(i));
        for (int i = 0; i < count; ++i) {
            mClients.push_back(std::make_unique<LiveClient>("127.0.0.1", mServer.port, i, udp, "127.0.0.1"));
            mClients.back()->onItem = [this, i](const Header& header, std::string_view) {
                if (header.has_voice()) ++received[std::size_t(i)][header.voice().from()];
            };
        }
        for (const auto& client : mClients) client->raw.Send(everybody);
        Play(
            count, 1s, [&](int who, std::uint64_t) { Say(who, 30); }, [&] { Turn(); });
        for (auto& one : received) one.clear();
    }
    ~Talkers() { std::filesystem::remove_all(mFolder); }
    void Say(int who, std::uint32_t level)
    {
        Header header;
        header.mutable_voice()->set_frame(++mFrames);
        header.mutable_voice()->set_level(level);
        std::string bytes;
        AppendFrame(bytes, header, std::string(kVoiceBody, 'v'), Way::Up);
        mClients[std::size_t(who)]->Put(bytes);
    }
    void Turn() { mClients[mTurn++ % mClients.size()]->Turn(); }
    double Cpu() const { return mServer.Cpu(); }
    std::vector<std::map<std::string, std::uint64_t>> received;  // of each: how much from whom

private:
    const std::filesystem::path mFolder;
    Server mServer;
    std::vector<std::unique_ptr<LiveClient>> mClients;
    std::size_t mTurn = 0;
    std::uint64_t mFrames = 0;
};

// --- a bare loop
// ---------------------------------------------------------------------------------------------

/// What one says goes to all others in one sendmmsg, as it is.
[[noreturn]] void RunBare(int report)
{
    constexpr std::size_t kAtOnce = 64, kMostPeers = 64;
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_storage own = AddressOf("127.0.0.1", 0);
    ::bind(socket, reinterpret_cast<sockaddr*>(&own), sizeof(sockaddr_in));
    socklen_t length = sizeof own;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&own), &length);
    Tell(report, ntohs(reinterpret_cast<sockaddr_in&>(own).sin_port));
    std::vector<sockaddr_in> peers;
    std::array<std::array<char, 2048>, kAtOnce> bytes;
    std::array<sockaddr_in, kAtOnce> from;
    std::array<iovec, kAtOnce> in;
    std::array<mmsghdr, kAtOnce> came;
    std::array<mmsghdr, kMostPeers> out;
    for (pollfd wait{socket, POLLIN, 0};;) {
        ::poll(&wait, 1, -1);
        for (std::size_t i = 0; i < kAtOnce; ++i) {
            in[i] = {bytes[i].data(), bytes[i].size()};
            came[i] = {};
            came[i].msg_hdr = {&from[i], sizeof from[i], &in[i], 1, nullptr, 0, 0};
        }
        const int count = ::recvmmsg(socket, came.data(), kAtOnce, MSG_DONTWAIT, nullptr);
        for (int i = 0; i < count; ++i) {
            const auto at = std::size_t(i);
            if (came[at].msg_len < 100) {
                peers.push_back(from[at]);
                continue;
            }
            in[at].iov_len = came[at].msg_len;
            std::size_t to = 0;
            for (sockaddr_in& peer : peers) {
                if (peer.sin_port == from[at].sin_port) continue;
                out[to] = {};
                out[to++].msg_hdr = {&peer, sizeof peer, &in[at], 1, nullptr, 0, 0};
            }
            ::sendmmsg(socket, out.data(), unsigned(to), 0);
        }
    }
}

double MeasureBare(int count, std::chrono::seconds time)
{
    Server server(RunBare);
    std::vector<DatagramSocket> peers;
    for (int i = 0; i < count; ++i) {
        peers.push_back(DatagramSocket::Towards(AddressOf("127.0.0.1", server.port)));
        const DatagramBatch hello{"hello", {5}};
        peers.back().Send(hello);
        ::usleep(10'000);
    }
    const DatagramBatch voice{std::string(kDatagram, 'v'), {kDatagram}};
    std::uint64_t came = 0;
    std::size_t next = 0;
    const double before = server.Cpu();
    Play(
        count, time, [&](int who, std::uint64_t) { peers[std::size_t(who)].Send(voice); },
        [&] {
            pollfd wait{peers[next % peers.size()].Descriptor(), POLLIN, 0};
            ::poll(&wait, 1, 0);
            peers[next++ % peers.size()].Receive([&](std::string_view, const DatagramPath&) { ++came; });
        });
    return (server.Cpu() - before) * 1e6 / double(came);
}

double MeasureRelay(int count, bool udp, std::chrono::seconds time)
{
    Talkers talkers(count, udp);
    const double before = talkers.Cpu();
    Play(
        count, time, [&](int who, std::uint64_t) { talkers.Say(who, 30); }, [&] { talkers.Turn(); });
    std::uint64_t came = 0;
    const double used = talkers.Cpu() - before;
    for (const auto& one : talkers.received)
        for (const auto& [who, packets] : one) came += packets;
    return used * 1e6 / double(came);
}

void MeasureCost(int speakers)
{
    constexpr int kTimes = 5;
    constexpr auto kTime = 5s;
    PinTo(1);
    std::array<std::vector<double>, 3> costs;
    for (int i = 0; i < kTimes; ++i) {
        costs[0].push_back(MeasureRelay(speakers, true, kTime));
        costs[1].push_back(MeasureRelay(speakers, false, kTime));
        costs[2].push_back(MeasureBare(speakers, kTime));
    }
    for (auto& one : costs) std::sort(one.begin(), one.end());
    const double bare = costs[2][kTimes / 2];
    std::printf("| us a packet and receiver, %d who all speak | UDP | TLS | bare sendmmsg |\n", speakers);
    std::printf("| medians of %d | %.2f: %.2fx | %.2f: %.2fx | %.2f |\n", kTimes, costs[0][kTimes / 2],
                costs[0][kTimes / 2] / bare, costs[1][kTimes / 2], costs[1][kTimes / 2] / bare, bare);
}

// --- fifty
// ---------------------------------------------------------------------------------------------------

/// Every two seconds another three are loud; all others murmur all the time.
void MeasureFifty()
{
    constexpr int kAll = 50, kLoud = 3;
    constexpr auto kTime = 32s;
    constexpr std::uint64_t kTurnFrames = 100;
    PinTo(1);
    Talkers talkers(kAll, true);
    const double before = talkers.Cpu();
    const auto first = [](std::uint64_t frame) { return int(frame / kTurnFrames * kLoud % kAll); };
    Play(
        kAll, kTime,
        [&](int who, std::uint64_t frame) {
            const bool loud = (who - first(frame) + kAll) % kAll < kLoud;
            talkers.Say(who, loud ? 20 : 45 + std::uint32_t(who) % 10);
        },
        [&] { talkers.Turn(); });
    const double used = talkers.Cpu() - before;
    std::vector<std::uint64_t> byReceiver;
    std::map<std::string, std::uint64_t> bySpeaker;
    for (const auto& one : talkers.received) {
        std::uint64_t all = 0;
        for (const auto& [who, packets] : one) {
            all += packets;
            bySpeaker[who] += packets;
        }
        byReceiver.push_back(all);
    }
    std::sort(byReceiver.begin(), byReceiver.end());
    std::vector<std::uint64_t> turns;
    for (const auto& [who, packets] : bySpeaker) turns.push_back(packets / (kAll - 1));
    std::sort(turns.begin(), turns.end());
    const double seconds = std::chrono::duration<double>(kTime).count();
    std::printf("| %d speak, all hear | %.1f %% of a core | packets a second and receiver %.1f to %.1f |\n",
                kAll, 100 * used / seconds, double(byReceiver.front()) / seconds,
                double(byReceiver.back()) / seconds);
    std::printf(
        "| heard at all | %zu of %d | packets heard of each by each: %llu to %llu, of %llu in its turn |\n",
        turns.size(), kAll, static_cast<unsigned long long>(turns.front()),
        static_cast<unsigned long long>(turns.back()), static_cast<unsigned long long>(kTurnFrames));
}

}  // namespace

int main(int argc, char** argv)
{
    StartSodium();
    const std::string what = argc >= 2 ? argv[1] : "";
    const int speakers = argc == 3 ? std::atoi(argv[2]) : 8;
    if (what == "cost" && speakers >= 2 && argc <= 3)
        MeasureCost(speakers);
    else if (what == "fifty" && argc == 2)
        MeasureFifty();
    else
        return std::fprintf(stderr, "bench_voices cost [N] | fifty\n"), 1;
    return 0;
}
