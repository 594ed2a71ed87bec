// What the service does when its operator asks.

#include <spdlog/logger.h>  // IWYU pragma: keep

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <unordered_map>

#include "service/net/tls_context.h"  // IWYU pragma: keep
#include "service/relay/admin_socket.h"
#include "service/relay/beside.h"
#include "service/relay/cluster/other_relays.h"
#include "service/relay/connection.h"
#include "service/relay/door/handle_rules.h"
#include "service/relay/door/identity.h"
#include "service/relay/keepers/keepers.h"
#include "service/relay/keepers/told.h"
#include "service/relay/metrics.h"
#include "service/relay/metrics_server.h"
#include "service/relay/private_folder.h"
#include "service/relay/relay.h"
#include "service/relay/report.h"
#include "service/relay/server_tls.h"

namespace zephyl {
namespace asio = boost::asio;

namespace {

/// Says that it begins, and on every way out that it is over.
class Told {
public:
    explicit Told(const std::function<void(bool)>& tell) : mTell(tell)
    {
        if (mTell) mTell(true);
    }
    ~Told()
    {
        if (mTell) mTell(false);
    }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;

private:
    const std::function<void(bool)>& mTell;
};

}  // namespace

AdminActions Relay::Actions()
{
    return {[this] { return AllFacts(); }, [this] { return BansChanged(); }, [this] { return Reload(); }};
}

std::string Relay::MetricsAddress() const
{
    return mMetrics ? mMetrics->Address() : "";
}

asio::awaitable<ServiceFacts> Relay::Facts()
{
    using namespace std::chrono;
    const auto tls = mTls.Now();
    ServiceFacts facts;
    facts.version = mOptions.version;
    facts.address = Address();
    facts.fingerprint = tls->Fingerprint();
    facts.certificateEnds = tls->CertificateEnds();
    facts.startedAt = duration_cast<seconds>(mStartedAt.time_since_epoch()).count();
    facts.uptime = duration_cast<seconds>(steady_clock::now() - mStarted);
    facts.connections = mConnections.Count();
    facts.beforeLogin = mGate.Waiting();
    facts.memory = mMemory.Used();
    facts.memoryMost = mMemory.Most();
    facts.pressure = mMemory.Level();
    facts.logMemory = *mLogs.memory;
    facts.accounts = mAccounts->Health();
    facts.bans = mBans.All();
    facts.metrics = MetricsAddress();
    facts.meetings = co_await mDirectory.Facts();
    if (mKeepers) facts.cluster = co_await mKeepers->Facts();
    facts.cluster.name = mOptions.cluster.name;
    facts.cluster.advertise = mOptions.cluster.advertise;
    if (mServices.otherRelays) facts.cluster.others = mServices.otherRelays->Addresses();
    if (!mKeepers) co_return facts;
    for (MeetingFacts& meeting : facts.meetings) meeting.keeper = mOptions.cluster.name;
    RelayFacts& own = facts.cluster.relays.front();
    own.answered = true;
    own.version = facts.version;
    own.uptime = facts.uptime;
    own.connections = facts.connections;
    own.memory = facts.memory;
    own.ailment = Ailment(facts);
    co_return facts;
}

asio::awaitable<ServiceFacts> Relay::AllFacts()
{
    ServiceFacts facts = co_await Facts();
    if (mKeepers) facts.cluster = co_await mKeepers->AllFacts(std::move(facts.cluster), facts.meetings);
    co_return facts;
}

asio::awaitable<words::Told> Relay::OwnTold()
{
    const ServiceFacts facts = co_await Facts();
    co_return ToldOf(facts.cluster.relays.front(), facts.meetings);
}

// The list first: whoever comes meanwhile meets it.
asio::awaitable<void> Relay::BansChanged()
{
    std::vector<Ban> bans;
    co_await Beside([this](std::function<void()> work) { mDesk.Run(std::move(work)); },
                    [&] { bans = mAccounts->Bans(); });
    mBans.Replace(bans);
    mLog->info("bans read again: {} hold", bans.size());
    for (const auto& connection : mConnections.All())
        if (mBans.BarsAddress(connection->Address())) connection->PostBanned();
    for (const Ban& ban : bans)
        if (ban.of == Ban::Of::Handle) co_await mDirectory.EndHandle(ban.what, kBanned);
}

void Relay::WatchAccounts()
{
    mAccounts->Watch([this](const AccountNews& news) {
        try {
            Heard(news);
        } catch (const AccountError& error) {
            mLog->warn("what another relay has changed cannot be read yet: {}", error.what());
            throw;  // it is listened anew, and then asked for all of it
        }
    });
}

// On the store's thread.
void Relay::Heard(const AccountNews& news)
{
    using Of = AccountNews::Of;
    const bool anything = news.of == Of::Anything;
    if (anything || news.of == Of::Devices) mDesk.DevicesChanged(news.key);
    if (anything || news.of == Of::Bans) asio::co_spawn(mIo, BansChanged(), asio::detached);
    const std::uint64_t looked = mDirectory.LookNow();
    if (anything) asio::co_spawn(mIo, AccountsChanged(mAccounts->List(), looked), asio::detached);
    if (news.of == Of::Account)
        asio::co_spawn(mIo,
                       mDirectory.AccountChanged(news.key, mAccounts->Find(news.key), Directory::kRemoved,
                                                 BYE_KICKED, looked),
                       asio::detached);
}

// Something may have been missed, so everybody who is there is held against what is there now.
asio::awaitable<void> Relay::AccountsChanged(std::vector<Account> all, std::uint64_t looked)
{
    std::unordered_map<std::string, const Account*> byKey;
    for (const Account& one : all) byKey[HandleKey(one.handle).value_or("")] = &one;
    for (const std::string& key : co_await mDirectory.Handles()) {
        const auto at = byKey.find(key);
        std::optional<Account> account;
        if (at != byKey.end()) account = *at->second;
        co_await mDirectory.AccountChanged(key, std::move(account), Directory::kRemoved, BYE_KICKED, looked);
    }
}

std::vector<std::string> Relay::Reload()
{
    const std::lock_guard lock(mReloading);
    if (!mRead) throw StartError("this service has no configuration to read again");
    const Told told(mTellReload);
    return TakeOver(mRead());
}

std::vector<std::string> Relay::TakeOver(const RelayOptions& fresh)
{
    std::vector<std::string> waits;
    const auto note = [&](bool changed, const char* key) {
        if (changed) waits.push_back(std::string(key) + " takes effect when the service is started anew");
    };
    note(fresh.host != mOptions.host || fresh.port != mOptions.port, "listen");
    note(fresh.data != mOptions.data, "data");
    note(fresh.metricsHost != mOptions.metricsHost || fresh.metricsPort != mOptions.metricsPort,
         "metrics_listen");
    note(fresh.threads != mOptions.threads, "threads");
    note(fresh.logFormat != mOptions.logFormat, "log_format");
    note(fresh.udp != mOptions.udp, "udp");
    note(fresh.httpHost != mOptions.httpHost || fresh.httpPort != mOptions.httpPort ||
             fresh.httpAnywhere != mOptions.httpAnywhere,
         "http_listen");
    note(fresh.trustedProxies != mOptions.trustedProxies, "trusted_proxies");
    note(fresh.mail != mOptions.mail, "[mail]");
    note(fresh.cluster != mOptions.cluster, "[cluster]");
    note(fresh.announce != mOptions.announce, "announce");
    RelayOptions files = fresh;
    files.data = mOptions.data;
    if (files.key.empty() && !HasIdentity(files.data))
        throw StartError("there is no key: the configuration names none, and " + files.data.string() +
                         " has none. One is made only when a service is started; nothing has changed");
    const auto tls = ServerTls(files, *mLog);  // whatever cannot be used has said so by now
    if (tls->Fingerprint() != Fingerprint())
        waits.push_back("the key is another one now: " + tls->Fingerprint() +
                        "; clients that have pinned the one before refuse it until they are told");
    mTls.Replace(tls);
    mLimits.Replace(fresh);
    mGate.Replace(fresh.bounds);
    mMemory.Replace(fresh.bounds.memory);
    mLogs.memoryBound = fresh.bounds.logsInMemory;
    mDirectory.LimitsChanged();
    mLog->set_level(spdlog::level::from_str(fresh.logLevel));
    mLog->info("configuration read again");
    for (const std::string& one : waits) mLog->warn("{}", one);
    return waits;
}

}  // namespace zephyl
