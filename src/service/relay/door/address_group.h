#pragma once
// Which addresses count as one. Pure.

#include <string>

namespace zephyl {

/// Whoever has an IPv6 address has the other ones of its /64, too: "2001:db8:0:1::/64". An IPv4 address, one
/// of this link and anything else stand for themselves.
std::string AddressGroup(const std::string& address);

}  // namespace zephyl
