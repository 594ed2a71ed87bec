// When the leader of a stream is asked to leave that to another server.

#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <string>
#include <vector>

#include "service/cluster/pair.h"
#include "service/relay/cluster/handing_over.h"

namespace zephyl {
namespace jetstream {
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
    EXPECT_EQ(HowOften(well, 12), 0);
    EXPECT_TRUE(MayHelp(cut));
    EXPECT_FALSE(handing.IsTime(cut, now));
    EXPECT_TRUE(handing.IsTime(Facts("a", {{"b", 3100ms}, {"c", 400ms}}), now));
    EXPECT_FALSE(handing.IsTime(well, now));
    EXPECT_FALSE(handing.IsTime(nobodyLeads, now));
    const StreamFacts done = Facts("c", {{"a", 100ms}, {"b", 3200ms}});
    EXPECT_FALSE(handing.IsTime(done, now)) << "by another relay";
    handing.IsAsked(now);
    EXPECT_FALSE(handing.IsTime(Facts("a", {{"b", 3100ms}, {"c", 400ms}}), now));
    EXPECT_EQ(HowOften(cut, 2), 0) << "it is choosing";
    EXPECT_TRUE(MayHelp(cut)) << "it was chosen again";
    EXPECT_EQ(HowOften(Facts("a", {{"b", 6s}, {"c", 6s}}), 10), 0) << "nobody else could lead";
    EXPECT_EQ(HowOften(nobodyLeads, 10), 0);
}

TEST_F(Looks, NobodyIsToLeadWhoHasNotEverything)
{
    HowOften(well, 5);
    EXPECT_EQ(HowOften(cut, 10), 0) << "all have just been started";
    HowOften(well, 12);
    StreamFacts behind = cut;
    behind.away = "b c";
    EXPECT_EQ(HowOften(behind, 10), 0);
    behind.away = "c";
    EXPECT_EQ(HowOften(behind, 10), 0);
    behind.away = "b";
    EXPECT_TRUE(MayHelp(behind));
}

TEST_F(Looks, OneThatHasJustBegunHasTimeToHearEverybody)
{
    HowOften(well, 12);
    const StreamFacts begins = Facts("c", {{"a", 400'000s}, {"b", 400'000s}});
    EXPECT_EQ(HowOften(begins, 1), 0);
    EXPECT_EQ(HowOften(Facts("c", {{"a", 100ms}, {"b", 400'000s}}), 1), 0);
    EXPECT_EQ(HowOften(Facts("c", {{"a", 100ms}, {"b", 100ms}}), 10), 0);
}

TEST_F(Looks, OneOfTwoThatBelieveToLeadIsEnough)
{
    HowOften(well, 12);
    const StreamFacts other = Facts("b", {{"a", 4s}, {"c", 300ms}});
    int often = 0;
    for (int i = 0; i < 3; ++i) often += MayHelp(other) + MayHelp(cut);
    EXPECT_EQ(often, 2) << "at once, and four seconds later";
}

TEST_F(Looks, NobodyIsAskedInVainForAsLongAsThatLasts)
{
    HowOften(well, 12);
    ASSERT_TRUE(MayHelp(cut));
    EXPECT_EQ(HowOften(Facts("c", {{"a", 100ms}, {"b", 9s}}), 20), 0)
        << "the next one does not hear it either";
    EXPECT_EQ(HowOften(cut, 20), 0);
    EXPECT_EQ(HowOften(well, 12), 0);
    ASSERT_TRUE(MayHelp(cut)) << "it was heard meanwhile";
    handing.IsOfNoUse();
    EXPECT_EQ(HowOften(cut, 20), 0);
    EXPECT_EQ(HowOften(well, 12), 0);
    handing.IsTried(now);
    EXPECT_EQ(HowOften(cut, 2), 0) << "another relay does";
}

}  // namespace
}  // namespace jetstream

namespace {

/// To servers whose leader of the logs does not hear another one, as it says from a moment on.
class Deaf final : public ThroughNats {
public:
    struct All {
        std::mutex mutex;
        std::condition_variable news;
        std::optional<std::chrono::steady_clock::time_point> since;
        int asked = 0, refused = 0, looks = 0;

        void Begin()
        {
            const std::lock_guard lock(mutex);
            since = std::chrono::steady_clock::now();
        }
        void WaitForLooks(int more)
        {
            std::unique_lock lock(mutex);
            news.wait(lock, [&, until = looks + more] { return looks >= until; });
        }
        void WaitFor(int All::*count, int many)
        {
            std::unique_lock lock(mutex);
            news.wait(lock, [&] { return this->*count >= many; });
        }
    };
    Deaf(All& all, const NatsServer& server, Take take, Ended ended)
        : ThroughNats(server, std::move(take), std::move(ended)), mAll(all)
    {
    }
    static NatsLine::Open Open(All& all)
    {
        return [&all](const NatsServer& server, Take take, Ended ended) {
            try {
                return std::make_unique<Deaf>(all, server, std::move(take), std::move(ended));
            } catch (const NatsAway&) {
                const std::lock_guard lock(all.mutex);
                ++all.refused;
                all.news.notify_all();
                throw;
            }
        };
    }
    void Send(const std::string& subject, const std::string& answerTo, const NatsHeaders& headers,
              std::string_view bytes) override
    {
        const std::lock_guard lock(mAll.mutex);
        const std::string stream = kLogStream;
        const bool look = subject == "$JS.API.STREAM.INFO." + stream;
        mAll.looks += look;
        mAll.news.notify_all();
        if (look && mAll.since)
            return mWire->Send(
                answerTo, {}, {},
                R"({"config":{},"state":{},"cluster":{"leader":"n0","replicas":[)"
                R"({"name":"n1","current":true,"active":1000},{"name":"n2","current":true,"active":)" +
                    std::to_string((std::chrono::steady_clock::now() - *mAll.since).count()) + "}]}}");
        if (subject == "$JS.API.STREAM.LEADER.STEPDOWN." + stream) {
            ++mAll.asked;
            mAll.since.reset();
            mAll.news.notify_all();
        }
        mWire->Send(subject, answerTo, headers, bytes);
    }

private:
    All& mAll;
};

TEST(NatsEngine, AsksALeaderOnceToHandOverToAnotherServerAndNotWhenOneIsAwayForAll)
{
    QUORVIA_NEEDS_NATS();
    Deaf::All all;
    InNats pair(3, 0, Deaf::Open(all));
    WaitForCopies(*pair.one);
    all.WaitForLooks(70);  // all is well for a while
    all.Begin();
    all.WaitFor(&Deaf::All::asked, 1);
    WaitForCopies(*pair.other);  // led by whomever was chosen
    EXPECT_EQ(all.asked, 1);

    all.WaitForLooks(70);
    pair.nats.Kill(2);
    all.Begin();
    all.WaitFor(&Deaf::All::refused, 2);
    WaitFor(*pair.one, true);
    all.WaitForLooks(30);  // by then they would have asked
    EXPECT_EQ(all.asked, 1);
}

}  // namespace
}  // namespace zephyl
