#pragma once
// Which address others are told for a client.

#include <boost/asio/awaitable.hpp>
#include <string>

namespace spdlog {
class logger;
}

namespace zephyl {

/// The name that the client announces, if one of its addresses is the observed one or a private one; else
/// the observed address. A name that takes longer than two seconds to look up counts as none.
boost::asio::awaitable<std::string> AcceptedHostName(spdlog::logger& log, std::string announced,
                                                     std::string observed);

}  // namespace zephyl
