#pragma once
// Which names cannot be anybody else's. Pure.

#include <string_view>

namespace zephyl {

/// "localhost", "127.0.0.1" and its like, "::1", without a port. Nothing is looked up.
bool NamesThisComputer(std::string_view host);

}  // namespace zephyl
