#include "service/relay/relay.h"

#include <spdlog/logger.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cstring>
#include <sstream>
#include <system_error>
#include <utility>

#include "service/net/tls_context.h"  // IWYU pragma: keep
#include "service/relay/admin_socket.h"
#include "service/relay/backup/restore.h"
#include "service/relay/cluster/named_relays.h"
#include "service/relay/cluster/open_engine.h"
#include "service/relay/connection.h"
#include "service/relay/datagram_door.h"
#include "service/relay/door/neighbours.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/http_door.h"
#include "service/relay/keepers/keepers.h"
#include "service/relay/keepers/tunnel_road.h"
#include "service/relay/listening.h"
#include "service/relay/metrics_server.h"
#include "service/relay/network_door.h"
#include "service/relay/private_folder.h"
#include "service/relay/report.h"
#include "service/relay/server_tls.h"

namespace zephyl {
namespace asio = boost::asio;
using asio::ip::tcp;
namespace {

constexpr std::chrono::seconds kStop{10};
constexpr std::chrono::milliseconds kStopStep{20};
constexpr int kPortTries = 8;

std::unique_ptr<DataFolder> TakeFolder(const std::filesystem::path& path)
{
    auto folder = std::make_unique<DataFolder>(path);
    if (RestoreUnfinished(path))
        throw StartError("a restore did not end in " + path.string() + "; do it again");
    return folder;
}

tcp::acceptor Inherited(asio::io_context& io, int socket)
{
    sockaddr_storage at{};
    socklen_t bytes = sizeof at;
    boost::system::error_code error;
    tcp::acceptor acceptor(asio::make_strand(io));
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&at), &bytes) != 0)
        throw StartError("cannot use the socket that was opened for us");
    acceptor.assign(at.ss_family == AF_INET6 ? tcp::v6() : tcp::v4(), socket, error);
    if (error) throw StartError("cannot use the socket that was opened for us: " + error.message());
    return acceptor;
}

std::unique_ptr<Accounts> TakeAccounts(const RelayOptions& options, spdlog::logger& log)
{
    if (options.personal && options.cluster != ClusterOptions())
        throw StartError("a personal service is alone: [cluster] is for others");
    auto accounts = OpenAccounts(options, [&log](const std::string& trouble) {
        if (trouble.empty())
            log.info("the accounts' database is back");
        else
            log.error("the accounts' database is away, and nobody can log in: {}", trouble);
    });
    LeaveWordOfAccounts(options);
    return accounts;
}

unsigned Threads(const RelayOptions& options)
{
    return options.threads ? options.threads : std::max(1u, std::thread::hardware_concurrency());
}

}  // namespace

Relay::Relay(RelayOptions options, std::shared_ptr<spdlog::logger> log, HashCost cost,
             std::unique_ptr<Engine> engine)
    : mOptions(std::move(options)),
      mLimits(mOptions),
      mLog(std::move(log)),
      mNames(*mLog),
      mFolder(TakeFolder(mOptions.data)),
      mTls(ServerTls(mOptions, *mLog)),
      mAccounts(TakeAccounts(mOptions, *mLog)),
      mGate(mOptions.bounds),
      mMemory(mOptions.bounds.memory),
      mServices{mIo,
                mOptions,
                mLimits,
                *mLog,
                mNames,
                mTls,
                *mAccounts,
                mBans,
                mDesk,
                mMail,
                mDirectory,
                mGate,
                mConnections,
                mMemory,
                mCounters,
                mLogs,
                mAccounts->ServerKey()},
      mOtherRelays(MakeOtherRelays()),
      mNetworkDoor(MakeNetworkDoor()),
      mIo(static_cast<int>(Threads(mOptions))),
      mLogs(mOptions.bounds.logsInMemory),
      mMail(mIo, mOptions.mail, *mAccounts, mDesk, *mLog),
      mDesk(*mAccounts, mOptions.personal, cost),
      mKeepers(MakeKeepers(std::move(engine))),
      mDirectory({mIo, mOptions, mLimits, *mLog, mNames, *mAccounts, mBans, mLogs, mMemory, mCounters,
                  mNetworkDoor.get(), mKeepers.get()}),
      mAcceptor(mOptions.socket >= 0 ? Inherited(mIo, mOptions.socket)
                                     : Listen(mIo, mOptions.host, mOptions.port)),
      mAdmin(std::make_unique<AdminSocket>(mServices, Actions()))
{
    mBans.Replace(mAccounts->Bans());
    if (!mOptions.metricsHost.empty())
        mMetrics = std::make_unique<MetricsServer>(mServices, [this] { return Facts(); });
    mHttp = std::make_unique<HttpDoor>(mServices);
    mServices.http = mHttp.get();
    if (mOptions.udp) OpenDatagramDoor();
}

