// Runs the model of the message path against thousands of random misfortunes. QUORVIA_MODEL_SEEDS=1000000
// runs more of them, QUORVIA_MODEL_FIRST=S begins elsewhere.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "model/world.h"

namespace model {
namespace {

std::uint64_t FromEnvironment(const char* name, std::uint64_t otherwise)
{
    const char* const value = std::getenv(name);
    return value ? std::strtoull(value, nullptr, 10) : otherwise;
}

std::string Report(std::uint64_t seed)
{
    const std::vector<Operation> few = Shrink(Operations(seed));
    std::string text = "seed " + std::to_string(seed) + ": " + Outcome(few) + ", after\n";
    for (const Operation& operation : few) text += "  " + Describe(operation) + "\n";
    return text;
}

TEST(MessagePath, LosesDoublesAndReordersNothing)
{
    const std::uint64_t first = FromEnvironment("QUORVIA_MODEL_FIRST", 1);
    const std::uint64_t seeds = FromEnvironment("QUORVIA_MODEL_SEEDS", 10000);
    for (std::uint64_t seed = first; seed < first + seeds; ++seed)
        ASSERT_EQ(Outcome(Operations(seed)), "") << Report(seed);
}

TEST(MessagePath, FaultsAreFoundByChance)
{
    const Fault rare[] = {
        Fault::None,           Fault::TrimUnsynced,   Fault::TrimIgnoresUndo, Fault::SeatEndUnsynced,
        Fault::LoginFencesNot, Fault::OwnTrimmedWaits};
    for (int fault = 0; fault < int(Fault::Count); ++fault) {
        if (std::count(std::begin(rare), std::end(rare), Fault(fault))) continue;
        std::uint64_t seed = 1;
        while (seed <= 20000 && Outcome(Operations(seed), Fault(fault)).empty()) ++seed;
        EXPECT_LE(seed, 20000u) << "fault " << fault << " goes unseen";
        if (std::getenv("QUORVIA_MODEL_SHOW"))
            std::cout << "fault " << fault << ", seed " << seed << ": "
                      << Outcome(Operations(seed), Fault(fault)) << "\n";
    }
}

/// What chance meets too seldom is played; without the fault the same play ends well.
TEST(MessagePath, RareFaultsAreFoundByPlaying)
{
    const Operation join0{Act::Join, 0, 0, 3}, join1{Act::Join, 1, 0, 1}, join2{Act::Join, 2, 0, 1}, settle;
    const auto draw = [](int who, unsigned strokes) {
        return Operation{Act::Post, who, strokes - 1, 1, Kind::Draw};
    };
    const auto post = [](int who, Kind kind) { return Operation{Act::Post, who, 0, 1, kind}; };
    const auto up = [](int who, unsigned a, unsigned b = 0) { return Operation{Act::Up, who, a, b}; };
    const auto down = [](int who, unsigned a, unsigned b = 0) { return Operation{Act::Down, who, a, b}; };
    const auto cut = [](int who, unsigned a = 0, unsigned b = 0) { return Operation{Act::Cut, who, a, b}; };
    const Operation sync{Act::Sync}, power{Act::PowerCut}, harder{Act::PowerCut, 0, 0, 0, Kind::Line, 2};
    const Operation killed{Act::KillClient, 0}, seatOver{Act::SeatOver, 1},
        lines{Act::Post, 0, 2, 1, Kind::Line};
    using Play = std::vector<Operation>;
    const Play unsynced{join0,       join1,      settle, draw(1, 3), settle, post(0, Kind::Clear),
                        draw(0, 25), up(0, 100), sync,   killed,     power,  settle,
                        join2};
    const Play undone{join0,       settle, draw(0, 3), post(0, Kind::Clear), post(0, Kind::Undo),
                      draw(0, 25), settle, join1};
    const Play revived{join0, join1, settle, cut(1), up(1, 1), seatOver, draw(0, 3), up(0, 2), harder};
    const Play late{join0,         settle,      join1,         up(1, 9, 1), down(1, 9, 1), cut(1, 8, 8),
                    down(1, 9),    up(1, 9, 1), down(1, 9, 1), up(1, 9, 1), sync,          sync,
                    down(1, 9, 1), lines,       up(0, 9),      up(1, 9)};
    const Play wiped{join0,       join1,      settle, draw(0, 1), up(0, 9), cut(0), post(1, Kind::Clear),
                     draw(1, 25), up(1, 100), sync,   sync,       settle};
    const struct {
        Fault fault;
        const char* story;
        Play play;
    } rows[] = {
        {Fault::TrimUnsynced,
         "a CLEAR dies with its sender and the power, after the old board was trimmed for it", unsynced},
        {Fault::TrimIgnoresUndo, "an UNDO brings back what stood before the CLEAR", undone},
        {Fault::SeatEndUnsynced, "a power cut revives a seat that was over, behind a line that left it out",
         revived},
        {Fault::OwnTrimmedWaits, "a stroke is wiped and trimmed away before its sender learns its place",
         wiped},
        {Fault::LoginFencesNot, "an Enter that was given up arrives behind the one that replaced it", late},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Outcome(row.play), "") << row.story;
        EXPECT_NE(Outcome(row.play, row.fault), "") << row.story;
    }
}

}  // namespace
}  // namespace model
