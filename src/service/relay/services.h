#pragma once
// What every connection of one relay shares. Made by Relay, outlives them all.

#include <memory>
#include <string>

#include "service/relay/meeting/meeting_services.h"

namespace zephyl {

class ConnectionGate;
class ConnectionList;
class Directory;
class LoginDesk;
class NetworkDoor;
class TlsContext;

struct Services {
    boost::asio::io_context& io;
    const RelayOptions& options;
    spdlog::logger& log;
    std::shared_ptr<const TlsContext> tls;
    const Accounts& accounts;
    LoginDesk& desk;
    Directory& directory;
    ConnectionGate& gate;
    ConnectionList& connections;
    const MemoryWatch& memory;
    std::string serverKey;
    NetworkDoor* networkDoor = nullptr;  // of a person's own service
};

}  // namespace zephyl
