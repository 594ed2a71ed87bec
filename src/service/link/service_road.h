#pragma once
// What a connection to the service travels on: bytes both ways, in order, until it is lost. Network thread.

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <string>
#include <string_view>

#include "service/net/tls_stream.h"

namespace zephyl::link {

class ServiceRoad {
public:
    using Executor = boost::asio::any_io_executor;

    virtual ~ServiceRoad() = default;
    virtual Executor GetExecutor() = 0;
    /// The two steps of opening, without a bound of their own: Close ends them. Nothing of ours has been sent
    /// behind them. They throw what the socket and TLS throw.
    virtual boost::asio::awaitable<void> Connect(boost::asio::ip::tcp::endpoint address) = 0;
    virtual boost::asio::awaitable<void> Handshake() = 0;
    virtual TlsPeer Peer() const = 0;

    /// Appends what comes next; nothing, when only a sign of life came. Throws when the road is lost.
    virtual boost::asio::awaitable<void> Read(std::string& into) = 0;
    virtual boost::asio::awaitable<void> Write(std::string_view bytes) = 0;
    /// What is lost on the way is given up sooner from now on.
    virtual void OthersMayServe() {}
    virtual void Close() = 0;
};

}  // namespace zephyl::link
