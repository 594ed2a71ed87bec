// What the companion's sound goes by: packets of strangers, the jitter buffer, mixing, clocks that differ.

#include <gtest/gtest.h>
#include <opus.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "voice/drift.h"
#include "voice/encoder.h"
#include "voice/jitter_buffer.h"
#include "voice/ring.h"
#include "voice/sound.h"

namespace voice {
namespace {

using namespace std::chrono_literals;
using Clock = JitterBuffer::Clock;
using What = JitterBuffer::Next::What;

constexpr char kOpus[] = "\x78\x01\x02";  // CELT, full band, 20 ms, one channel

TEST(VoicePacket, TakesWhatIsWholeAndNothingElse)
{
    const std::string whole = WritePacket({true, false, 7, kOpus});
    const auto read = ReadPacket(whole);
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->first && !read->last && read->lost == 7 && read->opus == kOpus);
    const struct {
        std::string bytes;
        const char* why;
    } rows[] = {
        {"", "empty"},
        {whole.substr(0, 2), "no sound"},
        {std::string("\x04", 1) + whole.substr(1), "an unknown flag"},
        {whole.substr(0, 1) + '\x65' + whole.substr(2), "101 %"},
        {std::string(2, '\0') + "\x70\x01", "10 ms"},
        {std::string(2, '\0') + "\x79\x01\x02", "twice 20 ms"},
        {whole + std::string(kMostPacketBytes, 'x'), "too long"},
    };
    for (const auto& row : rows) EXPECT_FALSE(ReadPacket(row.bytes)) << row.why;
    EXPECT_TRUE(ReadPacket(whole + std::string(kMostPacketBytes - whole.size(), 'x')));

