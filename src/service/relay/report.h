#pragma once
// What an operator is told of the whole service. Values, and how they read as JSON.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "service/relay/door/accounts.h"
#include "service/relay/keepers/cluster_facts.h"
#include "service/relay/meeting/meeting_facts.h"
#include "service/relay/memory_watch.h"

namespace zephyl {

struct ServiceFacts {
    std::string version;
    std::string address;                              // HOST:PORT where clients connect
    std::string fingerprint;                          // of its key
    std::string metrics;                              // HOST:PORT where they are told; "": nowhere
    std::int64_t certificateEnds = 0, startedAt = 0;  // seconds since 1970
    std::chrono::seconds uptime{};
    std::size_t connections = 0, beforeLogin = 0;  // those without a login are part of the former
    std::size_t memory = 0, memoryMost = 0;        // bytes; most 0: no limit
    Pressure pressure = Pressure::None;
    std::size_t logMemory = 0;  // bytes of all meetings' items
    AccountsHealth accounts;
    ClusterFacts cluster;
    std::vector<Ban> bans;
    std::vector<MeetingFacts> meetings;
};

const char* PressureWord(Pressure pressure);

/// One line. Whatever a client wrote stands in it without anything unseen.
std::string StatusJson(const ServiceFacts& facts);

/// With blanks behind it, at least one, so that what follows begins in one column for all lines.
std::string Padded(std::string text, std::size_t columns);
inline constexpr std::size_t kHandleColumns = 34;  // the longest has 32 characters

/// Lines for people, of what StatusJson made. Throws std::exception when it is something else.
std::string StatusText(const std::string& json);

}  // namespace zephyl
