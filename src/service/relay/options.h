#pragma once
// What an operator may set, with its defaults. Values only; config.h reads them from a file.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "service/wire/limits.h"

namespace zephyl {

/// Out of descriptors: a listener waits a moment, so as not to spin.
inline constexpr std::chrono::milliseconds kAcceptPause{100};

/// All on steady clocks.
struct RelayTimes {
    std::chrono::milliseconds tick{1000};  // how exact the others are
    std::chrono::milliseconds pingAfter = kPingAfterSilence;
    std::chrono::milliseconds lostAfter = kLostAfterSilence;
    std::chrono::milliseconds httpLostAfter = kHttpLostAfter;  // without an exchange
    std::chrono::milliseconds stuckAfter{30'000};              // a socket that takes nothing
    std::chrono::milliseconds floodAfter{30'000};              // over its budget without a break
    std::chrono::milliseconds beforeLogin = kBeforeLogin;
    std::chrono::milliseconds grace{60'000};       // a cut-off seat that nobody sees leave
    std::chrono::milliseconds away{600'000};       // and after that, until it is gone
    std::chrono::milliseconds keepEmpty{600'000};  // a meeting without seats
    std::chrono::milliseconds idleEnd{600'000};    // a personal service without connections
    std::chrono::milliseconds accepted{10};        // Accepted gathers this long when nothing else goes out
};

/// When relays that share their meetings give each other up; by the clock of each.
struct ClusterTimes {
    std::chrono::milliseconds beat{500};            // how often each writes that it lives
    std::chrono::milliseconds goneAfter{2000};      // without that
    std::chrono::milliseconds leftAfter{1000};      // the same, where it has no connection either
    std::chrono::milliseconds decidesFor{1500};     // since it last could; less than goneAfter
    std::chrono::milliseconds cutOffAfter{3000};    // then its clients go to the others
    std::chrono::milliseconds orphanedAfter{5000};  // a meeting that nobody keeps or asks for is taken over
    std::chrono::milliseconds gatherAfter{3000};    // to twice that: a seat goes to its meeting's keeper
};

struct RelayBounds {
    std::size_t connectionsPerAddress = 20;  // before login
    std::size_t connectionsBeforeLogin = 1000;
    std::size_t seatsPerMeeting = kSeatsPerMeeting;
    std::size_t talkKept = kTalkKeptBytes;
    std::size_t boardKept = kBoardKeptBytes;
    std::size_t logInMemory = kLogInMemoryBytes;    // a meeting; older parts are read from its files
    std::size_t logsInMemory = kLogsInMemoryBytes;  // in all
    std::size_t memory = 1 << 30;                   // of the whole process; 0: no limit
    std::size_t talkWindow = kTalkWindowBytes;
    std::size_t boardWindow = kBoardWindowBytes;
};

/// Of one session, a second; 0: no limit.
struct RelayBudgets {
    std::size_t items = 60, itemsBurst = 300;  // lines, records, pictures
    std::size_t bytes = 2 << 20, bytesBurst = 16 << 20;
    std::size_t liveFrames = kLiveFramesEachSecond, liveBytes = kLiveBytesEachSecond;
    // A minute.
    std::size_t codesPerAccount = 10, codesPerAddress = 60;  // that no meeting has
    std::size_t entries = 60;                                // into meetings, of one account
};

/// How mail leaves. Without a server it does not.
struct MailOptions {
    enum class Tls { StartTls, FromTheStart, None };

    std::string server;  // a name or an address
    unsigned port = 0;   // 0: the usual one for `tls`
    Tls tls = Tls::StartTls;
    std::string user;                    // who sends; "": the server does not ask
    std::filesystem::path passwordFile;  // with `user` only
    std::filesystem::path authorities;   // PEM, who may vouch for the server; empty: the machine's
    std::string from;
    bool answersAlike = false;         // whether or not there is such a handle
    std::size_t askedPerAddress = 10;  // a minute
    std::size_t mailsAMinute = 60;

    bool On() const { return !server.empty(); }
    bool operator==(const MailOptions&) const = default;
};

/// What several relays share. Nothing: this one is alone.
struct ClusterOptions {
    std::string accounts = {};  // a URI of PostgreSQL's, without a password; "": a file in `data`
    std::filesystem::path accountsPasswordFile = {};  // empty: the server does not ask, or ~/.pgpass says it
    std::filesystem::path accountsAuthorities = {};   // PEM, who may vouch for it; empty: the machine's
    std::string name = {};                            // of this relay among them
    std::string advertise = {};                       // HOST:PORT where clients reach it
    std::vector<std::string> relays = {};             // the same of the others; this one may be among them
    std::string log = {};  // where meetings stand, nats://USER@HOST,HOST; "": in files in `data`
    std::filesystem::path logPasswordFile = {};
    std::filesystem::path logAuthorities = {};  // PEM, who may vouch for those hosts; empty: the machine's
    std::size_t logReplicas = 0;                // 0: 3 where three hosts are named, else 1
    std::size_t logBytes = 0;                   // of all meetings; 0: as much as the servers take
    std::size_t gather = 3000;                  // up to so many connections clients come to their keeper

    bool operator==(const ClusterOptions&) const = default;
};

struct RelayOptions {
    int socket = -1;  // listens already; else one is opened
    std::string host = "127.0.0.1";
    std::uint16_t port = kDefaultPort;  // 0: a free one
    // HTTP without TLS, for reverse proxies; "" = none. Not loopback only if said so.
    std::string httpHost;
    std::uint16_t httpPort = 0;
    bool httpAnywhere = false;
    std::vector<std::string> trustedProxies;  // ADDRESS or ADDRESS/BITS
    std::filesystem::path data;
    std::filesystem::path key, certificate;  // PEM; empty: the service's own
    unsigned threads = 0;                    // 0: as many as cores
    bool logsInMemory = false;               // meetings end with the process
    bool personal = false;                   // behind a door; unknown handles register themselves
    bool announce = false;                   // to the local network
    bool udp = true;                         // live frames may go as datagrams, at the same port number
    std::string metricsHost;                 // a loopback address; "": no metrics
    std::uint16_t metricsPort = 0;           // 0: a free one
    std::string version;                     // as an operator is told
    std::string logLevel = "info";
    std::string logFormat = "text";
    std::string door;  // what Hello must hold; "" = nothing
    RelayTimes times;
    ClusterTimes clusterTimes;
    RelayBounds bounds;
    RelayBudgets budgets;
    MailOptions mail;
    ClusterOptions cluster;
    std::filesystem::path config;  // the file that said all this; empty: none
};

}  // namespace zephyl
