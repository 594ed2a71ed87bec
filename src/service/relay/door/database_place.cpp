#include "service/relay/door/database_place.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <vector>

#include "service/relay/private_folder.h"
#include "service/relay/secret_file.h"
#include "service/relay/this_computer.h"

namespace zephyl {
namespace {

constexpr char kMachinesAuthorities[] = "/etc/ssl/certs/ca-certificates.crt";
// What may stand behind "?": nothing that weakens TLS, names a file or says a password.
constexpr std::array<std::string_view, 2> kParameters{"host", "port"};

void Require(bool good, const std::string& otherwise)
{
    if (!good) throw StartError("cluster: accounts: " + otherwise);
}

std::vector<std::string> Split(const std::string& text, char at)
{
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, at);) parts.push_back(part);
    return parts;
}

std::string Decoded(const std::string& text)
{
    std::string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool escape = text[at] == '%';
        const auto hex = [&](std::size_t place) {
            return place < text.size() && std::isxdigit(static_cast<unsigned char>(text[place]));
        };
        Require(!escape || (hex(at + 1) && hex(at + 2)), "\"%\" has two hexadecimal digits behind it");
        out += escape ? static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16)) : text[at];
        if (escape) at += 2;
    }
    Require(out.find('\0') == std::string::npos, "%00 stands for nothing");
    return out;
}

std::string Encoded(const std::string& text)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte))
            out += c;
        else
            (out += '%').append({digits[byte / 16], digits[byte % 16]});
    }
    return out;
}

struct Place {
    std::vector<std::string> hosts;  // names, addresses or folders of sockets; none: the usual folder
    std::string database;

    bool OnThisComputer() const
    {
        return std::all_of(hosts.begin(), hosts.end(), [](const std::string& host) {
            return host.starts_with('/') || NamesThisComputer(host);
        });
    }
};

/// "db1:5432", "[::1]:5432", "%2Frun%2Fpostgresql"
std::string HostOf(const std::string& written)
{
    if (!written.starts_with('[')) return Decoded(written.substr(0, written.find(':')));
    const std::size_t end = written.find(']');
    Require(end != std::string::npos, "\"[\" has no \"]\" behind it");
    return written.substr(1, end - 1);
}

void ReadParameters(const std::string& text, Place& place)
{
    for (const std::string& one : Split(text, '&')) {
        const std::string name = Decoded(one.substr(0, one.find('=')));
        Require(std::find(kParameters.begin(), kParameters.end(), name) != kParameters.end(),
                "\"" + name +
                    "\" cannot be said there; a password has accounts_password_file, and TLS is always "
                    "checked");
        if (name != "host") continue;
        for (const std::string& host : Split(one.substr(one.find('=') + 1), ','))
            place.hosts.push_back(Decoded(host));
    }
}

Place ReadPlace(const std::string& uri)
{
    const std::size_t scheme = uri.starts_with("postgresql://") ? 13
                               : uri.starts_with("postgres://") ? 11
                                                                : 0;
    Require(scheme > 0, "a database is named as postgresql://USER@HOST/NAME");
    Require(std::all_of(uri.begin(), uri.end(), [](unsigned char c) { return c > ' ' && c < 0x7f; }) &&
                uri.find('#') == std::string::npos,
            "what is no letter, digit or mark of an address is written as % and two digits");
    const std::size_t question = std::min(uri.find('?'), uri.size());
    const std::size_t slash = std::min(uri.find('/', scheme), question);
    std::string authority = uri.substr(scheme, slash - scheme);
    Place place;
    if (const std::size_t at = authority.find('@'); at != std::string::npos) {
        Require(authority.substr(0, at).find(':') == std::string::npos,
                "no password belongs in a file that others may read; name a file of its own with "
                "accounts_password_file");
        authority.erase(0, at + 1);
    }
    for (const std::string& host : Split(authority, ','))
        if (!host.empty()) place.hosts.push_back(HostOf(host));
    if (slash < question) place.database = Decoded(uri.substr(slash + 1, question - slash - 1));
    Require(!place.database.empty(), "it names no database: postgresql://USER@HOST/NAME");
    if (question < uri.size()) ReadParameters(uri.substr(question + 1), place);
    return place;
}

}  // namespace

void CheckCluster(const ClusterOptions& options)
{
    if (options.accounts.empty())
        Require(options.accountsPasswordFile.empty() && options.accountsAuthorities.empty(),
                "password and authorities belong to a database, which is not named");
    else
        ReadPlace(options.accounts);
}

std::string DatabaseName(const ClusterOptions& options)
{
    const Place place = ReadPlace(options.accounts);
    std::string name = place.database + " at ";
    for (const std::string& host : place.hosts) name += (&host == &place.hosts.front() ? "" : ", ") + host;
    return place.hosts.empty() ? name + "this computer" : name;
}

// What comes later in a URI goes before what comes earlier, and before the environment.
std::string DatabaseUri(const ClusterOptions& options)
{
    const Place place = ReadPlace(options.accounts);
    std::string uri = options.accounts;
    uri += uri.find('?') == std::string::npos ? '?' : '&';
    uri += "client_encoding=UTF8&application_name=zephyld&connect_timeout=3&options=&gssencmode=disable";
    uri += "&target_session_attrs=read-write";  // of several hosts the one that takes changes
    uri += "&keepalives_idle=15&keepalives_interval=5&keepalives_count=3&tcp_user_timeout=20000";
    if (!place.OnThisComputer() || !options.accountsAuthorities.empty()) {
        const std::string authorities = options.accountsAuthorities.empty()
                                            ? std::string(kMachinesAuthorities)
                                            : options.accountsAuthorities.string();
        uri += "&sslmode=verify-full&ssl_min_protocol_version=TLSv1.2&sslrootcert=" + Encoded(authorities);
    } else {
        uri += "&sslmode=prefer";
    }
    if (!options.accountsPasswordFile.empty())
        uri += "&password=" + Encoded(ReadSecret(options.accountsPasswordFile, "cluster: accounts"));
    return uri;
}

}  // namespace zephyl
