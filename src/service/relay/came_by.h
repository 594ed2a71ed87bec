#pragma once

#include <cstdint>
#include <string>

namespace zephyl {

/// Which opening of a person's own service a connection came in by; number 0: by none, from inside.
struct CameBy {
    std::uint64_t opening = 0;
    std::string meeting = {};  // the only one that it may enter
    bool FromOutside() const { return opening != 0; }
};

}  // namespace zephyl
