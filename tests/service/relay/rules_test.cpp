// Rules of the relay that need no connection.

#include <gtest/gtest.h>

#include "service/relay/door/address_group.h"
#include "service/relay/door/back_off.h"
#include "service/relay/door/connection_gate.h"
#include "service/relay/door/entry_limits.h"
#include "service/relay/log/board_history.h"
#include "service/relay/meeting/flood_budget.h"
#include "service/relay/meeting/live_slots.h"
#include "service/relay/memory_watch.h"

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
    const Attempt guesser{"alice", "10.0.0.1", {}};
    const auto wait = [&](Attempt attempt) { return backOff.WaitFor(attempt, now); };
    std::chrono::milliseconds longest{};
    for (int i = 0; i < 50; ++i) {
        backOff.Wrong(guesser, "guess " + std::to_string(i), now);
        longest = std::max(longest, wait(guesser));
        now += wait(guesser);
    }
    EXPECT_EQ(longest, std::chrono::seconds(64));
    EXPECT_EQ(wait({"alice", "10.0.0.2", {}}).count(), 0);
    backOff.Wrong(guesser, "one more", now);
    EXPECT_GT(wait({"bob", "10.0.0.1", {}}).count(), 0);  // the guesser's address
    EXPECT_EQ(wait({"bob", "10.0.0.2", {}}).count(), 0);
    EXPECT_EQ(wait({"alice", "10.0.0.1", "laptop"}).count(), 0);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(wait({"alice", "10.0.0.2", {}}).count(), 0) << i;
    EXPECT_EQ(wait({"alice", "10.0.0.2", {}}), std::chrono::seconds(20));  // three tries a minute
    Attempt stranger{"alice", "10.0.0.3", {}};
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(backOff.WaitFor(stranger, now).count(), 0) << i;
        backOff.TurnedAway(stranger, now);  // costs it nothing
    }
}

