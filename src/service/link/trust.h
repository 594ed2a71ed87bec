#pragma once
// Whom the link talks to. Pure.

#include <optional>
#include <string>

namespace zephyl::link {

enum class Trust { Yes, Ask, Changed };

/// `vouched`: an authority of this machine vouches for the key under the name that was asked for. `pinned`:
/// the key that the user named or accepted before; then it is the only one that is trusted, whoever vouches
/// for another. Without both the user is asked.
Trust Judge(const std::string& fingerprint, bool vouched, const std::optional<std::string>& pinned);

struct ServiceAddress {
    std::string host;
    unsigned short port = 0;
};
/// "HOST", "HOST:PORT", "[V6]:PORT" or a bare V6 address, blanks at the ends ignored; the default port where
/// none is named. None: not an address.
std::optional<ServiceAddress> ReadServiceAddress(std::string text);
/// One text for all spellings of an address: lower case, without the default port. What pins are kept by.
std::string ServiceName(const ServiceAddress& address);
/// Where an attendee is whom the service sees at `seen`. A loopback address means the service's own computer,
/// which for everybody else has the name that they reach the service by. `service`: as ServiceName writes it;
/// "" for the one of this computer.
std::string AddressFromHere(const std::string& seen, const std::string& service);

}  // namespace zephyl::link
