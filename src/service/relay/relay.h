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

#include "service/relay/cluster/engine.h"
#include "service/relay/connection_list.h"
#include "service/relay/counters.h"
#include "service/relay/door/accounts.h"
#include "service/relay/door/connection_gate.h"
#include "service/relay/door/log_names.h"
#include "service/relay/door/login_desk.h"
#include "service/relay/live_limits.h"
#include "service/relay/live_tls.h"
#include "service/relay/log/log_room.h"
#include "service/relay/meeting/directory.h"
#include "service/relay/memory_watch.h"
#include "service/relay/password_mail.h"
#include "service/relay/services.h"

namespace zephyl {

namespace words {
class Told;
}
class AdminSocket;
struct AdminActions;
struct ServiceFacts;
class DataFolder;
class DatagramDoor;
class HttpDoor;
class Keepers;
class MetricsServer;
class NetworkDoor;
class OtherRelays;
struct CameBy;

class Relay {
public:
    /// Opens the data folder and listens; nobody is served yet. Throws StartError when that cannot be.
    /// `engine`: by which it shares its meetings with other relays; null: none.
    Relay(RelayOptions options, std::shared_ptr<spdlog::logger> log, HashCost cost = {},
          std::unique_ptr<Engine> engine = nullptr);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    /// Serves, on threads of its own. `whenIdle` runs on one of them when a personal service has been
    /// without connections for long enough. Once.
    void Start(std::function<void()> whenIdle = {});
    /// Instead: everything happens while the caller runs this. There is no Stop then.
    boost::asio::io_context& StartHere();
    /// Tells everybody that it restarts, waits until they are gone (10 s at most) and ends its threads.
    void Stop();

    std::uint16_t Port() const;
    /// Where reverse proxies come; 0: nowhere.
    std::uint16_t HttpPort() const;
    /// "HOST:PORT", as a client may type it.
    std::string Address() const;
    std::string Fingerprint() const;
    /// False: one of several that is not in touch with the others.
    bool TakesClients() const;
    /// Where metrics are told; "": nowhere.
    std::string MetricsAddress() const;
    Accounts& TheAccounts() { return *mAccounts; }

    /// Where the options come from when they are read again, and who is told that this begins, and is over.
    /// Before Start.
    void ReadsAgain(std::function<RelayOptions()> read, std::function<void(bool begins)> tell = {})
    {
        mRead = std::move(read);
        mTellReload = std::move(tell);
    }
    /// Runs `done` once the service has got round to it. Any thread.
    void WhenAlive(std::function<void()> done);
    /// Takes over what they say now: key and certificate, limits, log level. Returns what of them waits for a
    /// new start. Throws StartError when they cannot be used as a whole; then nothing has changed. Any
    /// thread.
    std::vector<std::string> Reload();

private:
    void Begin(std::function<void()> whenIdle);
    boost::asio::awaitable<void> Accept();
    boost::asio::awaitable<void> WatchMemory();
    boost::asio::awaitable<void> WatchIdle(std::function<void()> whenIdle);
    boost::asio::awaitable<ServiceFacts> Facts();
    /// And what the other relays say.
    boost::asio::awaitable<ServiceFacts> AllFacts();
    /// For another relay.
    boost::asio::awaitable<words::Told> OwnTold();
    boost::asio::awaitable<void> BansChanged();
    void WatchAccounts();
    void Heard(const AccountNews& news);
    boost::asio::awaitable<void> AccountsChanged(std::vector<Account> all, std::uint64_t looked);
    AdminActions Actions();
    std::vector<std::string> TakeOver(const RelayOptions& fresh);
    std::unique_ptr<OtherRelays> MakeOtherRelays();
    std::unique_ptr<NetworkDoor> MakeNetworkDoor();
    void OpenDatagramDoor();
    std::unique_ptr<Keepers> MakeKeepers(std::unique_ptr<Engine> engine);
    void StartKeepers();
    bool HasRoom() const;
    void Welcome(boost::asio::ip::tcp::socket socket, ConnectionGate& gate, CameBy by);

    std::mutex mReloading;  // the desk, which may be at it, stands below
    std::function<RelayOptions()> mRead;
    std::function<void(bool)> mTellReload;
    const RelayOptions mOptions;
    LiveLimits mLimits;
    const std::shared_ptr<spdlog::logger> mLog;
    const LogNames mNames;
    const std::unique_ptr<DataFolder> mFolder;
    LiveTls mTls;
    // What connections refer to stands before mIo, whose destructor ends the last of them.
    const std::unique_ptr<Accounts> mAccounts;
    BanList mBans;
    ConnectionGate mGate;
    ConnectionList mConnections;
    MemoryWatch mMemory;
    Counters mCounters;
    Services mServices;
    std::unique_ptr<OtherRelays> mOtherRelays;  // null: this one is alone
    std::unique_ptr<NetworkDoor> mNetworkDoor;  // null: it is no person's own
    std::unique_ptr<DatagramDoor> mDatagrams;   // null: none
    std::unique_ptr<HttpDoor> mHttp;            // made last
    boost::asio::io_context mIo;
    LogRoom mLogs;
    PasswordMail mMail;
    LoginDesk mDesk;                          // works for mMail
    const std::unique_ptr<Keepers> mKeepers;  // null: this relay is alone
    Directory mDirectory;
    boost::asio::ip::tcp::acceptor mAcceptor;
    std::unique_ptr<AdminSocket> mAdmin;
    std::unique_ptr<MetricsServer> mMetrics;  // null: not wanted
    std::vector<std::thread> mThreads;
    const std::chrono::system_clock::time_point mStartedAt = std::chrono::system_clock::now();
    const std::chrono::steady_clock::time_point mStarted = std::chrono::steady_clock::now();
};

}  // namespace zephyl
