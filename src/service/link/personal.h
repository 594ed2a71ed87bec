#pragma once
// Starting the service of this computer. Network thread.

#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <string>

namespace zephyl::link {

enum class Started { Serves, AnotherServes };

/// Starts `zephyldPath serve --personal` in a session of its own and waits until it says that it accepts
/// connections, or ends because another one serves already. It outlives us. Throws std::runtime_error with
/// the reason when it cannot serve, or says nothing within `limit`.
boost::asio::awaitable<Started> StartPersonalService(std::string zephyldPath,
                                                     std::chrono::milliseconds limit);

}  // namespace zephyl::link
