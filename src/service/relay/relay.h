#pragma once
// The service as one object: accounts, meetings, a listening socket and its threads.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "service/relay/connection_list.h"
#include "service/relay/door/accounts.h"
#include "service/relay/door/connection_gate.h"
#include "service/relay/door/login_desk.h"
#include "service/relay/log/log_room.h"
#include "service/relay/meeting/directory.h"
#include "service/relay/memory_watch.h"
#include "service/relay/services.h"

namespace zephyl {

class AdminSocket;
class DataFolder;
class NetworkDoor;
struct CameBy;

class Relay {
public:
    /// Opens the data folder and listens; nobody is served yet. Throws StartError when that cannot be.
    Relay(RelayOptions options, std::shared_ptr<spdlog::logger> log, HashCost cost = {});
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    /// Serves, on threads of its own. `whenIdle` runs on one of them when a personal service has been
    /// without connections for long enough. Once.
    void Start(std::function<void()> whenIdle = {});
    /// Tells everybody that it restarts, waits until they are gone (10 s at most) and ends its threads.
    void Stop();

    std::uint16_t Port() const;
    /// "HOST:PORT", as a client may type it.
    std::string Address() const;
    const std::string& Fingerprint() const;
    Accounts& TheAccounts() { return mAccounts; }

private:
    boost::asio::awaitable<void> Accept();
    boost::asio::awaitable<void> WatchMemory();
    boost::asio::awaitable<void> WatchIdle(std::function<void()> whenIdle);
    std::unique_ptr<NetworkDoor> MakeNetworkDoor();
    void Welcome(boost::asio::ip::tcp::socket socket, ConnectionGate& gate, CameBy by);

    const RelayOptions mOptions;
    const std::shared_ptr<spdlog::logger> mLog;
    const std::unique_ptr<DataFolder> mFolder;
    const std::shared_ptr<const TlsContext> mTls;
    // What connections refer to stands before mIo, whose destructor ends the last of them.
    Accounts mAccounts;
    ConnectionGate mGate;
    ConnectionList mConnections;
    MemoryWatch mMemory;
    Services mServices;
    std::unique_ptr<NetworkDoor> mNetworkDoor;  // null: it is no person's own
    boost::asio::io_context mIo;
    LogRoom mLogs;
    LoginDesk mDesk;
    Directory mDirectory;
    boost::asio::ip::tcp::acceptor mAcceptor;
    std::unique_ptr<AdminSocket> mAdmin;
    std::vector<std::thread> mThreads;
};

/// "HOST:PORT" or "[V6]:PORT". Throws StartError.
void ReadListen(const std::string& text, RelayOptions& options);

}  // namespace zephyl
