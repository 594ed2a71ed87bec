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
class Guests;
class MemoryWatch;
struct LogRoom;

using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;

struct MeetingServices {
    boost::asio::io_context& io;
    const RelayOptions& options;
    spdlog::logger& log;
    const Accounts& accounts;
    LogRoom& logs;
    const MemoryWatch& memory;
    Guests* guests = nullptr;  // of a person's own service
};

}  // namespace zephyl
