// Two ends of a road and the weather between them, on a clock that the test turns.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>

#include "service/net/datagram_road.h"

namespace zephyl {
namespace {

using namespace std::chrono_literals;
using Clock = DatagramRoad::Clock;

DatagramKeys Keys(bool client)
{
    DatagramKeys keys;
    keys.id = 77;
    keys.send.fill(client ? 1 : 2);
    keys.receive.fill(client ? 2 : 1);
    return keys;
}

class RoadTest : public testing::Test {
protected:
    enum End { kClient, kService };

    /// Steps of 5 ms: what is due is sent, and what is on the way arrives.
    void Pass(Clock::duration time)
    {
        for (const auto until = mNow + time; mNow < until; mNow += 5ms) {
            for (const End end : {kClient, kService}) Tick(end);
            if (each) each();
            while (!mFlying.empty() && mFlying.begin()->first <= mNow) {
                const auto [to, datagram] = mFlying.begin()->second;
                mFlying.erase(mFlying.begin());
                Arrive(to, datagram);
            }
        }
    }
    /// Offers a frame; true: it was put.
    bool Film(End from, std::size_t bytes)
    {
        if (!roads[from].Takes(bytes) || roads[from].Free(mNow) > mNow) return false;
        DatagramBatch out;
        roads[from].Put(std::string(bytes, 'f'), mNow, out);
        Fly(from, out);
        ++filmed;
        return true;
    }
    /// So many frames a second, for as long.
    void Film(End from, std::size_t bytes, int eachSecond, Clock::duration time)
    {
        const auto pause = 1'000'000us / eachSecond;
        auto next = mNow;
        each = [&, from, bytes] {
            for (; next <= mNow; next += pause) Film(from, bytes);
        };
        Pass(time);
        each = nullptr;
    }
    bool Goes(End end) { return roads[end].Takes(1); }

    DatagramRoad roads[2] = {{Keys(true), DatagramRoad::Begins::Here, Clock::time_point()},
                             {Keys(false), DatagramRoad::Begins::There, Clock::time_point()}};
    double lost = 0;
    std::size_t most = kDatagramBytes;
    std::optional<double> capacity;  // bytes a second of each way; none: any
    int filmed = 0, whole = 0, flown = 0;
    std::function<void()> each;

private:
    void Tick(End end)
    {
        DatagramBatch out;
        roads[end].Tick(mNow, out);
        Fly(end, out);
    }
    void Fly(End from, const DatagramBatch& out)
    {
        std::size_t at = 0;
        for (const std::uint16_t size : out.sizes) {
            ++flown;
            const std::string datagram = out.bytes.substr(at, size);
            at += size;
            auto& busy = mBusy[from];
            busy = std::max(busy, mNow);
            const auto queued = std::chrono::duration<double>(capacity ? size / *capacity : 0);
            const bool full = busy - mNow > 200ms;
            if (size > most || full || std::bernoulli_distribution(lost)(mRandom)) continue;
            busy += std::chrono::duration_cast<Clock::duration>(queued);
            mFlying.emplace(busy + 20ms, std::pair(from == kClient ? kService : kClient, datagram));
        }
    }
    void Arrive(End at, const std::string& datagram)
    {
        DatagramBatch out;
        const auto arrived = roads[at].Take(datagram, mNow, out);
        EXPECT_TRUE(arrived.authentic);
        whole += arrived.frame.has_value();
        Fly(at, out);
    }

