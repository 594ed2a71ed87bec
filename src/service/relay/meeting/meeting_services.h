#pragma once
// What all meetings of one relay share. What it refers to outlives them.

#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>

#include "service/relay/options.h"

namespace spdlog {
class logger;
}

namespace zephyl {

class Accounts;
class BanList;
class Guests;
class LiveLimits;
class LogNames;
class MemoryWatch;
class SharedMeetings;
struct Counters;
struct LogRoom;

using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;

struct MeetingServices {
    boost::asio::io_context& io;
    const RelayOptions& options;  // as at the start
    const LiveLimits& limits;
    spdlog::logger& log;
    const LogNames& names;
    const Accounts& accounts;
    const BanList& bans;
    LogRoom& logs;
    const MemoryWatch& memory;
    Counters& counters;
    Guests* guests = nullptr;          // of a person's own service
    SharedMeetings* shared = nullptr;  // with other relays; null: this one is alone
};

}  // namespace zephyl