    std::mt19937 random(20);
    for (int i = 0; i < 20'000; ++i) {
        std::string bytes(random() % (kMostPacketBytes + 20), '\0');
        for (char& byte : bytes) byte = char(random());
        if (const auto some = ReadPacket(bytes)) {
            EXPECT_LE(some->lost, 100);
            EXPECT_EQ(some->opus.size() + 2, bytes.size());
        }
    }
}

/// Packets that were spoken every 20 ms, and what is played of them.
class Line {
public:
    void Arrives(std::uint64_t frame, std::chrono::milliseconds at, bool first = false, bool last = false)
    {
        buffer.Put(frame, {first, last, 0, "opus " + std::to_string(frame)}, Clock::time_point(1h) + at);
    }
    /// Of a whole time: the frames that are played, "-" for silence, "_" for lost, "!" for restored.
    std::string Plays(std::chrono::milliseconds from, std::chrono::milliseconds until)
    {
        std::string played;
        for (auto at = from; at < until; at += 20ms) {
            const auto next = buffer.Take(Clock::time_point(1h) + at);
            played += next.what == What::Silence  ? "-"
                      : next.what == What::Packet ? next.opus.substr(5) + ' '
                      : next.opus.empty()         ? "_"
                                                  : "!";
        }
        return played;
    }
    JitterBuffer buffer;
};

TEST(JitterBuffer, PlaysInOrderAfterItsDelay)
{
    Line line;
    for (const int i : {0, 2, 1, 3, 3, 4}) line.Arrives(100 + std::uint64_t(i), i * 20ms, i == 0, i == 4);
    EXPECT_EQ(line.Plays(10ms, 210ms), "--100 101 102 103 104 ---");
    line.Arrives(
        101, 300ms);  // far too late: neither played nor a new beginning, and one is no reason to wait longer
    line.Arrives(120, 400ms, true);
    EXPECT_EQ(line.Plays(400ms, 480ms), "---120 ");
}

TEST(JitterBuffer, ConcealsLossAndEndsInSilence)
{
    Line line;
    for (const std::uint64_t i : {0, 1, 3, 6}) line.Arrives(i, i * 20ms, i == 0);
    // 2 comes with 3, 4 is guessed, 5 comes with 6; behind it nothing more comes, which is no stuck tone.
    EXPECT_EQ(line.Plays(50ms, 330ms), "0 1 !3 _!6 _____--");
    Line speech;  // whose word about silence was lost
    for (const std::uint64_t i : {0, 1, 20, 21}) speech.Arrives(i, i * 20ms, i == 0 || i == 20);
    EXPECT_EQ(speech.Plays(50ms, 110ms), "0 1 -");
}

TEST(JitterBuffer, WaitsLongerWhereThingsComeUnevenly)
{
    const struct {
        double jitterMs;
        double least, most;
    } rows[] = {{0, 60, 60}, {5, 60, 60}, {50, 60, 75}, {120, 125, 145}, {500, 200, 200}};
    for (const auto& row : rows) {
        std::mt19937 random(7);
        std::uniform_real_distribution<double> late(0, row.jitterMs);
        Line line;
        int lost = 0, count = 0;
        std::multimap<double, std::uint64_t> arrivals;
        for (std::uint64_t i = 0; i < 1500; ++i) arrivals.emplace(double(i) * 20 + late(random), i);
        auto next = arrivals.begin();
        for (double at = 0; at < 1500 * 20; at += 20) {
            for (; next != arrivals.end() && next->first <= at; ++next)
                line.Arrives(next->second, std::chrono::milliseconds(std::lround(next->first)),
                             next->second == 0);
            const std::string played = line.Plays(std::chrono::milliseconds(std::lround(at)),
                                                  std::chrono::milliseconds(std::lround(at) + 1));
            if (at < 10'000) continue;
            ++count;
            lost += played == "_" || played == "!";
        }
        SCOPED_TRACE(row.jitterMs);
        EXPECT_GE(line.buffer.DelayMs(), row.least);
        EXPECT_LE(line.buffer.DelayMs(), row.most);
        if (row.jitterMs <= 120) {
            EXPECT_LE(lost, count / 25);
        }
    }
}

TEST(JitterBuffer, CatchesUpWhenItWasNotAsked)
{
    Line line;
    for (std::uint64_t i = 0; i < 40; ++i) {
        line.Arrives(i, i * 20ms, i == 0);
        if (i < 5 || i == 25) line.Plays(i * 20ms, i * 20ms + 1ms);  // nobody plays for 400 ms
    }
    EXPECT_LT(std::abs(line.buffer.Excess(Clock::time_point(1h) + 520ms)), 130);
}

TEST(JitterBuffer, TakesUpAnotherCountAndForgetsACut)
{
    Line line;
    for (std::uint64_t i = 0; i < 10; ++i) line.Arrives(i, i * 20ms, i == 0);
    line.Plays(0ms, 3000ms);
    for (std::uint64_t i = 150; i < 153; ++i)
        line.Arrives(i, i * 20ms);  // the same count, after a cut of 3 s
    EXPECT_EQ(line.Plays(3060ms, 3120ms), "150 151 152 ");
    line.Arrives(1'000'000, 3200ms, true);  // a companion that was started anew
    EXPECT_EQ(line.Plays(3200ms, 3280ms), "---1000000 ");
    for (std::uint64_t i = 0; i < 10'000; ++i) line.Arrives(1'000'001 + i, 3300ms);  // all at once
    EXPECT_LE(line.Plays(3300ms, 23'300ms).find_last_of("0123456789"), 9u * JitterBuffer::kMostPackets);
}

TEST(Drift, HoldsTheDelayWhereClocksDiffer)
{
    for (const double apart : {-200.0, 200.0}) {
        Drift drift;
        double excess = 0, worst = 0;
        for (int packet = 0; packet < 10 * 60 * 50; ++packet) {
            const int hurry = drift.Follow(excess);
            excess += 20 * (apart - hurry) * 1e-6;
            if (packet > 60 * 50) worst = std::max(worst, std::abs(excess));
        }
        EXPECT_LT(worst, 5) << apart;  // and so never a packet left out or put in
    }
}

TEST(Sound, LevelsAndMixing)
{
    std::array<Sample, 480> loud, quiet{};
    loud.fill(32'767);
    EXPECT_EQ(LevelOf(loud), 0);
    EXPECT_EQ(LevelOf(quiet), kSilence);
    quiet.fill(33);  // a thousandth
    EXPECT_EQ(LevelOf(quiet), 60);
    std::array<std::int32_t, 480> sums{};
    std::array<Sample, 480> mixed;
    AddTo(sums, quiet, 1);
    AddTo(sums, quiet, 0.5f);
    Settle(sums, mixed);
    EXPECT_EQ(mixed[0], 33 + 17);
    for (int i = 0; i < 5; ++i) AddTo(sums, loud, 1);
    Settle(sums, mixed);
    EXPECT_GT(mixed[0], 32'000);  // neither wraps around nor is cut
    for (auto& sum : sums) sum = -sum;
    Settle(sums, mixed);
    EXPECT_LT(mixed[0], -32'000);
}

TEST(Ring, KeepsOrderAndLosesWhatDoesNotFit)
{
    const auto ring = std::make_unique<Ring>();
    std::vector<Sample> sound(1000), taken(1000);
    Sample next = 0, expected = 0;
    for (int round = 0; round < 200; ++round) {
        for (Sample& sample : sound) sample = next++;
        ASSERT_EQ(ring->Put(sound), sound.size());
        ASSERT_EQ(ring->Take(taken), taken.size());
        for (const Sample sample : taken) ASSERT_EQ(sample, expected++);
    }
    std::vector<Sample> much(Ring::kSamples + 1);
    EXPECT_EQ(ring->Put(much), Ring::kSamples);
    EXPECT_EQ(ring->Put(sound), 0u);
    EXPECT_EQ(ring->Held(), Ring::kSamples);
}

TEST(Bitrate, FollowsLoss)
{
    const int rows[][2] = {{0, 40'000}, {2, 40'000}, {6, 32'000}, {10, 24'000}, {100, 24'000}};
    for (const auto& row : rows) EXPECT_EQ(BitrateFor(row[0]), row[1]);
}

}  // namespace
}  // namespace voice
