#pragma once
// Hosts with their ports, as an operator writes them.

#include <cstdint>
#include <string>

#include "service/relay/options.h"

namespace zephyl {

/// "HOST:PORT" or "[V6]:PORT". Throws StartError.
void ReadListen(const std::string& text, std::string& host, std::uint16_t& port);
inline void ReadListen(const std::string& text, RelayOptions& options)
{
    ReadListen(text, options.host, options.port);
}

}  // namespace zephyl
