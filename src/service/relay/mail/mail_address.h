#pragma once
// Mail addresses: which may stand in a letter's head, and what others are told of them. Pure.

#include <optional>
#include <string>

namespace zephyl {

/// Why this cannot be an address that mail goes to or comes from; none when it can: one name and one domain
/// in printable ASCII, 254 characters at most, nothing that could end a line or begin another address.
std::optional<std::string> MailAddressFault(const std::string& address);

/// "a***@e***.org" of "ann@mail.example.org": its owner knows it by that, a stranger does not.
std::string MaskedAddress(const std::string& address);

}  // namespace zephyl
