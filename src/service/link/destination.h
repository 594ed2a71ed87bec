#pragma once
// Where the service is and how to get there. Values.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "contract/link_needs.h"
#include "service/link/http_proxy.h"

namespace zephyl::link {

struct Destination {
    std::string host = {};  // the name or address that was asked for
    std::uint16_t port = 0;
    Protocol protocol = Protocol::Tcp;
    std::chrono::seconds poll{1};         // HTTP: how long an empty answer is waited for
    std::optional<HttpProxy> proxy = {};  // HTTP: what stands between
};

}  // namespace zephyl::link