TEST(BackOff, RemembersWhoGuessesThroughAFloodOfNames)
{
    BackOff backOff;
    auto now = BackOff::Clock::now();
    for (int i = 0; i < 30'000; ++i) {
        if (i % 100 == 0) backOff.Wrong({"alice", "10.0.0.1", {}}, "guess " + std::to_string(i), now);
        now += std::chrono::milliseconds(1);
        backOff.Wrong({"nobody " + std::to_string(i), "2001:db8:0:" + std::to_string(i), {}}, "guess", now);
    }
    Attempt guesser{"bob", "10.0.0.1", {}};
    EXPECT_GT(backOff.WaitFor(guesser, now).count(), 30'000);
    EXPECT_EQ(AddressGroup("2001:db8:0:1::17"), AddressGroup("2001:db8:0:1:ffff::2"));
    EXPECT_NE(AddressGroup("2001:db8:0:1::17"), AddressGroup("2001:db8:0:2::17"));
    for (const char* own : {"10.0.0.1", "::1", "fe80::1%eth0", "::ffff:10.0.0.1", "none"})
        EXPECT_EQ(AddressGroup(own), own);
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
    EXPECT_EQ(slots.WaitingBytes(), 7u);
    slots.OnRead(80'000, now);
    slots.Forget(1);
    slots.Fill(batch, 1000, now);
    EXPECT_EQ(batch.size(), 2 * 7u);  // nothing is shown of who has gone
    for (const SeatNumber from : {3u, 4u, 5u}) slots.Put(from, 0, frame(45'000));
    slots.Fill(batch, 1000, now);
    EXPECT_EQ(batch.size(), 4 * 7u);  // 80,000 were answered just now, so more than 65,536 may go
    EXPECT_FALSE(slots.Ready(now + std::chrono::milliseconds(251)));
    EXPECT_FALSE(slots.Ready(now));
}

// A minute of somebody's sending, in steps of 10 ms: how long it was paused in all, and whether it is over
// its budget for good.
TEST(FloodBudget, PausesTheFloodAndNeverTheLively)
{
    struct Sender {
        const char* who;
        double posts, liveFrames;  // a second
        std::size_t postBytes, liveBytes;
        int linesHeard, receipts, shortLines;  // a second
        bool paused, over;
    };
    const Sender rows[] = {
        {"lively", 59, 30, 2000, 40'000, 0, 0, 0, false, false},
        {"in a lively crowd", 50, 25, 500, 20'000, 400, 400, 0, false, false},
        {"answers nobody's lines", 50, 0, 500, 0, 0, 400, 0, true, true},
        {"talks back to a crowd", 50, 0, 500, 0, 400, 0, 400, true, true},
        {"many items", 100, 0, 100, 0, 0, 0, 0, true, true},
        {"many bytes", 10, 0, 500'000, 0, 0, 0, 0, true, true},
        {"many pictures", 1, 60, 100, 20'000, 0, 0, 0, true, true},
        {"large pictures", 1, 20, 100, 500'000, 0, 0, 0, true, true},
    };
    for (const Sender& row : rows) {
        SCOPED_TRACE(row.who);
        auto now = FloodBudget::Clock::now();
        FloodBudget budget({}, now);
        Header post, live, receipt;
        post.mutable_post()->set_everyone(true);
        live.mutable_live();
        receipt.mutable_post()->set_channel(CHANNEL_TALK);
        receipt.mutable_post()->mutable_recipients()->add_handles("bob");
        std::chrono::milliseconds paused{}, over{};
        double posts = 0, frames = 0;
        for (int step = 0; step < 6000; ++step, now += std::chrono::milliseconds(10)) {
            over = std::max(over, budget.Over(now));
            if (budget.Pause(now).count() > 0) {
                paused += std::chrono::milliseconds(10);
                continue;
            }
            budget.MayAnswer(row.linesHeard / 100);
            for (int i = 0; i < row.receipts / 100; ++i)
                budget.Charge({receipt, "[[ZUM_MESSAGE_RECEIVIED]]", 100}, now);
            for (int i = 0; i < row.shortLines / 100; ++i) budget.Charge({receipt, "hello", 100}, now);
            for (posts += row.posts / 100; posts >= 1; --posts) budget.Charge({post, {}, row.postBytes}, now);
            for (frames += row.liveFrames / 100; frames >= 1; --frames)
                budget.Charge({live, {}, row.liveBytes}, now);
        }
        EXPECT_EQ(paused.count() > 0, row.paused);
        EXPECT_EQ(over > std::chrono::seconds(30), row.over) << over.count();
    }
    auto now = FloodBudget::Clock::now();
    FloodBudget budget({}, now);
    Header post;
    post.mutable_post();
    for (int i = 0; i < 300; ++i) budget.Charge({post, {}, 100}, now);
    now += std::chrono::seconds(60);  // cut off, drawing on
    budget.Returned(now);
    for (int i = 0; i < 3600; ++i) budget.Charge({post, {}, 100}, now);
    EXPECT_EQ(budget.Pause(now).count(), 0);
    budget.Charge({post, {}, 100}, now);
    EXPECT_GT(budget.Pause(now).count(), 0);
}

TEST(EntryLimits, SlowGuessersAndLetARightCodeIn)
{
    const RelayBudgets budgets;
    EntryLimits limits(budgets);
    auto now = EntryLimits::Clock::now();
    const auto guess = [&](const std::string& account) {
        if (limits.WaitFor(account, "10.0.0.1", now).count() > 0) return 0;
        limits.WrongCode(account, "10.0.0.1", now);
        return 1;
    };
    const auto guesses = [&](const std::string& account) {
        int looked = 0;
        for (int i = 0; i < 100; ++i) looked += guess(account);
        return looked;
    };
    EXPECT_EQ(guesses("a"), 10);
    now += std::chrono::seconds(60);
    EXPECT_EQ(guesses("a"), 10);
    int looked = 0;
    for (const char* account : {"b", "c", "d", "e", "f", "g", "h"}) looked += guesses(account);
    EXPECT_EQ(looked, 50 + 2);  // sixty from the address; then each account's first is looked at still
    EXPECT_EQ(limits.WaitFor("honest", "10.0.0.1", now).count(), 0);
    for (int i = 0; i < 60; ++i) limits.Entered("busy", now);
    EXPECT_EQ(limits.WaitFor("busy", "10.0.0.2", now), std::chrono::seconds(1));
}

TEST(ConnectionGate, LetsMoreInJustAfterAStart)
{
    RelayBounds bounds;
    bounds.connectionsPerAddress = 2;
    bounds.connectionsBeforeLogin = 25;
    const auto begun = ConnectionGate::Clock::now();
    ConnectionGate gate(bounds, begun);
    const auto asked = [&](const char* address, std::chrono::seconds since) {
        std::vector<std::unique_ptr<ConnectionGate::Ticket>> in;
        while (auto ticket = gate.Ask(address, begun + since)) in.push_back(std::move(ticket));
        return in;
    };
    const auto early = asked("10.0.0.1", std::chrono::seconds(29));
    EXPECT_EQ(early.size(), 20u);
    EXPECT_EQ(asked("10.0.0.2", std::chrono::seconds(29)).size(), 5u);  // in all
    EXPECT_EQ(asked("10.0.0.2", std::chrono::seconds(31)).size(), 2u);
    EXPECT_EQ(gate.Waiting(), 20u);
}

TEST(MemoryWatch, GivesUpPicturesThenNewcomersThenWhoLags)
{
    std::vector<Pressure> met;
    for (std::size_t used = 0; used <= 2000; ++used)
        if (const Pressure now = MemoryWatch::LevelOf(used, 1000); met.empty() || met.back() != now)
            met.push_back(now);
    using enum Pressure;
    EXPECT_EQ(met, (std::vector{None, ShedLive, RefuseLogins, DetachLagging}));
    EXPECT_EQ(MemoryWatch::LevelOf(2000, 0), None);  // no limit
}

}  // namespace
}  // namespace zephyl
