#pragma once
// What every connection and meeting of one relay shares. Made by Relay, outlives them all.

#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <memory>
#include <string>

#include "service/relay/options.h"

namespace spdlog {
class logger;
}

namespace zephyl {

class Accounts;
class ConnectionGate;
class Directory;
class LoginDesk;
class MemoryWatch;
struct LogRoom;
class TlsContext;

using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;

struct Services {
    boost::asio::io_context& io;
    const RelayOptions& options;
    spdlog::logger& log;
    std::shared_ptr<const TlsContext> tls;
    Accounts& accounts;
    LogRoom& logs;
    LoginDesk& desk;
    Directory& directory;
    ConnectionGate& gate;
    MemoryWatch& memory;
    std::string serverKey;
};

}  // namespace zephyl
