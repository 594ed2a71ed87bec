#pragma once
// The local networks of this computer, as they are at the moment of asking. Any thread.

#include <string>
#include <vector>

namespace zephyl {

/// Whether an address is of this computer itself or of a network that it is directly on, so not of the
/// internet beyond a router. Of a link between two ends only there is no network.
bool IsNeighbour(const std::string& address);

/// By which neighbours reach this computer, as texts: the one that it speaks to the world by first, IPv4
/// before IPv6; at most four. Without any network its loopback address.
std::vector<std::string> OwnAddresses();

}  // namespace zephyl
