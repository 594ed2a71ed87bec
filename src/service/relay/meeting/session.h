#pragma once
// One login, as the account was at that moment.

#include <atomic>
#include <cstdint>
#include <string>

#include "service/relay/meeting/flood_budget.h"

namespace zephyl {

struct Session {
    explicit Session(const FloodBudget& full) : budget(full) {}
    std::string handle;   // the account's own spelling
    std::string key;      // folded
    std::string address;  // by which others reach this client
    std::uint64_t stream = 0;
    std::int64_t generation = 0;         // of the account's password
    std::atomic<bool> fenced{false};     // a later login of the handle was answered
    std::atomic<bool> permitted{false};  // an operator may change it while the session lives
    FloodBudget budget;                  // on the strand of its meeting
};

}  // namespace zephyl
