#pragma once
// One measurement each: a server started anew, loaded, ended.

#include <cstddef>
#include <vector>

#include "relay/load.h"

struct Work {
    std::size_t bytes;
    int receivers;
    int inFlight;  // messages on their way to the slowest receiver
    bool oneStopped = false;
    int sender = 0;
    bool gathered = false;  // all are connected to the first server
};

struct Cost {
    double microseconds = 0;  // of processor a delivery
    double grownMiB = 0;      // resident
    std::uint64_t messages = 0;
};
/// One sender, to all others, keeps `inFlight` messages on their way.
Cost Measure(Kind kind, const Work& work);
/// The same where these are one service: of each, its part of what a delivery costs.
std::vector<Cost> Measure(const Servers& servers, const Work& work);
/// Who must have an account for that.
inline int AccountsFor(const Work& work)
{
    return work.receivers + 1 + (work.oneStopped ? 1 : 0);
}

/// Four senders, each 30 messages of 200 bytes a second, to eight receivers: each message's age, in seconds.
std::vector<double> Ages(Kind kind);
std::vector<double> Ages(const Servers& servers, bool gathered = false);
inline constexpr int kAccountsForAges = 4 + 8;
/// When the next of those messages is due.
inline constexpr std::chrono::microseconds kTick{1'000'000 / (4 * 30)};
inline constexpr int kTicks = 4 * 30 * 3;

/// Whoever has it, and what that begins, runs at once when there is something to do, whatever else this
/// machine has to do. Where it may.
class Prompt {
public:
    Prompt();
    ~Prompt();
};

struct Memory {
    double withOneMiB = 0;  // resident, one client connected
    double eachKiB = 0;     // for each further one of a thousand that say nothing
};
Memory MeasureMemory(Kind kind);
