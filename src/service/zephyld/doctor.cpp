// What an operator looks at on a bad day, looked at in one go.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <sys/timex.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/json.hpp>
#include <ctime>
#include <functional>
#include <iostream>
#include <vector>

#include "files/careful_file.h"
#include "service/net/tls_context.h"
#include "service/relay/admin_socket.h"
#include "service/relay/backup/archive.h"
#include "service/relay/backup/restore.h"
#include "service/relay/door/identity.h"
#include "service/relay/door/neighbours.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/door/postgres_accounts.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/listen_address.h"
#include "service/relay/mail/mail_server.h"
#include "service/relay/private_folder.h"
#include "service/zephyld/commands.h"
#include "service/zephyld/doctor_cluster.h"
#include "service/zephyld/findings.h"
#include "service/zephyld/where_accounts_are.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace json = boost::json;
namespace {

constexpr std::int64_t kDay = 86'400;
constexpr std::int64_t kRenewDays = 21;  // certbot renews 30 days before the end
constexpr std::uint64_t kMebibyte = 1 << 20;
constexpr std::uint64_t kLittleRoom = 1024 * kMebibyte, kNoRoom = 100 * kMebibyte;
constexpr rlim_t kFewDescriptors = 4096;
constexpr int kConnectSeconds = 3;

std::string Day(std::int64_t seconds)
{
    const std::time_t at = seconds;
    std::tm parts{};
    char text[32];
    ::gmtime_r(&at, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
    return text;
}

std::string Mebibytes(std::uint64_t bytes)
{
    return std::to_string(bytes / kMebibyte) + " MiB";
}

/// The running service's own word. Null: none runs.
json::value Status(const fs::path& data)
try {
    const auto answer = AskDaemon(data, "status");
    return answer && answer->word == "ok" ? json::parse(answer->body) : json::value(nullptr);
} catch (const std::exception&) {
    return nullptr;
}

void LookAtFolder(Findings& findings, const fs::path& data)
{
    struct stat info {};
    if (::stat(data.c_str(), &info) != 0)
        return findings.Mind("data", data.string() + " is not there yet", "the first start makes it");
    if (info.st_uid != ::geteuid())
        return findings.Bad("data", data.string() + " belongs to another user",
                            "ask as its owner, or as root");
    if (info.st_mode & 077)
        return findings.Bad("data", data.string() + " is open to others", "chmod 700 " + data.string());
    if (RestoreUnfinished(data))
        return findings.Bad("data", "a restore did not end in " + data.string(),
                            "zephyld restore FILE once more");
    findings.Good("data", data.string());
}

void LookAtDisk(Findings& findings, const fs::path& data)
{
    struct statvfs room {};
    if (::statvfs(fs::exists(data) ? data.c_str() : "/", &room) != 0) return;
    const std::uint64_t free = static_cast<std::uint64_t>(room.f_bavail) * room.f_frsize;
    const char* toDo =
        "make room; meetings go on in memory when there is none, and a kill then loses something";
    if (free < kNoRoom)
        findings.Bad("disk", Mebibytes(free) + " free", toDo);
    else if (free < kLittleRoom)
        findings.Mind("disk", Mebibytes(free) + " free", toDo);
    else if (room.f_files > 0 && room.f_favail < 1000)
        findings.Bad("disk", "hardly any inodes left", "delete files there");
    else
        findings.Good("disk", Mebibytes(free) + " free");
}

void CountAccounts(Findings& findings, const Accounts& accounts)
{
    const std::size_t count = accounts.List().size();
    const std::string where = accounts.Health().where.empty() ? "" : " in " + accounts.Health().where;
    if (count == 0) return findings.Mind("accounts", "none yet" + where, "zephyld user add NAME");
    findings.Good("accounts", std::to_string(count) + (count == 1 ? " account" : " accounts") + where);
}

void LookAtDatabase(Findings& findings, const ClusterOptions& cluster)
{
    const auto accounts = OpenDatabaseAccounts(cluster);
    CountAccounts(findings, *accounts);
    if (const std::string advice = accounts->Advice(); !advice.empty())
        findings.Mind("accounts", advice, "set it on in postgresql.conf, and start that server anew");
}

void LookAtAccounts(Findings& findings, const fs::path& data)
{
    if (!fs::exists(data / "accounts.sqlite"))
        return findings.Mind("accounts", "none yet", "zephyld user add NAME");
    const SqliteAccounts accounts(data);
    if (const std::string fault = SqliteAccounts::FaultOf(accounts.Image()); !fault.empty())
        return findings.Bad("accounts", fault, "stop the service and restore a backup");
    CountAccounts(findings, accounts);
}

void LookAtKey(Findings& findings, const RelayOptions& options, const json::value& status)
{
    const bool own = options.key.empty();
    const fs::path key = own ? options.data / "key.pem" : options.key;
    const fs::path certificate = own ? options.data / "certificate.pem" : options.certificate;
    if (own && !fs::exists(key) && fs::exists(certificate))
        return findings.Bad("key", key.string() + " is missing beside its certificate", kPutKeyBack);
    if (own && !fs::exists(key))
        return findings.Mind("key", "none yet",
                             options.cluster.advertise.empty()
                                 ? "the first start makes it"
                                 : "the first start makes it, of the first relay; all others need a copy of "
                                   "its key.pem and certificate.pem before theirs");
    if (own && !fs::exists(certificate))
        return findings.Mind("key", key.string() + " has no certificate yet", "the next start makes it");
    const auto tls = TlsContext::Server(key, certificate);
    findings.Good("key", key.string() + ", " + tls->Fingerprint());
    const std::int64_t days = (tls->CertificateEnds() - std::time(nullptr)) / kDay;
    const std::string ends = certificate.string() + " ends on " + Day(tls->CertificateEnds());
    const char* toDo = "renew it (certbot renew), then zephyld reload";
    if (tls->CertificateEnds() <= std::time(nullptr))
        findings.Bad("certificate", ends + ": it is over", toDo);
    else if (days < kRenewDays)
        findings.Mind("certificate", ends + ", in " + std::to_string(days) + " days", toDo);
    else
        findings.Good("certificate",
                      ends + (own ? "; its own, so clients ask once, or are told its key" : ""));
    if (status.is_null()) return;
    const std::string served(status.at("fingerprint").as_string());
    if (served != tls->Fingerprint())
        findings.Bad("pinned key", "the service has another key than its file: " + served,
                     "clients that have pinned it refuse the new one. Keep the old key (certbot renew "
                     "--reuse-key), or tell everybody " +
                         tls->Fingerprint() + ", then zephyld reload");
    else if (status.at("certificate_ends").to_number<std::int64_t>() != tls->CertificateEnds())
        findings.Mind("certificate", "the service has another one than its file", "zephyld reload");
}

std::string OwnKey(const RelayOptions& options)
{
    const bool own = options.key.empty();
    return TlsContext::Server(own ? options.data / "key.pem" : options.key,
                              own ? options.data / "certificate.pem" : options.certificate)
        ->Fingerprint();
}

bool Answers(const std::string& host, std::uint16_t port)
{
    boost::system::error_code failed;
    const auto address = boost::asio::ip::make_address(host, failed);
    if (failed) return false;
    boost::asio::io_context io;
    boost::asio::ip::tcp::socket socket(io);
    bool connected = false;
    socket.async_connect({address, port}, [&](boost::system::error_code error) { connected = !error; });
    io.run_for(std::chrono::seconds(kConnectSeconds));
    return connected;
}

void LookAtPorts(Findings& findings, const RelayOptions& options, const json::value& status)
{
    if (status.is_null())
        return findings.Mind("service", "none runs on this folder",
                             "systemctl start zephyld, or zephyld serve; its log says why when it does not");
    const std::string version(status.at("version").as_string());
    findings.Good("service", version + " at " + std::string(status.at("address").as_string()));
    RelayOptions at;
    ReadListen(std::string(status.at("address").as_string()), at);
    if (options.port != 0 && options.port != at.port)
        findings.Mind("port",
                      "it listens at " + std::to_string(at.port) + ", the configuration says " +
                          std::to_string(options.port),
                      "start it anew");
    boost::system::error_code none;
    const auto host = boost::asio::ip::make_address(at.host, none);
    if (at.host == "localhost" || (!none && host.is_loopback()))
        return findings.Mind(
            "port", "only this computer can connect",
            "set listen = \"0.0.0.0:" + std::to_string(at.port) + "\" if others are to, and start it anew");
    std::string closed, open;
    for (const std::string& own : OwnAddresses()) (Answers(own, at.port) ? open : closed) += " " + own;
    if (open.empty())
        return findings.Bad("port", "nobody answers at" + closed,
                            "a packet filter of this computer may stand before it: nft list ruleset");
    findings.Good("port", std::to_string(at.port) + " answers at" + open);
    findings.Mind("outside", "whether others reach it cannot be seen from here",
                  "from another network: openssl s_client -connect HOST:" + std::to_string(at.port) +
                      " -alpn zephyl/1 </dev/null; nothing there: open the port in firewall and router");
}

void LookAtMail(Findings& findings, const MailOptions& mail)
{
    if (!mail.On()) return findings.Good("mail", "none is sent: [mail] is not configured");
    if (const auto fault = MailFault(mail))
        findings.Bad("mail", *fault, "look at [mail] in the configuration, and at that server's log");
    else
        findings.Good("mail", mail.server + " would take some");
}

void LookAtClock(Findings& findings)
{
    timex state{};
    const int clock = ::adjtimex(&state);
    constexpr std::int64_t long2020 = 1'577'836'800;
    if (std::time(nullptr) < long2020)
        return findings.Bad("clock", "it is " + Day(std::time(nullptr)), "set it: timedatectl set-ntp true");
    if (clock < 0 || (state.status & STA_UNSYNC))
        return findings.Mind("clock", "nothing keeps it right, or that cannot be seen here",
                             "timedatectl set-ntp true; certificates and bans go by it");
    findings.Good("clock", "is kept right");
}

void LookAtLimits(Findings& findings, const RelayOptions& options)
{
    rlimit most{};
    if (::getrlimit(RLIMIT_NOFILE, &most) == 0 && most.rlim_max < kFewDescriptors)
        findings.Mind("descriptors", std::to_string(most.rlim_max) + " at most for programs started here",
                      "LimitNOFILE in the unit, or ulimit -Hn");
    struct sysinfo machine {};
    if (::sysinfo(&machine) != 0) return;
    const std::uint64_t all = static_cast<std::uint64_t>(machine.totalram) * machine.mem_unit;
    if (options.bounds.memory == 0 || options.bounds.memory > all)
        findings.Mind("memory", "the service may take more than the " + Mebibytes(all) + " that there are",
                      "set memory_mebibytes lower");
    else
        findings.Good("memory", Mebibytes(options.bounds.memory) + " of " + Mebibytes(all) + " at most");
}

void LookAtHealth(Findings& findings, const json::value& status)
{
    if (status.is_null()) return;
    if (status.at("memory") != "enough")
        findings.Bad(
            "load", "memory is short: " + std::string(status.at("memory").as_string()),
            "zephyld status shows whose meetings are large; raise memory_mebibytes if there is more");
    for (const json::value& meeting : status.at("meetings").as_array())
        if (meeting.at("disk_refuses").as_bool())
            findings.Bad("load",
                         "meeting " + std::string(meeting.at("code").as_string()) + " cannot be saved",
                         meeting.at("keeper").is_null()
                             ? "make room on the disk before the service stops"
                             : "it waits until its nats-servers take again: look at what is said of the log");
}

void LookAtBackup(Findings& findings, int file, const fs::path& name)
{
    try {
        const BackupFacts facts = CheckBackup(file);
        findings.Good("backup", name.string() + " is whole: " + std::to_string(facts.meetings) +
                                    (facts.meetings == 1 ? " meeting, " : " meetings, ") +
                                    (facts.logBytes > 0 ? "those of all relays, " : "") +
                                    std::to_string(facts.files) + " files");
        if (!facts.key)
            findings.Mind("backup", "it holds no key",
                          "if key and certificate are named in the configuration, save those files yourself");
    } catch (const ArchiveError& error) {
        findings.Bad("backup", name.string() + " " + error.what(), "take another one: zephyld backup FILE");
    }
}

}  // namespace

// As the folder's owner: what that user cannot read the service cannot, either.
int Examine(const DoctorRequest& request)
{
    Findings findings;
    RelayOptions options;
    try {
        options = OptionsOf(request.config, request.data);
        findings.Good("configuration",
                      request.config.empty() ? "none given: defaults" : request.config.string());
    } catch (const std::exception& error) {
        std::error_code none;
        findings.Bad("configuration", error.what(),
                     fs::is_regular_file(request.config, none) && ::access(request.config.c_str(), R_OK) == 0
                         ? "mend that line; zephyld sample-config explains every key"
                         : "name a file that can be read with --config");
        return 1;
    }
    files::Descriptor backup;
    if (!request.backup.empty())
        findings.Look("backup", "name a backup that can be read",
                      [&] { backup = files::OpenRegular(request.backup, O_RDONLY, files::Owner::Anybody); });
    BecomeOwner(options.data);
    LookAtFolder(findings, options.data);
    if (IsOfAnother(options.data)) return 1;  // what follows would be guesses
    findings.Look("configuration", "name the service's with --config",
                  [&] { options = WithAccounts(options); });
    const json::value status = Status(options.data);
    LookAtDisk(findings, options.data);
    if (options.cluster.accounts.empty())
        findings.Look("accounts", "stop the service and restore a backup",
                      [&] { LookAtAccounts(findings, options.data); });
    else
        findings.Look("accounts", "look at [cluster] in the configuration, and at the database's own log",
                      [&] { LookAtDatabase(findings, options.cluster); });
    findings.Look("key", "key and certificate must fit, and only the service's user may read the key",
                  [&] { LookAtKey(findings, options, status); });
    findings.Look("port", "is the service of this version?", [&] { LookAtPorts(findings, options, status); });
    findings.Look(
        "relays", "key and certificate must fit, and only the service's user may read the key", [&] {
            const bool keyed = !options.key.empty() || (fs::exists(options.data / "key.pem") &&
                                                        fs::exists(options.data / "certificate.pem"));
            if (keyed && !options.cluster.advertise.empty())
                LookAtRelays(findings, options.cluster, OwnKey(options), status);
        });
    findings.Look("log", "look at [cluster] in the configuration",
                  [&] { LookAtLogServers(findings, options.cluster); });
    findings.Look("mail", "look at [mail] in the configuration", [&] { LookAtMail(findings, options.mail); });
    LookAtClock(findings);
    LookAtLimits(findings, options);
    findings.Look("load", "is the service of this version?", [&] { LookAtHealth(findings, status); });
    if (backup.Number() >= 0) LookAtBackup(findings, backup.Number(), request.backup);
    return findings.AllWell() ? 0 : 1;
}

}  // namespace zephyl
