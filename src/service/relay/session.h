#pragma once
// One login, as the account was at that moment.

#include <atomic>
#include <cstdint>
#include <string>

namespace zephyl {

struct Session {
    std::string handle;   // the account's own spelling
    std::string key;      // folded
    std::string address;  // by which others reach this client
    std::uint64_t stream = 0;
    std::int64_t generation = 0;         // of the account's password
    std::atomic<bool> fenced{false};     // a later login of the handle was answered
    std::atomic<bool> permitted{false};  // an operator may change it while the session lives
};

}  // namespace zephyl
