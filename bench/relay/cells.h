#pragma once
// One measurement each: a server started anew, loaded, ended.

#include <cstddef>
#include <vector>

#include "relay/servers.h"

struct Work {
    std::size_t bytes;
    int receivers;
    int inFlight;  // messages on their way to the slowest receiver
    bool oneStopped = false;
};

struct Cost {
    double microseconds = 0;  // of processor a delivery
    double grownMiB = 0;      // resident
};
/// One sender keeps `inFlight` messages on their way.
Cost Measure(Kind kind, const Work& work);

/// Four senders, each 30 messages of 200 bytes a second, to eight receivers: each message's age, in seconds.
std::vector<double> Ages(Kind kind);

struct Memory {
    double withOneMiB = 0;  // resident, one client connected
    double eachKiB = 0;     // for each further one of a thousand that say nothing
};
Memory MeasureMemory(Kind kind);
