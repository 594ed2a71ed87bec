#pragma once
// What a backup holds, part by part, out of a service that runs.

#include <boost/asio/awaitable.hpp>
#include <functional>
#include <string>

#include "service/relay/services.h"

namespace zephyl {

/// Writes one while the service runs, meeting by meeting: of each what it had at one moment. `write` takes
/// the parts in order. Throws std::exception when it cannot be whole.
boost::asio::awaitable<void> StreamBackup(
    Services& services, std::function<boost::asio::awaitable<void>(std::string_view)> write);

}  // namespace zephyl
