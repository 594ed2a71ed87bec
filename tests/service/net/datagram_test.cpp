// Sealed datagrams, and live frames in parts.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "service/net/live_parts.h"
#include "service/net/spare_parts.h"

namespace zephyl {
namespace {

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();

DatagramKey KeyOf(unsigned char seed)
{
    DatagramKey key;
    key.fill(seed);
    return key;
}

std::string Sealed(DatagramSealer& sealer, const std::string& said)
{
    DatagramBatch batch;
    return sealer.Seal(batch, said.substr(0, 1), said.substr(1)) ? batch.bytes : std::string();
}
/// With this counter.
std::string SealedAs(std::uint64_t counter, const std::string& said = "x")
{
    DatagramSealer sealer(5, KeyOf(1), counter - 1);
    return Sealed(sealer, said);
}
bool Opens(DatagramOpener& opener, const std::string& datagram, const std::string& said = "x")
{
    DatagramOpener::Plain memory;
    return opener.Open(datagram, memory) == said;
}

TEST(Datagram, IsTakenOnceAndOnlyAsItWasSealed)
{
    const std::string said(kDatagramPlainBytes, 'q');
    const std::string whole = SealedAs(7, said);
    ASSERT_EQ(whole.size(), kDatagramBytes);
    DatagramOpener opener(KeyOf(1));
    for (std::size_t at = 0; at < whole.size(); ++at) {  // id, counter, what it says, tag
        std::string flipped = whole;
        flipped[at] = char(flipped[at] ^ 1);
        EXPECT_FALSE(Opens(opener, flipped, said)) << at;
        EXPECT_FALSE(Opens(opener, whole.substr(0, at), said)) << at;
    }
    EXPECT_FALSE(Opens(opener, whole + 'x', said));
    DatagramOpener stranger(KeyOf(2));
    EXPECT_FALSE(Opens(stranger, whole, said));
    EXPECT_TRUE(Opens(opener, whole, said));
    EXPECT_FALSE(Opens(opener, whole, said));
    EXPECT_EQ(opener.Highest(), 7u);  // whatever was forged in between
}

TEST(Datagram, CountersAreTakenOnceInAnyOrderWithinTheWindow)
{
    const struct {
        std::uint64_t counter;
        bool taken;
    } rows[] = {
        {0, false},  // none has it
        {1, true},
        {1, false},
        {3, true},
        {2, true},
        {2, false},
        {2000, true},
        {2000 - 1023, true},   // the last one inside,
        {2000 - 1024, false},  // and the first one outside
        {1999, true},
        {2000, false},
        {2000 + 1024, true},
        {2001, true},  // nothing of an earlier round counts for it
        {2000, false},
        {kMax - 1, true},
        {kMax, true},
        {kMax, false},
        {kMax - 1, false},
        {kMax - 1023, true},
        {kMax - 1024, false},
        {1, false},
    };
    DatagramOpener opener(KeyOf(1));
    for (const auto& row : rows) EXPECT_EQ(Opens(opener, SealedAs(row.counter)), row.taken) << row.counter;
}

TEST(Datagram, NoCounterIsUsedTwice)
{
    DatagramSealer sealer(5, KeyOf(1), kMax - 1);
    DatagramOpener opener(KeyOf(1));
    EXPECT_TRUE(Opens(opener, Sealed(sealer, "x")));
    for (int again = 0; again < 3; ++again) EXPECT_EQ(Sealed(sealer, "x"), "");
    EXPECT_EQ(sealer.Sent(), kMax);
}

// --- parts -------------------------------------------------------------------------------------------

std::string Part(const PartHead& head, std::size_t bytes)
{
    std::string part(PartHead::kBytes, '\0');
    head.Write(part.data());
    for (std::size_t i = 0; i < bytes; ++i) part += char('a' + (head.part + i) % 26);
    return part;
}
std::vector<std::string> PartsOfFrame(std::uint64_t frame, std::size_t total)
{
    std::vector<std::string> parts;
    const auto count = std::uint16_t(PartsOf(total));
    for (std::uint16_t i = 0; i < count; ++i)
        parts.push_back(
            Part({frame, i, count, std::uint32_t(total)}, std::min(kPartBytes, total - i * kPartBytes)));
    return parts;
}

TEST(LiveParts, FramesAreWholeInAnyOrderAndOnce)
{
    std::mt19937 random(3);
    PartGatherer gatherer;
    std::uint64_t number = 0;
    for (const std::size_t total : {std::size_t(1), kPartBytes, kPartBytes + 1, kDatagramFrameBytes}) {
        std::vector<std::string> parts = PartsOfFrame(++number, total);
        std::string joined;
        for (const std::string& part : parts) joined += part.substr(PartHead::kBytes);
        std::shuffle(parts.begin(), parts.end(), random);
        for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
            EXPECT_FALSE(gatherer.Take(parts[i]));
            EXPECT_FALSE(gatherer.Take(parts[i]));
        }
        EXPECT_EQ(gatherer.Take(parts.back()), joined);
        for (const std::string& part : parts) EXPECT_FALSE(gatherer.Take(part)) << "again";
        EXPECT_EQ(gatherer.HeldBytes(), 0u);
    }
}

TEST(LiveParts, SparesStandInForAnyThatAreLost)
{
    std::mt19937 random(4);
    for (const std::size_t total : {std::size_t(10), kPartBytes * 3 + 7, kDatagramFrameBytes}) {
        std::string frame(total, '\0');
        for (char& one : frame) one = char(random());
        const auto count = std::uint16_t(PartsOf(total));
        for (std::uint64_t number = 1; number <= 30; ++number) {
            std::vector<std::pair<PartGatherer::What, std::string>> all;
            const std::size_t spares = std::min<std::size_t>(number, kMostSpares);
            for (std::uint16_t i = 0; i < count + spares; ++i) {
                std::string part(PartHead::kBytes, '\0');
                PartHead{number, i, count, std::uint32_t(total)}.Write(part.data());
                part += i < count ? frame.substr(i * kPartBytes, kPartBytes) : SparePart(frame, i - count);
                all.emplace_back(i < count ? PartGatherer::What::Part : PartGatherer::What::Spare, part);
            }
            std::shuffle(all.begin(), all.end(), random);
            PartGatherer gatherer;
            for (std::size_t i = 0; i < all.size(); ++i) {  // any `count` of them are enough
                const auto whole = gatherer.Take(all[i].second, all[i].first);
                ASSERT_EQ(whole.has_value(), i + 1 == count) << total << ' ' << number << ' ' << i;
                if (!whole) continue;
                EXPECT_EQ(*whole, frame);
            }
        }
    }
}

TEST(LiveParts, WhatContradictsItselfIsDropped)
{
    const std::size_t two = kPartBytes + 10;
    const struct {
        const char* what;
        PartHead head;
        std::size_t bytes;
    } rows[] = {
        {"no parts", {9, 0, 0, 10}, 10},
        {"nothing", {9, 0, 1, 0}, 0},
        {"a part behind the last", {9, 2, 2, std::uint32_t(two)}, 10},
        {"more parts than that takes", {9, 0, 3, std::uint32_t(two)}, kPartBytes},
        {"fewer", {9, 0, 1, std::uint32_t(two)}, kPartBytes},
        {"a short part in front", {9, 0, 2, std::uint32_t(two)}, kPartBytes - 1},
        {"a long last part", {9, 1, 2, std::uint32_t(two)}, 11},
        {"no number", {0, 0, 1, 10}, 10},
        {"too large",
         {9, 0, std::uint16_t(PartsOf(kDatagramFrameBytes + 1)), std::uint32_t(kDatagramFrameBytes + 1)},
         kPartBytes},
        {"as large as can be said", {9, 0, 65'535, 0xffff'ffffu}, kPartBytes},
    };
    PartGatherer gatherer;
    for (const auto& row : rows) {
        EXPECT_FALSE(gatherer.Take(Part(row.head, row.bytes))) << row.what;
        EXPECT_EQ(gatherer.HeldBytes(), 0u) << row.what;
    }
    const PartHead spares[] = {{9, 0, 1, 10}, {9, std::uint16_t(1 + kMostSpares), 1, 10}, {9, 65'535, 1, 10}};
    for (const PartHead& head : spares)
        EXPECT_FALSE(gatherer.Take(Part(head, kPartBytes), PartGatherer::What::Spare));
    EXPECT_FALSE(gatherer.Take(Part({9, 1, 1, 10}, 10), PartGatherer::What::Spare));
    for (std::size_t cut = 0; cut < PartHead::kBytes; ++cut)
        EXPECT_FALSE(gatherer.Take(std::string(cut, '\1')));
    EXPECT_FALSE(gatherer.Take(PartsOfFrame(9, two)[0]));
    EXPECT_FALSE(gatherer.Take(Part({9, 1, 2, std::uint32_t(two + 1)}, 11)));  // another total than before
    EXPECT_TRUE(gatherer.Take(PartsOfFrame(9, two)[1]));
}

TEST(LiveParts, FramesThatNeverBecomeWholeMakeRoom)
{
    PartGatherer gatherer;
    for (std::uint64_t frame = 1; frame < 100; ++frame) {
        gatherer.Take(PartsOfFrame(frame, frame % 2 ? kDatagramFrameBytes : 2 * kPartBytes)[0]);
        EXPECT_LE(gatherer.HeldBytes(), PartGatherer::kMostBytes);
    }
    const auto late = PartsOfFrame(50, 2 * kPartBytes), newest = PartsOfFrame(98, 2 * kPartBytes);
    EXPECT_TRUE(gatherer.Take(newest[1]));
    EXPECT_FALSE(gatherer.Take(late[1]));
}

}  // namespace
}  // namespace zephyl
