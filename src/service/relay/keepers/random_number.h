#pragma once
// A number that nobody else draws.

#include <sodium.h>

#include <cstdint>

namespace zephyl {

/// Never 0.
inline std::uint64_t RandomNumber()
{
    std::uint64_t number = 0;
    while (number == 0) randombytes_buf(&number, sizeof number);
    return number;
}

}  // namespace zephyl
