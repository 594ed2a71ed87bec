// The other end of a connection's datagrams has the keys and says what it likes, and somebody on the road
// doubles, damages, delays and mixes up what it says. Nothing that was damaged or was here before counts, and
// nothing makes this end send more than it may.

#include <sodium.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <optional>
#include <set>
#include <string>

#include "input.h"
#include "service/net/datagram_road.h"

using namespace zephyl;

namespace {

constexpr std::size_t kMostOperations = 200;
constexpr std::size_t kMostKept = 64;

struct Play {
    explicit Play(DatagramRoad::Begins begins)
    {
        DatagramKeys keys;
        keys.id = 7;
        keys.send.fill(1);
        keys.receive.fill(2);
        road.emplace(keys, begins, now);
        theirs.emplace(keys.id, keys.receive);
    }

    /// What it says, sealed as it should be.
    void Seal(std::string_view plain)
    {
        DatagramBatch batch;
        if (!theirs->Seal(batch, plain.substr(0, 1), plain.substr(std::min<std::size_t>(1, plain.size()))))
            return;
        Keep(batch);
    }
    void Keep(const DatagramBatch& batch)
    {
        std::size_t at = 0;
        for (const std::uint16_t size : batch.sizes) {
            kept.push_back(batch.bytes.substr(at, size));
            at += size;
        }
        while (kept.size() > kMostKept) kept.pop_front();
    }

    void Arrive(const std::string& datagram)
    {
        const bool fresh = seen.insert(datagram).second;
        DatagramBatch out;
        const auto arrived = road->Take(datagram, now, out);
        Need(fresh || !arrived.authentic);
        Need(arrived.authentic || (out.Empty() && !arrived.frame && !arrived.newest));
        Need(!arrived.frame || arrived.frame->size() <= kDatagramFrameBytes);
        Sent(out);
        Need(out.bytes.size() <= 4 * kDatagramBytes);
    }

    void Sent(const DatagramBatch& out)
    {
        std::size_t all = 0;
        for (const std::uint16_t size : out.sizes) {
            Need(size > 0 && size <= kDatagramBytes);
            all += size;
        }
        Need(all == out.bytes.size());
    }

    void Operation(Input& input)
    {
        const unsigned what = input.Byte();
        DatagramBatch out;
        switch (what % 8) {
            case 0: Seal(input.Text()); break;
            case 1: {  // of the form that words and parts have
                std::string plain(1, char(1 + (what >> 3) % 5));
                for (int field = 0; field < 4; ++field) {
                    char number[8];
                    PutBigEndian(number, input.Byte() | (std::uint64_t((what >> 6) == 3) << 63), 8);
                    plain.append(number, 8);
                    if (field == 0) plain += char(input.Byte());
                }
                Seal(plain + std::string(input.Text()));
                break;
            }
            case 2:
            case 3:
                if (!kept.empty()) Arrive(kept[input.Byte() % kept.size()]);
                break;
            case 4:
                if (!kept.empty()) {
                    std::string damaged = kept[input.Byte() % kept.size()];
                    const std::size_t at = input.Byte() * 5 % damaged.size();
                    damaged[at] = char(damaged[at] ^ (1 << input.Byte() % 8));
                    if (at >= 8) {  // whose it is has been looked at
                        DatagramBatch answer;
                        Need(!road->Take(damaged, now, answer).authentic && answer.Empty());
                    }
                }
                break;
            case 5: now += std::chrono::milliseconds(input.Byte() * 20); break;
            case 6:
                Need(road->Tick(now, out) >= now);
                Sent(out);
                break;
            default: {
                const std::string frame(input.Byte() * 256 + 1, 'f');
                if (road->Takes(frame.size()) && road->Free(now) <= now) road->Put(frame, now, out);
                Sent(out);
                break;
            }
        }
        const RoadFigures figures = road->Figures();
        Need(figures.lost <= figures.sent);
    }

    DatagramRoad::Clock::time_point now{std::chrono::hours(1)};
    std::optional<DatagramRoad> road;
    std::optional<DatagramSealer> theirs;
    std::deque<std::string> kept;
    std::set<std::string> seen;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    return ::sodium_init() < 0 ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(std::string_view(reinterpret_cast<const char*>(data), size));
    Play play(input.Byte() & 1 ? DatagramRoad::Begins::Here : DatagramRoad::Begins::There);
    for (std::size_t i = 0; i < kMostOperations && !input.Empty(); ++i) play.Operation(input);
    return 0;
}
