#pragma once
// What every connection of one relay shares. Made by Relay, outlives them all.

#include <string>

#include "service/relay/meeting/meeting_services.h"

namespace zephyl {

class ConnectionGate;
class ConnectionList;
class DatagramDoor;
class Directory;
class HttpStreams;
class Keepers;
class LoginDesk;
class NetworkDoor;
class OtherRelays;
struct LogRoom;
class LiveTls;
class PasswordMail;

struct Services {
    boost::asio::io_context& io;
    const RelayOptions& options;  // as at the start
    const LiveLimits& limits;
    spdlog::logger& log;
    const LogNames& names;
    const LiveTls& tls;
    const Accounts& accounts;
    const BanList& bans;
    LoginDesk& desk;
    PasswordMail& mail;
    Directory& directory;
    ConnectionGate& gate;
    ConnectionList& connections;
    const MemoryWatch& memory;
    Counters& counters;
    LogRoom& logs;
    std::string serverKey;
    NetworkDoor* networkDoor = nullptr;        // of a person's own service
    const OtherRelays* otherRelays = nullptr;  // null: this one is alone
    DatagramDoor* datagrams = nullptr;         // null: live frames only go inside TLS
    std::uint16_t datagramPort = 0;
    Keepers* keepers = nullptr;   // null: this relay keeps all meetings
    HttpStreams* http = nullptr;  // there before anybody is served
};

}  // namespace zephyl
