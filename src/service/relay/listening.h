#pragma once
// Sockets that wait for others.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <string>

namespace spdlog {
class logger;
}

namespace zephyl {

/// On a strand of its own, on which AcceptAll is spawned and the acceptor closed. Throws StartError.
boost::asio::ip::tcp::acceptor Listen(boost::asio::io_context& io, const std::string& host,
                                      std::uint16_t port);
/// Until the acceptor is closed.
boost::asio::awaitable<void> AcceptAll(boost::asio::io_context& io, boost::asio::ip::tcp::acceptor& acceptor,
                                       spdlog::logger& log,
                                       std::function<void(boost::asio::ip::tcp::socket)> take);
/// One text for an IPv4 address, however it came.
std::string PlainAddress(const boost::asio::ip::address& address);

}  // namespace zephyl
