#include "service/relay/config.h"

#include <toml++/toml.h>
#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <variant>

#include "files/careful_file.h"
#include "service/relay/cluster/named_relays.h"
#include "service/relay/cluster/nats_place.h"
#include "service/relay/door/database_place.h"
#include "service/relay/forwarded.h"
#include "service/relay/listen_address.h"
#include "service/relay/mail/mail_server.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace {

using std::chrono::milliseconds;

using Option = std::variant<milliseconds RelayTimes::*, std::size_t RelayBounds::*,
                            std::size_t RelayBudgets::*, unsigned RelayOptions::*, unsigned MailOptions::*,
                            std::size_t MailOptions::*, std::size_t ClusterOptions::*>;

// A whole number with its range, in units of what the options count in.
struct NumberKey {
    const char* name;
    Option place;
    std::int64_t unit, least, most;
    const char* comment;
};
struct FlagKey {
    const char* name;
    std::variant<bool RelayOptions::*, bool MailOptions::*> place;
    const char* comment;
};
struct TextKey {
    const char* name;
    void (*set)(RelayOptions&, const std::string&);
    const char* byDefault;
    const char* comment;
};
struct ListKey {
    const char* name;
    void (*set)(RelayOptions&, std::vector<std::string>);
    const char* comment;
};

constexpr std::int64_t kSecond = 1000;
constexpr std::int64_t kMebibyte = 1 << 20;

