// When the leader of a stream is asked to leave that to another server.

#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <string>
#include <vector>

#include "service/relay/cluster/handing_over.h"

namespace zephyl::jetstream {
namespace {

using namespace std::chrono_literals;

/// As a server answers: who leads, and for how long it has not heard each of the others.
StreamFacts Facts(const std::string& leader,
                  std::vector<std::pair<std::string, std::chrono::milliseconds>> others)
{
    std::string replicas;
    for (const auto& [name, silent] : others)
        replicas += (replicas.empty() ? "" : ",") + std::string(R"({"name":")") + name +
                    R"(","current":true,"active":)" +
                    std::to_string(std::chrono::nanoseconds(silent).count()) + "}";
    return *StreamIn(json::parse(R"({"config":{"num_replicas":3},"state":{"messages":1},"cluster":{)" +
                                 (leader.empty() ? "" : R"("leader":")" + leader + "\",") +
                                 R"("replicas":[)" + replicas + "]}}"));
}

struct Looks : testing::Test {
    /// A second later than the one before.
    bool MayHelp(const StreamFacts& facts) { return handing.MayHelp(facts, now += 1s); }
    int HowOften(const StreamFacts& facts, int looks)
    {
        int often = 0;
        for (int i = 0; i < looks; ++i) often += MayHelp(facts);
        return often;
    }
    HandingOver handing;
    HandingOver::Clock::time_point now{1h};
    const StreamFacts well = Facts("a", {{"b", 900ms}, {"c", 1200ms}});
    const StreamFacts cut = Facts("a", {{"b", 2600ms}, {"c", 400ms}});
    const StreamFacts nobodyLeads = Facts("", {{"a", 9s}, {"b", 9s}, {"c", 9s}});
};

TEST_F(Looks, ALeaderIsAskedThatDoesNotHearOneOfTheOthers)
{
    EXPECT_EQ(HowOften(well, 10), 0);
    EXPECT_TRUE(MayHelp(cut));
    EXPECT_EQ(handing.IsTime(cut, now), HandingOver::Now::Wait);
    EXPECT_EQ(handing.IsTime(Facts("a", {{"b", 3100ms}, {"c", 400ms}}), now), HandingOver::Now::Ask);
    EXPECT_EQ(handing.IsTime(well, now), HandingOver::Now::No);
    EXPECT_EQ(handing.IsTime(nobodyLeads, now), HandingOver::Now::No);
    const StreamFacts done = Facts("c", {{"a", 100ms}, {"b", 3200ms}});
    EXPECT_EQ(handing.IsTime(done, now), HandingOver::Now::No) << "by another relay";
    handing.IsAsked(now);
    EXPECT_EQ(handing.IsTime(Facts("a", {{"b", 3100ms}, {"c", 400ms}}), now), HandingOver::Now::No);
    EXPECT_EQ(HowOften(cut, 2), 0) << "it is choosing";
    EXPECT_TRUE(MayHelp(cut)) << "it was chosen again";
    EXPECT_EQ(HowOften(Facts("a", {{"b", 6s}, {"c", 6s}}), 10), 0) << "nobody else could lead";
    EXPECT_EQ(HowOften(nobodyLeads, 10), 0);
}

TEST_F(Looks, OneThatHasJustBegunHasTimeToHearEverybody)
{
    HowOften(well, 5);
    const StreamFacts begins = Facts("c", {{"a", 400'000s}, {"b", 400'000s}});
    EXPECT_EQ(HowOften(begins, 1), 0);
    EXPECT_EQ(HowOften(Facts("c", {{"a", 100ms}, {"b", 400'000s}}), 1), 0);
    EXPECT_EQ(HowOften(Facts("c", {{"a", 100ms}, {"b", 100ms}}), 10), 0);
}

TEST_F(Looks, OneOfTwoThatBelieveToLeadIsEnough)
{
    HowOften(well, 5);
    const StreamFacts other = Facts("b", {{"a", 4s}, {"c", 300ms}});
    int often = 0;
    for (int i = 0; i < 3; ++i) often += MayHelp(other) + MayHelp(cut);
    EXPECT_EQ(often, 2) << "at once, and four seconds later";
}

TEST_F(Looks, NobodyIsAskedInVainForAsLongAsThatLasts)
{
    HowOften(well, 5);
    ASSERT_TRUE(MayHelp(cut));
    EXPECT_EQ(HowOften(Facts("c", {{"a", 100ms}, {"b", 9s}}), 20), 0)
        << "the next one does not hear it either";
    EXPECT_EQ(HowOften(cut, 20), 0);
    EXPECT_EQ(HowOften(well, 5), 0);
    ASSERT_TRUE(MayHelp(cut)) << "it was heard meanwhile";
    handing.IsOfNoUse();
    EXPECT_EQ(HowOften(cut, 20), 0);
    EXPECT_EQ(HowOften(well, 1), 0);
    handing.IsTried(now);
    EXPECT_EQ(HowOften(cut, 2), 0) << "another relay does";
}

}  // namespace
}  // namespace zephyl::jetstream
