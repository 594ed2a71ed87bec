// Which relay is tried when, and what a service may name.
#include "service/link/relay_round.h"

#include <gtest/gtest.h>

#include <set>

#include "service/wire/limits.h"

namespace zephyl::link {
namespace {

using First = RelayRound::First;

class RelayRoundTest : public testing::Test {
protected:
    std::string Go(int tries)
    {
        std::string gone;
        for (int i = 0; i < tries; ++i) {
            gone += ServiceName(round.Next());
            gone += round.Whole() ? "| " : " ";
        }
        return gone;
    }
    void Learn(std::vector<std::string> named) { round.Learn(std::move(named), random); }
    std::size_t Known()
    {
        std::set<std::string> seen;
        for (int i = 0; i < 200; ++i) seen.insert(ServiceName(round.Next()));
        return seen.size() - 1;  // but home
    }

    std::mt19937_64 random{7};
    RelayRound round{{"home", 1}};
};

TEST_F(RelayRoundTest, GoesFromWhereItWasToEachOtherAndComesBackBetween)
{
    EXPECT_EQ(Go(3), "home:1| home:1| home:1| ");  // alone
    Learn({"b:2"});
    Learn({"b:2", "c:3"});
    const bool bFirst = Go(2).find('b') != std::string::npos;
    const std::string one = bFirst ? "b:2" : "c:3", two = bFirst ? "c:3" : "b:2";
    round.Begin(First::Here);
    EXPECT_EQ(Go(5), "home:1 " + one + " home:1 " + two + "| home:1 ");
    round.At({"b", 2});
    round.Begin(First::Elsewhere);  // home comes before those that were named
    EXPECT_EQ(Go(4), "home:1 b:2 c:3 b:2| ");
    EXPECT_EQ(round.Elsewhere(), "b:2");
    round.Forget({"B", 2});  // a stranger is there now
    EXPECT_EQ(round.Elsewhere(), "");
    round.Begin(First::Here);
    EXPECT_EQ(Go(3), "home:1 c:3| home:1 ");
    round.Forget({"home", 1});
    EXPECT_EQ(Go(1), "c:3| ");
    EXPECT_TRUE(round.IsHome({"HOME", 1}));
}

TEST_F(RelayRoundTest, KnowsWhichOfThemIsNamed)
{
    Learn({"b:2", "c:3", "e"});
    round.At({"b", 2});
    for (const char* other : {"C:3", "home:1", "e"}) EXPECT_TRUE(round.Other(other)) << other;
    EXPECT_TRUE(round.Other("e:" + std::to_string(kDefaultPort)));
    for (const char* none : {"b:2", "d:4", "c:3:3", ""}) EXPECT_FALSE(round.Other(none)) << none;
}

TEST_F(RelayRoundTest, TakesOnlySoMuchOfWhatItIsTold)
{
    std::vector<std::string> many;
    for (int i = 0; i < 1000; ++i) many.push_back("r" + std::to_string(i));
    const struct {
        const char* what;
        std::vector<std::string> named;
        std::size_t known;
    } rows[] = {
        {"nobody", {}, 0},
        {"itself, in other spellings", {"home:1", "HOME:1", " home:1 "}, 0},
        {"one in several spellings", {"[::1]:5", "[0:0::1]:5", "A:7420", "a"}, 2},
        {"no addresses",
         {"", " ", ":", "a:0", "a:65536", "a:b:", "[::1", "a b:1", "a/b:1", "a:1\r\nX: y"},
         0},
        {"what would be something else elsewhere", {"a\x1b[31m:1", "a@b:1", "a%b:1", "\xc3\xa9:1"}, 0},
        {"the longest name", {std::string(kRelayAddressBytes - 2, 'x') + ":1"}, 1},
        {"a longer one", {std::string(kRelayAddressBytes - 1, 'x') + ":1"}, 0},
        {"far too many", many, kRelaysNamed},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        round = RelayRound({"home", 1});
        Learn(row.named);
        EXPECT_EQ(Known(), row.known);
        EXPECT_EQ(round.Alone(), row.known == 0);
    }
    // The newest go before those of earlier, which stay while there is room.
    Learn({"new:1"});
    EXPECT_EQ(Known(), kRelaysNamed);
    round.Begin(First::Elsewhere);
    EXPECT_EQ(Go(1), "new:1 ");
    Learn({});
    EXPECT_EQ(Known(), kRelaysNamed);
}

/// Who lose a relay at the same moment do not all go to the same one.
TEST_F(RelayRoundTest, EachHasAnOrderOfItsOwn)
{
    std::set<std::string> firsts;
    for (int i = 0; i < 50; ++i) {
        round = RelayRound({"home", 1});
        Learn({"a", "b", "c"});
        round.Begin(First::Elsewhere);
        firsts.insert(Go(1));
    }
    EXPECT_EQ(firsts.size(), 3u);
}

}  // namespace
}  // namespace zephyl::link