/// At the same port number. A port that was not asked for is drawn anew when it has another owner there; one
/// that was asked for is served without datagrams then, as behind many a firewall.
void Relay::OpenDatagramDoor()
{
    for (int tries = mOptions.port == 0 && mOptions.socket < 0 ? kPortTries : 1; tries > 0; --tries) try {
            const tcp::endpoint at = mAcceptor.local_endpoint();
            sockaddr_storage address{};
            std::memcpy(&address, at.data(), at.size());
            mDatagrams = std::make_unique<DatagramDoor>(mIo, address);
            mServices.datagrams = mDatagrams.get();
            mServices.datagramPort = at.port();
            return;
        } catch (const std::system_error& error) {
            if (tries > 1) {
                mAcceptor = Listen(mIo, mOptions.host, mOptions.port);
                continue;
            }
            mLog->warn("live pictures only go by TCP: {}", error.what());
        }
}

Relay::~Relay()
{
    {
        const std::lock_guard lock(mReloading);
        mRead = nullptr;  // whoever asks from now on is refused
    }
    if (mDatagrams) mDatagrams->Stop();
    mIo.stop();
    for (std::thread& thread : mThreads) thread.join();
    mAccounts->EndWatch();
    if (mKeepers) mKeepers->Stop();
    if (mNetworkDoor) mNetworkDoor->Drop();
    if (mHttp) mHttp->Drop();
    if (mDatagrams) mDatagrams->Drop();
}

std::unique_ptr<OtherRelays> Relay::MakeOtherRelays()
{
    if (mOptions.cluster.relays.empty()) return nullptr;
    if (mOptions.cluster.log.empty())
        mLog->warn(
            "[cluster] relays without log: whoever goes to another relay is told that their meeting has "
            "ended");
    auto others = std::make_unique<NamedRelays>(mOptions.cluster);
    mServices.otherRelays = others.get();
    return others;
}

std::unique_ptr<NetworkDoor> Relay::MakeNetworkDoor()
{
    if (!mOptions.personal) return nullptr;
    auto door = std::make_unique<NetworkDoor>(mServices, *mAccounts,
                                              [this](tcp::socket socket, ConnectionGate& gate, CameBy by) {
                                                  boost::system::error_code gone;
                                                  const tcp::endpoint peer = socket.remote_endpoint(gone);
                                                  if (!gone && IsNeighbour(PlainAddress(peer.address())))
                                                      Welcome(std::move(socket), gate, std::move(by));
                                              });
    mServices.networkDoor = door.get();
    return door;
}

std::unique_ptr<Keepers> Relay::MakeKeepers(std::unique_ptr<Engine> engine)
{
    if (!engine)
        engine = OpenEngine(mOptions.cluster, [log = mLog](const std::string& trouble) {
            if (trouble.empty())
                log->info("what the relays share is back");
            else
                log->error("what the relays share is away: {}", trouble);
        });
    if (!engine) return nullptr;
    if (mOptions.cluster.name.empty())
        throw StartError("[cluster] log needs a name for this relay, which no other one has");
    auto keepers =
        std::make_unique<Keepers>(mIo, std::move(engine), mLogs, *mLog,
                                  Membership::Own{mOptions.cluster.name, mOptions.cluster.advertise,
                                                  Fingerprint(), [this] { return HasRoom(); }},
                                  NamedRelays(mOptions.cluster).Addresses(), mOptions.clusterTimes);
    mServices.keepers = keepers.get();
    mServices.otherRelays = keepers.get();
    return keepers;
}

void Relay::StartKeepers()
{
    const auto opened = [this](const RelayId& from, const words::Word& word, std::string_view frame) {
        auto road = std::make_shared<TunnelRoad>(mKeepers->TheLines(), from, word, frame);
        std::shared_ptr<Session> who;
        if (word.open().has_who()) {
            RelayBudgets budgets = mLimits.Now().budgets;
            budgets.liveFrames = road->LiveFrames(budgets.liveFrames);
            who = SessionOf(word.open().who(), FloodBudget(budgets, FloodBudget::Clock::now()));
        }
        std::make_shared<Connection>(road, mServices, word.open().address(), nullptr, CameBy{})
            ->StartFor(road, std::move(who));
        return road;
    };
    const auto cutOff = [this](bool away) {
        if (away)
            for (const auto& connection : mConnections.All()) connection->PostElsewhere();
    };
    const auto changed = [this] {
        for (const auto& connection : mConnections.All()) connection->PostRelays();
    };
    const auto blames = [this](const std::string& address, int blame) { mDesk.Heard(address, blame); };
    // The desk's threads outlive what tells it.
    mDesk.SetTell([this](const std::string& address, int blame) {
        asio::post(mIo, [this, address, blame] { mKeepers->TellBlame(address, blame); });
    });
    mKeepers->Start(mDirectory, {opened, cutOff, changed, [this] { return OwnTold(); }, blames});
}

// Guests of other relays are among the connections, so whoever comes makes them no more.
bool Relay::HasRoom() const
{
    return mConnections.Count() < mOptions.cluster.gather && !mMemory.Under(Pressure::RefuseLogins);
}

