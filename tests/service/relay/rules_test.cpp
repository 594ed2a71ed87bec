// Rules of the relay that need no connection.

#include <gtest/gtest.h>

#include "service/relay/back_off.h"
#include "service/relay/board_history.h"
#include "service/relay/live_slots.h"

namespace zephyl {
namespace {

// p: a change, c: CLEAR, u: UNDO, r: REDO. The position of the CLEAR that newcomers may begin with, 0: none.
std::uint64_t Beginning(const std::string& items)
{
    BoardHistory history;
    std::uint64_t sequence = 0, begin = 0;
    for (const char item : items) {
        const BoardEffect effect = item == 'p'   ? BoardEffect::Change
                                   : item == 'c' ? BoardEffect::Clear
                                   : item == 'u' ? BoardEffect::Undo
                                                 : BoardEffect::Redo;
        if (const auto settled = history.Take(++sequence, effect)) begin = *settled;
    }
    return begin;
}

TEST(BoardHistory, BeginsWhereNobodysUndoReaches)
{
    const std::string nineteen(19, 'p');
    const struct {
        std::string items;
        std::uint64_t begin;
    } rows[] = {
        {"c" + nineteen, 0},
        {"c" + nineteen + "p", 1},
        {"ppc" + nineteen + "p", 3},
        {"c" + nineteen + "up", 0},  // an UNDO in time keeps what was before the CLEAR
        {"c" + nineteen + "pu", 1},  // too late to reach it
        {"c" + nineteen + "r", 0},
        {"cu" + nineteen + "pp", 0},
        {"cuc" + nineteen + "p", 3},
        {"c" + nineteen + "c", 1},
        {"c" + nineteen + "c" + nineteen + "p", 21},
        {"", 0},
    };
    for (const auto& row : rows) EXPECT_EQ(Beginning(row.items), row.begin) << row.items;
}

TEST(BackOff, DoublesForgivesAndNeverLocks)
{
    BackOff backOff;
    auto now = BackOff::Clock::now();
    std::chrono::milliseconds longest{};
    for (int i = 0; i < 50; ++i) {
        backOff.Wrong("alice", "10.0.0.1", "guess " + std::to_string(i), now);
        longest = std::max(longest, backOff.WaitFor("alice", "10.0.0.2", now));
        now += backOff.WaitFor("alice", "10.0.0.1", now);
    }
    EXPECT_EQ(longest, std::chrono::seconds(64));
    EXPECT_EQ(backOff.WaitFor("alice", "10.0.0.2", now).count(), 0);
    backOff.Wrong("alice", "10.0.0.1", "one more", now);
    EXPECT_GT(backOff.WaitFor("bob", "10.0.0.1", now).count(), 0);  // the guesser's address
    EXPECT_EQ(backOff.WaitFor("bob", "10.0.0.2", now).count(), 0);
    backOff.Right("alice");
    EXPECT_EQ(backOff.WaitFor("alice", "10.0.0.2", now).count(), 0);
}

TEST(LiveSlots, SendWhatTheReceiverKeepsUpWith)
{
    LiveSlots slots;
    const auto now = LiveSlots::Clock::now();
    const auto frame = [](std::size_t bytes) {
        auto made = std::make_shared<LiveFrame>();
        made->bodyBytes = bytes;
        made->frames = std::string("\x00\x00\x00\x03\x00\x01x", 7);
        return made;
    };
    std::string batch;
    slots.Put(1, 0, frame(40'000));
    slots.Put(1, 0, frame(50'000));  // takes its place
    slots.Put(2, 0, frame(30'000));
    slots.Put(1, 1, frame(10'000));  // another type has its own slot
    slots.Fill(batch, 1000, now);
    EXPECT_EQ(batch.size(), 2 * 7u);  // 80,000 on their way: over what may always be
    slots.OnRead(80'000, now);
    slots.Forget(1);
    slots.Fill(batch, 1000, now);
    EXPECT_EQ(batch.size(), 2 * 7u);  // nothing is shown of who has gone
    for (const SeatNumber from : {3u, 4u, 5u}) slots.Put(from, 0, frame(45'000));
    slots.Fill(batch, 1000, now);
    EXPECT_EQ(batch.size(), 4 * 7u);  // 80,000 were answered just now, so more than 65,536 may go
    EXPECT_FALSE(slots.Ready(now + std::chrono::milliseconds(251)));
    EXPECT_EQ(slots.Ready(now), false);
}

}  // namespace
}  // namespace zephyl