constexpr std::array kNumbers{
    NumberKey{"threads", &RelayOptions::threads, 1, 0, 256,
              "Threads that serve connections. 0: as many as the machine has cores."},
    NumberKey{"grace_seconds", &RelayTimes::grace, kSecond, 0, 600,
              "Seconds that a seat outlives its connection. Until then nobody sees the attendee leave\n"
              "and nothing sent to them is lost. 0: leave at once."},
    NumberKey{"away_seconds", &RelayTimes::away, kSecond, 0, 86'400,
              "Seconds after that in which an attendee who comes back goes on where they had read."},
    NumberKey{"keep_empty_seconds", &RelayTimes::keepEmpty, kSecond, 0, 86'400,
              "Seconds that a meeting which everybody has left can still be joined."},
    NumberKey{"silent_seconds", &RelayTimes::lostAfter, kSecond, 6, 600,
              "A connection that says nothing for so long is cut off; clients answer every 5 seconds."},
    NumberKey{"stuck_seconds", &RelayTimes::stuckAfter, kSecond, 5, 600,
              "A connection that takes nothing of what is sent to it for so long is cut off."},
    NumberKey{"before_login_seconds", &RelayTimes::beforeLogin, kSecond, 1, 600,
              "A connection that has not logged in by then is closed."},
    NumberKey{"connections_per_address", &RelayBounds::connectionsPerAddress, 1, 1, 10'000,
              "Connections from one address that have not logged in (ten times as many just after a start)."},
    NumberKey{"connections_before_login", &RelayBounds::connectionsBeforeLogin, 1, 1, 100'000,
              "Connections in all that have not logged in."},
    NumberKey{"seats_per_meeting", &RelayBounds::seatsPerMeeting, 1, 2, kSeatsPerMeeting,
              "People in one meeting."},
    NumberKey{"talk_kept_mebibytes", &RelayBounds::talkKept, kMebibyte, 1, 1024,
              "What is kept of one meeting's lines for those who have not read them. The oldest goes first."},
    NumberKey{"board_kept_mebibytes", &RelayBounds::boardKept, kMebibyte, 16, 4096,
              "What is kept of one meeting's board for newcomers. The oldest goes first."},
    NumberKey{"log_memory_mebibytes", &RelayBounds::logInMemory, kMebibyte, 1, 4096,
              "What stands in memory of one meeting's log; the older part is read from its files."},
    NumberKey{"logs_memory_mebibytes", &RelayBounds::logsInMemory, kMebibyte, 1, 65'536,
              "The same for all meetings together."},
    NumberKey{
        "memory_mebibytes", &RelayBounds::memory, kMebibyte, 0, 1'048'576,
        "Memory of the whole service. Near it camera pictures are dropped, then nobody more is let in,\n"
        "then those who lag most are cut off. 0: no limit."},
    NumberKey{"items_per_second", &RelayBudgets::items, 1, 0, 1'000'000,
              "Lines, records and pictures of one session, a second and at once. Over it the session waits.\n"
              "0: no limit."},
    NumberKey{"items_burst", &RelayBudgets::itemsBurst, 1, 1, 10'000'000, nullptr},
    NumberKey{"mebibytes_per_second", &RelayBudgets::bytes, kMebibyte, 0, 10'000, "Their bytes."},
    NumberKey{"mebibytes_burst", &RelayBudgets::bytesBurst, kMebibyte, 1, 100'000, nullptr},
    NumberKey{"live_frames_per_second", &RelayBudgets::liveFrames, 1, 0, 10'000,
              "Camera and application pictures of one session, and their bytes. 0: no limit."},
    NumberKey{"live_mebibytes_per_second", &RelayBudgets::liveBytes, kMebibyte, 0, 10'000, nullptr},
    NumberKey{"flood_seconds", &RelayTimes::floodAfter, kSecond, 1, 3600,
              "A session over one of these budgets for so long is cut off; it may come back."},
    NumberKey{"wrong_codes_per_account", &RelayBudgets::codesPerAccount, 1, 1, 10'000,
              "Meeting codes that no meeting has, a minute."},
    NumberKey{"wrong_codes_per_address", &RelayBudgets::codesPerAddress, 1, 1, 100'000, nullptr},
    NumberKey{"entries_per_account", &RelayBudgets::entries, 1, 1, 10'000,
              "Meetings entered by one account, a minute."},
};

constexpr std::array kFlags{
    FlagKey{"http_listen_anywhere", &RelayOptions::httpAnywhere,
            "Whether http_listen may be another address. Whoever reads that network reads passwords."},
    FlagKey{"announce", &RelayOptions::announce,
            "Whether the local network is told that there is this service (by Avahi, where it runs)."},
    FlagKey{"udp", &RelayOptions::udp,
            "Whether live pictures may come and go as UDP datagrams, at the same port number as TCP.\n"
            "Where a firewall stops them they go by TCP, and nobody notices."},
};

void SetFormat(RelayOptions& options, const std::string& format)
{
    constexpr std::array known{"text", "logfmt", "json"};
    if (std::find(known.begin(), known.end(), format) == known.end())
        throw StartError("log_format is text, logfmt or json");
    options.logFormat = format;
}

void SetMetrics(RelayOptions& options, const std::string& text)
{
    RelayOptions read;
    ReadListen(text, read);
    boost::system::error_code none;
    if (read.host == "localhost") read.host = "127.0.0.1";
    const auto address = boost::asio::ip::make_address(read.host, none);
    if (none || !address.is_loopback())
        throw StartError("metrics_listen is for this computer: 127.0.0.1:PORT, or [::1]:PORT");
    options.metricsHost = address.to_string();
    options.metricsPort = read.port;
}

void SetLevel(RelayOptions& options, const std::string& level)
{
    constexpr std::array known{"debug", "info", "warn", "error", "off"};
    if (std::find(known.begin(), known.end(), level) == known.end())
        throw StartError("log_level is debug, info, warn, error or off");
    options.logLevel = level;
}

constexpr std::array kTexts{
    TextKey{"listen", [](RelayOptions& o, const std::string& v) { ReadListen(v, o); }, "127.0.0.1:7420",
            "Where clients connect: HOST:PORT. Port 0 takes a free one."},
    TextKey{"http_listen",
            [](RelayOptions& o, const std::string& v) { ReadListen(v, o.httpHost, o.httpPort); }, "",
            "Where a web server that ends TLS passes on what is asked for below /zephyl/1/, as HTTP without\n"
            "TLS: HOST:PORT. Empty: nowhere. Only this computer's own addresses."},
    TextKey{"data", [](RelayOptions& o, const std::string& v) { o.data = v; }, "",
            "The data folder. Empty: zephyl under $XDG_DATA_HOME, else under ~/.local/share."},
    TextKey{"key", [](RelayOptions& o, const std::string& v) { o.key = v; }, "",
            "Private key and certificate chain (PEM), both or neither. Empty: made at the first start."},
    TextKey{"certificate", [](RelayOptions& o, const std::string& v) { o.certificate = v; }, "", nullptr},
    TextKey{"metrics_listen", SetMetrics, "",
            "Where metrics and health are told by HTTP: 127.0.0.1:PORT. Empty: nowhere."},
    TextKey{"log_level", SetLevel, "info",
            "debug, info, warn, error or off. Only debug names handles and meeting codes."},
    TextKey{"log_format", SetFormat, "text", "text, logfmt or json: an entry a line."},
};

void SetTls(RelayOptions& options, const std::string& how)
{
    using Tls = MailOptions::Tls;
    const std::array<std::pair<const char*, Tls>, 3> known{
        {{"starttls", Tls::StartTls}, {"tls", Tls::FromTheStart}, {"none", Tls::None}}};
    const auto at =
        std::find_if(known.begin(), known.end(), [&](const auto& one) { return one.first == how; });
    if (at == known.end()) throw StartError("tls is starttls, tls or none");
    options.mail.tls = at->second;
}

// The section "mail".
constexpr std::array kMailTexts{
    TextKey{"server", [](RelayOptions& o, const std::string& v) { o.mail.server = v; }, "",
            "The server that takes mail from here. Empty: this service sends none."},
    TextKey{"tls", SetTls, "starttls",
            "starttls: the connection has to become TLS before anything is said; tls: it is from the start;\n"
            "none: never, and only for a server on this computer."},
    TextKey{"user", [](RelayOptions& o, const std::string& v) { o.mail.user = v; }, "",
            "Who this service is to the mail server, and a file with the password in its first line that\n"
            "nobody else may read. Empty: the server does not ask."},
    TextKey{"password_file", [](RelayOptions& o, const std::string& v) { o.mail.passwordFile = v; }, "",
            nullptr},
    TextKey{"from", [](RelayOptions& o, const std::string& v) { o.mail.from = v; }, "",
            "The address that the mail comes from."},
    TextKey{
        "authorities", [](RelayOptions& o, const std::string& v) { o.mail.authorities = v; }, "",
        "Certificates (PEM) of those who may vouch for the mail server. Empty: whom this machine believes."},
};
constexpr std::array kMailNumbers{
    NumberKey{"port", &MailOptions::port, 1, 0, 65'535,
              "0: the usual one, 587 for starttls, 465 for tls, 25 for none."},
    NumberKey{"asked_per_address", &MailOptions::askedPerAddress, 1, 1, 10'000,
              "Passwords asked for from one address, a minute; and mails in all. A handle gets one in ten "
              "minutes."},
    NumberKey{"mails_per_minute", &MailOptions::mailsAMinute, 1, 1, 10'000, nullptr},
};
constexpr std::array kMailFlags{
    FlagKey{
        "answers_alike", &MailOptions::answersAlike,
        "Whether everybody who asks for a password is told that it was sent, so that nobody learns which\n"
        "handles there are."},
};

// The section "cluster".
constexpr std::array kClusterTexts{
    TextKey{
        "name", [](RelayOptions& o, const std::string& v) { o.cluster.name = RelayName(v); }, "",
        "What this relay is called among those that share what follows: letters, digits, \"-\" and \"_\"."},
    TextKey{
        "advertise", [](RelayOptions& o, const std::string& v) { o.cluster.advertise = RelayAddress(v); }, "",
        "Where clients reach this relay: HOST:PORT. The others name it to theirs, for when they are gone."},
    TextKey{"accounts", [](RelayOptions& o, const std::string& v) { o.cluster.accounts = v; }, "",
            "The database that has the accounts, and counts logins and guesses for all its relays:\n"
            "postgresql://USER@HOST/NAME. Empty: a file in the data folder, for one relay."},
    TextKey{"accounts_password_file",
            [](RelayOptions& o, const std::string& v) { o.cluster.accountsPasswordFile = v; }, "",
            "A file with the password in its first line that nobody else may read."},
    TextKey{"accounts_authorities",
            [](RelayOptions& o, const std::string& v) { o.cluster.accountsAuthorities = v; }, "",
            "Certificates (PEM) of those who may vouch for the database. Empty: whom this machine believes.\n"
            "Over a network it has to speak TLS and be the host that is named."},
    TextKey{"log", [](RelayOptions& o, const std::string& v) { o.cluster.log = v; }, "",
            "The NATS servers, with JetStream, that have the meetings: nats://USER@HOST:PORT,HOST:PORT.\n"
            "Empty: files in the data folder, for one relay."},
    TextKey{"log_password_file", [](RelayOptions& o, const std::string& v) { o.cluster.logPasswordFile = v; },
            "", "A file with the password in its first line that nobody else may read."},
    TextKey{
        "log_authorities", [](RelayOptions& o, const std::string& v) { o.cluster.logAuthorities = v; }, "",
        "Certificates (PEM) of those who may vouch for these servers. Empty: whom this machine believes.\n"
        "Other computers have to speak TLS and be the hosts that are named."},
};
constexpr std::array kClusterNumbers{
    NumberKey{
        "log_replicas", &ClusterOptions::logReplicas, 1, 0, 5,
        "On how many of these servers everything stands, when its place is made; later zephyld adjust makes\n"
        "them more. 0: on three where three are named, else on one."},
    NumberKey{
        "log_mebibytes", &ClusterOptions::logBytes, kMebibyte, 0, 1 << 30,
        "Of all meetings together, when their place is made; later zephyld adjust changes it. 0: as much\n"
        "as the servers take."},
    NumberKey{
        "gather", &ClusterOptions::gather, 1, 0, 1'000'000,
        "Clients whose meeting this relay keeps are told to come here from the others, while it has fewer\n"
        "connections than so many: that saves each of their messages a way. 0: they stay where they are."},
};
constexpr std::array<FlagKey, 0> kClusterFlags{};
constexpr std::array kClusterLists{
    ListKey{
        "relays",
        [](RelayOptions& o, std::vector<std::string> v) { o.cluster.relays = RelayAddresses(std::move(v)); },
        "What the other relays advertise, for clients that lose this one; they must share their meetings\n"
        "(log), and then find each other without this. All relays have the same key."},
};

void SetProxies(RelayOptions& options, std::vector<std::string> written)
{
    try {
        const TrustedProxies readable(written);
    } catch (const std::invalid_argument& wrong) {
        throw StartError(std::string("trusted_proxies: \"") + wrong.what() +
                         "\" is neither ADDRESS nor ADDRESS/BITS");
    }
    options.trustedProxies = std::move(written);
}

constexpr std::array kLists{
    ListKey{
        "trusted_proxies", SetProxies,
        "Addresses, or ADDRESS/BITS, of those whose X-Forwarded-For is believed: what is limited by address\n"
        "is then limited by the address that they name."},
};

std::string Where(const std::string& name, const toml::node& node)
{
    return name + ":" + std::to_string(node.source().begin.line) + ": ";
}

auto& Member(RelayOptions& options, milliseconds RelayTimes::*member)
{
    return options.times.*member;
}
auto& Member(RelayOptions& options, std::size_t RelayBounds::*member)
{
    return options.bounds.*member;
}
auto& Member(RelayOptions& options, std::size_t RelayBudgets::*member)
{
    return options.budgets.*member;
}
template <class Value>
Value& Member(RelayOptions& options, Value RelayOptions::*member)
{
    return options.*member;
}
template <class Value>
Value& Member(RelayOptions& options, Value MailOptions::*member)
{
    return options.mail.*member;
}
template <class Value>
Value& Member(RelayOptions& options, Value ClusterOptions::*member)
{
    return options.cluster.*member;
}

void Set(milliseconds& member, std::int64_t value)
{
    member = milliseconds(value);
}
template <class Number>
void Set(Number& member, std::int64_t value)
{
    member = static_cast<Number>(value);
}

std::int64_t Get(milliseconds member)
{
    return member.count();
}
std::int64_t Get(std::size_t member)
{
    return static_cast<std::int64_t>(member);
}

void Take(const NumberKey& key, const toml::node& node, RelayOptions& options)
{
    const auto value = node.value_exact<std::int64_t>();
    if (!value || *value < key.least || *value > key.most)
        throw StartError(std::string(key.name) + " is a whole number from " + std::to_string(key.least) +
                         " to " + std::to_string(key.most));
    std::visit([&](auto member) { Set(Member(options, member), *value * key.unit); }, key.place);
}

void Take(const TextKey& key, const toml::node& node, RelayOptions& options)
{
    const auto value = node.value_exact<std::string>();
    if (!value) throw StartError(std::string(key.name) + " is a text in quotes");
    if (!value->empty()) key.set(options, *value);
}

void Take(const FlagKey& key, const toml::node& node, RelayOptions& options)
{
    const auto value = node.value_exact<bool>();
    if (!value) throw StartError(std::string(key.name) + " is true or false");
    std::visit([&](auto member) { Member(options, member) = *value; }, key.place);
}

void Take(const ListKey& key, const toml::node& node, RelayOptions& options)
{
    const StartError wrong(std::string(key.name) + " is a list of texts: [\"...\", \"...\"]");
    if (!node.is_array()) throw wrong;
    std::vector<std::string> texts;
    for (const toml::node& one : *node.as_array()) {
        const auto text = one.value_exact<std::string>();
        if (!text) throw wrong;
        texts.push_back(*text);
    }
    key.set(options, std::move(texts));
}

template <class Keys>
bool TakeFrom(const Keys& keys, std::string_view name, const toml::node& node, RelayOptions& options)
{
    for (const auto& key : keys) {
        if (name != key.name) continue;
        Take(key, node, options);
        return true;
    }
    return false;
}

/// What there is not. A line that was added at a file's end is in its last section.
std::string NoSuchKey(std::string_view key, const toml::node& node, const char* section)
{
    const std::string word(key);
    if (node.is_table() || node.is_array_of_tables()) return "there is no section [" + word + "]";
    if (!*section) return "there is no key \"" + word + "\"";
    const auto has = [&](const auto& keys) {
        return std::any_of(keys.begin(), keys.end(), [&](const auto& one) { return key == one.name; });
    };
    return "there is no key \"" + word + "\" in [" + section + "]" +
           (has(kTexts) || has(kFlags) || has(kNumbers) || has(kLists)
                ? ": it stands in front of the first section"
                : "");
}

/// `take(key, node)` is false where there is no such key. `section` is "" in front of the first one.
template <class Take>
void TakeAll(const toml::table& table, const std::string& name, const char* section, Take take)
{
    for (const auto& [key, node] : table) {
        try {
            if (take(key.str(), node)) continue;
        } catch (const StartError& error) {
            throw StartError(Where(name, node) + error.what());
        }
        throw StartError(Where(name, node) + NoSuchKey(key.str(), node, section));
    }
}

void PutComment(std::ostream& out, const char* comment)
{
    std::istringstream lines(comment ? comment : "");
    for (std::string line; std::getline(lines, line);) out << "# " << line << "\n";
}

void PutLists(std::ostream& out, const auto& lists)
{
    for (const ListKey& key : lists) {
        PutComment(out, key.comment);
        out << key.name << " = []\n\n";
    }
}

void PutKeys(std::ostream& out, const auto& texts, const auto& flags, const auto& numbers)
{
    RelayOptions defaults;
    for (const TextKey& key : texts) {
        PutComment(out, key.comment);
        out << key.name << " = \"" << key.byDefault << "\"\n\n";
    }
    for (const FlagKey& key : flags) {
        PutComment(out, key.comment);
        const bool value = std::visit([&](auto member) { return Member(defaults, member); }, key.place);
        out << key.name << " = " << (value ? "true" : "false") << "\n\n";
    }
    for (const NumberKey& key : numbers) {
        PutComment(out, key.comment);
        const std::int64_t value =
            std::visit([&](auto member) { return Get(Member(defaults, member)); }, key.place);
        out << key.name << " = " << value / key.unit << "\n\n";
    }
}

}  // namespace

void ReadConfigText(const std::string& text, const std::string& name, RelayOptions& options)
{
    toml::table table;
    try {
        table = toml::parse(text, name);
    } catch (const toml::parse_error& error) {
        throw StartError(name + ":" + std::to_string(error.source().begin.line) + ": " +
                         std::string(error.description()));
    }
    const auto takeMail = [&](std::string_view key, const toml::node& node) {
        return TakeFrom(kMailTexts, key, node, options) || TakeFrom(kMailNumbers, key, node, options) ||
               TakeFrom(kMailFlags, key, node, options);
    };
    TakeAll(table, name, "", [&](std::string_view key, const toml::node& node) {
        if ((key == "mail" || key == "cluster") && node.is_table()) return true;
        return TakeFrom(kNumbers, key, node, options) || TakeFrom(kTexts, key, node, options) ||
               TakeFrom(kFlags, key, node, options) || TakeFrom(kLists, key, node, options);
    });
    if (const toml::table* mail = table["mail"].as_table()) TakeAll(*mail, name, "mail", takeMail);
    if (const toml::table* cluster = table["cluster"].as_table())
        TakeAll(*cluster, name, "cluster", [&](std::string_view key, const toml::node& node) {
            return TakeFrom(kClusterTexts, key, node, options) ||
                   TakeFrom(kClusterNumbers, key, node, options) ||
                   TakeFrom(kClusterLists, key, node, options);
        });
    if (options.key.empty() != options.certificate.empty())
        throw StartError(name + ": key and certificate belong together");
    try {
        CheckMail(options.mail);
        CheckCluster(options.cluster);
        CheckOtherRelays(options.cluster);
        CheckLogPlace(options.cluster);
    } catch (const StartError& error) {
        throw StartError(name + ": " + error.what());
    }
}

void ReadConfig(const std::filesystem::path& file, RelayOptions& options)
{
    std::string text;
    try {
        text = files::ReadNamed(file, kMebibyte, files::Owner::Anybody);
    } catch (const files::FileProblem& problem) {
        throw StartError(std::string("cannot read the configuration: ") + problem.what());
    }
    ReadConfigText(text, file.string(), options);
    options.config = std::filesystem::absolute(file);
}

std::string SampleConfig()
{
    std::ostringstream out;
    PutKeys(out, kTexts, kFlags, kNumbers);
    PutLists(out, kLists);
    out << "# Mail, for who has forgotten a password.\n[mail]\n\n";
    PutKeys(out, kMailTexts, kMailFlags, kMailNumbers);
    out << "# What several relays share.\n[cluster]\n\n";
    PutKeys(out, kClusterTexts, kClusterFlags, kClusterNumbers);
    PutLists(out, kClusterLists);
    return out.str();
}

}  // namespace zephyl