std::uint16_t Relay::Port() const
{
    return mAcceptor.local_endpoint().port();
}

std::uint16_t Relay::HttpPort() const
{
    return mHttp->PlainPort();
}

std::string Relay::Address() const
{
    if (mOptions.socket >= 0) {
        std::ostringstream text;
        text << mAcceptor.local_endpoint();
        return text.str();
    }
    const bool v6 = mOptions.host.find(':') != std::string::npos;
    return (v6 ? "[" + mOptions.host + "]" : mOptions.host) + ":" + std::to_string(Port());
}

bool Relay::TakesClients() const
{
    return !mKeepers || (mKeepers->MayDecide() && !mKeepers->TakesNobody());
}

std::string Relay::Fingerprint() const
{
    return mTls.Now()->Fingerprint();
}

void Relay::Begin(std::function<void()> whenIdle)
{
    asio::co_spawn(mAcceptor.get_executor(), Accept(), asio::detached);
    asio::co_spawn(mIo, WatchMemory(), asio::detached);
    if (whenIdle && mOptions.personal) asio::co_spawn(mIo, WatchIdle(std::move(whenIdle)), asio::detached);
    if (mKeepers) StartKeepers();
    mDirectory.LoadMeetings();
    WatchAccounts();
    mAdmin->Start();
    if (mMetrics) mMetrics->Start();
    if (mDatagrams) mDatagrams->Start();
    mHttp->Start();
}

void Relay::Start(std::function<void()> whenIdle)
{
    Begin(std::move(whenIdle));
    for (unsigned i = 0; i < Threads(mOptions); ++i) mThreads.emplace_back([this] { mIo.run(); });
}

asio::io_context& Relay::StartHere()
{
    Begin({});
    return mIo;
}

asio::awaitable<void> Relay::Accept()
{
    co_await AcceptAll(mIo, mAcceptor, *mLog,
                       [this](tcp::socket socket) { Welcome(std::move(socket), mGate, {}); });
}

void Relay::Welcome(tcp::socket socket, ConnectionGate& gate, CameBy by)
{
    boost::system::error_code gone;
    const tcp::endpoint peer = socket.remote_endpoint(gone);
    if (gone) return;
    const std::string address = PlainAddress(peer.address());
    ++mCounters.connections;
    if (mBans.BarsAddress(address)) {
        ++mCounters.banned;
        return mLog->debug("{} is banned", address);
    }
    std::unique_ptr<ConnectionGate::Ticket> ticket = gate.Ask(address);
    if (!ticket) {
        ++mCounters.tooMany;
        mLog->warn("{} has too many connections without a login", address);
        return;
    }
    try {
        std::make_shared<Connection>(std::move(socket), mServices, address, std::move(ticket), std::move(by))
            ->Start();
    } catch (const std::exception& error) {
        mLog->error("{}: {}", address, error.what());
    }
}

asio::awaitable<void> Relay::WatchMemory()
{
    asio::steady_timer timer(mIo);
    for (;;) {
        if (mMemory.Measure()) mLog->warn("memory: {}", PressureWord(mMemory.Level()));
        timer.expires_after(mLimits.Now().times.tick);
        co_await timer.async_wait(asio::use_awaitable);
    }
}

void Relay::WhenAlive(std::function<void()> done)
{
    asio::post(mIo, [this, done = std::move(done)] { mDirectory.WhenAlive(done); });
}

asio::awaitable<void> Relay::WatchIdle(std::function<void()> whenIdle)
{
    auto busy = std::chrono::steady_clock::now();
    asio::steady_timer timer(mIo);
    for (;;) {
        timer.expires_after(mLimits.Now().times.tick);
        co_await timer.async_wait(asio::use_awaitable);
        const auto now = std::chrono::steady_clock::now();
        if (mConnections.Count() > 0) busy = now;
        if (now - busy < mLimits.Now().times.idleEnd) continue;
        whenIdle();
        co_return;
    }
}

void Relay::Stop()
{
    if (mNetworkDoor) mNetworkDoor->Stop();
    mHttp->Stop();
    asio::post(mAcceptor.get_executor(), [this] {
        boost::system::error_code ignored;
        mAcceptor.close(ignored);
    });
    if (mKeepers) mKeepers->Drain();
    mDirectory.StopMeetings();
    mMail.Stop();
    for (const auto& connection : mConnections.All()) connection->PostRestart();
    const auto until = std::chrono::steady_clock::now() + kStop;
    const auto busy = [this] { return mConnections.Count() > 0 || (mKeepers && mKeepers->KeepsAny()); };
    while (busy() && std::chrono::steady_clock::now() < until) std::this_thread::sleep_for(kStopStep);
    if (mDatagrams) mDatagrams->Stop();
    mIo.stop();
    for (std::thread& thread : mThreads) thread.join();
    mThreads.clear();
}

}  // namespace zephyl
