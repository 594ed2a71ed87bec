#pragma once
// What an operator is told of the other relays, and of what all of them share. Values only.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "service/relay/cluster/engine.h"
#include "service/relay/meeting/meeting_facts.h"

namespace zephyl {

struct RelayFacts {
    std::string name;
    std::string address;  // HOST:PORT for clients
    /// "in touch", "leaving", "stopped", "gone", "has another key"; of the own one "out of touch" and
    /// "replaced", and of others "not known" while it is out of touch.
    const char* state = "";
    bool own = false;       // the one that tells this
    bool answered = false;  // what follows is known
    std::string version;
    std::chrono::seconds uptime{};
    std::uint64_t connections = 0;
    std::uint64_t memory = 0;  // bytes
    std::string ailment;       // "": it is well
};

struct ClusterFacts {
    std::string name, advertise;      // of this relay, as it is configured
    std::vector<std::string> others;  // HOST:PORT where its clients may go
    bool shares = false;              // it shares its meetings; else the rest is empty
    std::vector<RelayFacts> relays;   // this one first
    EngineFacts engine;
    std::vector<MeetingFacts> elsewhere;  // that others keep, or nobody does
};

}  // namespace zephyl
