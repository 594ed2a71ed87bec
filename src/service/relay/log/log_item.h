#pragma once
// What stands in a meeting's log, in the form in which it goes down the wire.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "service/wire/zephyl.pb.h"

namespace zephyl {

using SeatNumber = std::uint32_t;  // from 1; 0 is nobody

/// Immutable once made, shared by all receivers.
struct LogItem {
    Channel channel = CHANNEL_UNSPECIFIED;
    std::uint64_t sequence = 0;
    std::uint64_t stream = 0;  // 0: the relay itself
    std::uint64_t number = 0;
    SeatNumber about = 0;  // whose presence it tells
    bool everyone = false;
    bool presence = false;          // a list of attendees that comes later says it already
    bool kept = false;              // part of the board that newcomers get
    bool refused = false;           // no content: this number was refused, `frames` say so to its sender
    std::string sender;             // folded handle; empty with stream 0
    std::vector<SeatNumber> seats;  // sorted; when not for everyone
    std::string frames;             // complete, with sequence: header and More frames
};
using ItemPtr = std::shared_ptr<const LogItem>;

}  // namespace zephyl
