#include "service/relay/cluster/named_relays.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "service/relay/listen_address.h"
#include "service/relay/private_folder.h"
#include "service/wire/limits.h"

namespace zephyl {
namespace {

constexpr std::size_t kNameBytes = 32;

bool IsPlain(unsigned char c)
{
    return std::isalnum(c) || c == '-' || c == '_';
}

}  // namespace

std::string RelayName(const std::string& written)
{
    if (written.size() > kNameBytes || !std::all_of(written.begin(), written.end(), IsPlain))
        throw StartError("\"" + written + "\" is no name of a relay: letters, digits, \"-\" and \"_\", " +
                         std::to_string(kNameBytes) + " at most");
    return written;
}

std::string RelayAddress(const std::string& written)
{
    std::string host;
    std::uint16_t port = 0;
    ReadListen(written, host, port);
    const bool plain = std::all_of(host.begin(), host.end(),
                                   [](unsigned char c) { return IsPlain(c) || c == '.' || c == ':'; });
    const bool v6 = host.find(':') != std::string::npos;
    if (!plain || port == 0 || written.size() > kRelayAddressBytes || v6 != (written.front() == '['))
        throw StartError("\"" + written + "\" is not where clients can go: HOST:PORT, or [V6]:PORT");
    if (host == "0.0.0.0" || host == "::")
        throw StartError("\"" + written + "\" is every address; clients need one, or a name");
    return written;
}

std::vector<std::string> RelayAddresses(std::vector<std::string> written)
{
    if (written.size() > kRelaysNamed + 1)
        throw StartError("relays: " + std::to_string(kRelaysNamed) + " others at most");
    for (const std::string& one : written) RelayAddress(one);
    return written;
}

void CheckOtherRelays(const ClusterOptions& options)
{
    if (!options.relays.empty() && options.advertise.empty())
        throw StartError("cluster: relays: say with advertise which of them is this one");
    const std::set<std::string> others(options.relays.begin(), options.relays.end());
    if (others.size() != options.relays.size()) throw StartError("cluster: relays: one is named twice");
    if (others.size() - others.count(options.advertise) > kRelaysNamed)
        throw StartError("cluster: relays: " + std::to_string(kRelaysNamed) + " others at most");
}

NamedRelays::NamedRelays(const ClusterOptions& options)
{
    for (const std::string& one : options.relays)
        if (one != options.advertise) mAddresses.push_back(one);
}

}  // namespace zephyl
