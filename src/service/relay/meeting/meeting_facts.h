#pragma once
// What an operator is told of a meeting. Values only.

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "service/relay/log/meeting_log.h"

namespace zephyl {

struct AttendeeFacts {
    std::string handle;
    std::string logName;   // that stands for it in the log
    std::string address;   // by which the service knows its connection; "": it has none
    std::string protocol;  // of it
    std::string relay;     // the same, when another relay than the keeper has that connection
    std::string state;     // "present", "cut off" (nobody sees it yet), "away"
    std::optional<std::chrono::microseconds> delay;  // to the client and back, when it was last asked
    std::size_t unreadBytes = 0;                     // that wait for it
};

struct MeetingFacts {
    std::string id;  // in hexadecimal, as its folder is named
    std::string code;
    bool open = false;   // somebody has asked for it since the service was started
    std::string keeper;  // a relay's name; "": none, or relays share nothing
    bool told = true;    // else nothing but the above is known
    std::vector<AttendeeFacts> attendees;
    LogBytes log;
};

}  // namespace zephyl
