#include "service/relay/cluster/nats_place.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include "service/relay/private_folder.h"
#include "service/relay/secret_file.h"
#include "service/relay/this_computer.h"

namespace zephyl {
namespace {

constexpr char kScheme[] = "nats://";
constexpr char kSection[] = "cluster: log";
constexpr char kUsualPort[] = "4222";
constexpr char kMachinesAuthorities[] = "/etc/ssl/certs/ca-certificates.crt";
constexpr int kMostPort = 65'535;
constexpr std::size_t kEnoughServers = 3;

void Require(bool good, const std::string& otherwise)
{
    if (!good) throw StartError(std::string(kSection) + ": " + otherwise);
}

/// "n1", "n1:4222", "[2001:db8::1]:4222"
NatsServer ServerOf(const std::string& written)
{
    NatsServer server;
    std::size_t end = written.find(':');
    if (written.starts_with('[')) {
        end = written.find(']');
        Require(end != std::string::npos, "\"[\" has no \"]\" behind it");
        server.host = written.substr(1, end - 1);
        ++end;
        Require(end == written.size() || written[end] == ':', "behind \"]\" stands \":PORT\", or nothing");
    } else {
        server.host = written.substr(0, end);
    }
    Require(!server.host.empty(), "a server has no name: nats://USER@HOST:PORT,HOST:PORT");
    server.port = kUsualPort;
    if (end < written.size()) server.port = written.substr(end + 1);
    const bool digits = !server.port.empty() && server.port.size() <= 5 &&
                        std::all_of(server.port.begin(), server.port.end(),
                                    [](unsigned char c) { return std::isdigit(c) != 0; });
    Require(digits && std::stoi(server.port) >= 1 && std::stoi(server.port) <= kMostPort,
            "\"" + server.port + "\" is no port");
    return server;
}

/// Without its secrets.
NatsSite ReadPlace(const ClusterOptions& options)
{
    const std::string& uri = options.log;
    Require(uri.starts_with(kScheme), "servers are named as nats://USER@HOST:PORT,HOST:PORT");
    std::string rest = uri.substr(sizeof kScheme - 1);
    Require(std::all_of(rest.begin(), rest.end(),
                        [](unsigned char c) {
                            return std::isalnum(c) ||
                                   std::string(".-_:,@[]").find(static_cast<char>(c)) != std::string::npos;
                        }),
            "behind nats:// stand a user and hosts, and nothing else");
    const std::size_t at = rest.find('@');
    Require(at != std::string::npos && at > 0, "it names no user: nats://USER@HOST");
    const std::string user = rest.substr(0, at);
    Require(
        user.find(':') == std::string::npos,
        "no password belongs in a file that others may read; name a file of its own with log_password_file");
    rest.erase(0, at + 1);
    NatsSite site;
    std::istringstream in(rest);
    for (std::string one; std::getline(in, one, ',');) site.servers.push_back(ServerOf(one));
    Require(!site.servers.empty() && !rest.ends_with(','), "it names no server: nats://USER@HOST");
    const bool here = std::all_of(site.servers.begin(), site.servers.end(),
                                  [](const NatsServer& one) { return NamesThisComputer(one.host); });
    const bool named = !options.logAuthorities.empty();
    for (NatsServer& server : site.servers) {
        server.user = user;
        server.tls = !here || named;
        server.authorities = named ? options.logAuthorities.string() : kMachinesAuthorities;
    }
    const std::size_t usual = site.servers.size() >= kEnoughServers ? kEnoughServers : 1;
    site.replicas = static_cast<unsigned>(options.logReplicas > 0 ? options.logReplicas : usual);
    Require(site.replicas <= site.servers.size() || site.servers.size() == 1,
            "log_replicas is " + std::to_string(site.replicas) + ", but there are " +
                std::to_string(site.servers.size()) + " servers");
    site.logBytes = options.logBytes;
    return site;
}

}  // namespace

void CheckLogPlace(const ClusterOptions& options)
{
    if (options.log.empty()) {
        Require(options.logPasswordFile.empty() && options.logAuthorities.empty(),
                "password and authorities belong to servers, which are not named");
        return;
    }
    ReadPlace(options);
    Require(!options.logPasswordFile.empty(),
            "these servers must ask for a password: name a file that has it with log_password_file");
}

std::string LogPlaceName(const ClusterOptions& options)
{
    std::string name;
    for (const NatsServer& server : ReadPlace(options).servers)
        name += (name.empty() ? "" : ", ") + server.host;
    return name;
}

NatsSite LogPlace(const ClusterOptions& options)
{
    NatsSite site = ReadPlace(options);
    const std::string password = ReadSecret(options.logPasswordFile, kSection);
    for (NatsServer& server : site.servers) server.password = password;
    return site;
}

}  // namespace zephyl
