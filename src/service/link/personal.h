#pragma once
// Starting the service of this computer. Network thread.

#include <boost/asio/awaitable.hpp>
#include <string>

namespace zephyl::link {

/// Starts `zephyldPath serve --personal` in a session of its own and waits until it says that it accepts
/// connections, or ends because another one serves already. It outlives us. Throws std::runtime_error when it
/// cannot be started; a daemon that says nothing is waited for until the caller gives up.
boost::asio::awaitable<void> StartPersonalService(std::string zephyldPath);

}  // namespace zephyl::link