    Clock::time_point mNow{};
    Clock::time_point mBusy[2];
    std::multimap<Clock::time_point, std::pair<End, std::string>> mFlying;
    std::mt19937 mRandom{11};
};

TEST_F(RoadTest, IsOpenWhenAProbeWasAnsweredAndNotBefore)
{
    EXPECT_FALSE(Goes(kClient));
    DatagramBatch nothing;
    roads[kService].Tick(Clock::time_point(), nothing);
    EXPECT_TRUE(nothing.Empty());  // it has nowhere to send to
    Pass(150ms);
    EXPECT_TRUE(Goes(kClient) && Goes(kService));
    EXPECT_TRUE(roads[kClient].Figures().comes && roads[kService].Figures().comes);
    EXPECT_FALSE(roads[kClient].Takes(kDatagramPictureBytes + 1));
    EXPECT_TRUE(roads[kClient].Takes(kDatagramPictureBytes));
    for (const End end : {kClient, kService}) EXPECT_TRUE(Film(end, kDatagramPictureBytes));
    Pass(100ms);
    EXPECT_EQ(whole, 2);
}

TEST_F(RoadTest, ClosesSoonAfterNothingPassesAndOpensAgainByItself)
{
    for (const bool filming : {true, false}) {
        SCOPED_TRACE(filming);
        lost = 0;
        Pass(11s);
        ASSERT_TRUE(Goes(kClient) && Goes(kService));
        lost = 1;
        if (filming)
            Film(kClient, 5000, 15, 4s);
        else
            Pass(8s);
        EXPECT_FALSE(Goes(kClient));
        EXPECT_EQ(Goes(kService), filming);  // who sends nothing learns of it by probes, at their pace
        Pass(8s);
        EXPECT_FALSE(Goes(kService));
    }
    flown = 0;
    Pass(60s);
    EXPECT_LT(flown, 30);  // it goes on asking, quietly
}

TEST_F(RoadTest, ARoadThatIsTooNarrowForAWholeDatagramIsNone)
{
    most = kDatagramBytes - 1;
    Pass(20s);
    EXPECT_FALSE(Goes(kClient) || Goes(kService));
}

TEST_F(RoadTest, StaysOpenInBadWeather)
{
    lost = 0.2;
    Pass(5s);
    Film(kClient, 1000, 15, 20s);
    EXPECT_GT(filmed, 290);
    whole = filmed = 0;
    Film(kClient, 8000, 5, 20s);  // by now it knows what is lost
    EXPECT_GT(filmed, 95);
    EXPECT_GT(whole, filmed * 9 / 10);
}

TEST_F(RoadTest, SlowsDownWhereTooMuchIsLostAndGrowsSlowly)
{
    Pass(1s);
    capacity = 250'000;
    Film(kService, 20'000, 30, 10s);  // 600,000 bytes a second
    const int before = filmed, wholeBefore = whole;
    Film(kService, 20'000, 30, 20s);
    const double rate = 20'000.0 * (filmed - before) / 20;
    EXPECT_LT(rate, 350'000);
    EXPECT_GT(20'000.0 * (whole - wholeBefore) / 20, 100'000);
    capacity.reset();
    Film(kService, 20'000, 30, 2s);
    const int slow = filmed;
    Film(kService, 20'000, 30, 2s);
    EXPECT_LT(filmed - slow, 60);  // not at once
    Film(kService, 20'000, 30, 30s);
    const int later = filmed;
    Film(kService, 20'000, 30, 2s);
    EXPECT_GE(filmed - later, 58);
}

TEST_F(RoadTest, HasNoMoreOnTheWayThanIsAnswered)
{
    Pass(1s);
    lost = 1;
    int put = 0;
    while (Film(kService, 20'000)) ++put;
    EXPECT_LE(put, 4);
    EXPECT_GE(put, 3);
}

/// Reports that cannot be: of more than was sent, or fewer than before.
TEST_F(RoadTest, BelievesNoFigureThatCannotBe)
{
    Pass(1s);
    DatagramSealer forger(77, Keys(true).send, 1000);
    const auto report = [&](std::uint64_t highest, std::uint64_t datagrams) {
        std::string word(34, '\0');
        word[0] = 4;
        PutBigEndian(word.data() + 10, highest, 8);
        PutBigEndian(word.data() + 18, datagrams, 8);
        PutBigEndian(word.data() + 26, ~0ull, 8);
        DatagramBatch made, out;
        forger.Seal(made, word, {});
        EXPECT_TRUE(roads[kService].Take(made.bytes, Clock::time_point(1s), out).authentic);
        EXPECT_TRUE(out.Empty());
    };
    const RoadFigures before = roads[kService].Figures();
    report(before.sent + 100, 1);
    report(~0ull, ~0ull);
    report(before.sent, before.sent + 1);
    report(0, 0);
    EXPECT_EQ(roads[kService].Figures().sent, before.sent);
    EXPECT_EQ(roads[kService].Figures().lost, before.lost);
}

}  // namespace
}  // namespace zephyl
