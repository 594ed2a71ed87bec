#pragma once
// Who answers at an address.

#include <string>

namespace zephyl {

/// The fingerprint of the key there. `address`: HOST:PORT. Waits, for some seconds at most. Throws
/// std::exception with what keeps it from being known.
std::string KeyAt(const std::string& address);

}  // namespace zephyl
