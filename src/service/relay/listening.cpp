#include "service/relay/listening.h"

#include <spdlog/logger.h>

#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <utility>

#include "service/relay/options.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace asio = boost::asio;
using asio::ip::tcp;

namespace {
}

tcp::acceptor Listen(asio::io_context& io, const std::string& host, std::uint16_t port)
{
    tcp::acceptor acceptor(asio::make_strand(io));
    boost::system::error_code error;
    tcp::resolver resolver(io);
    const auto found = resolver.resolve(host, std::to_string(port), tcp::resolver::passive, error);
    if (error || found.empty()) throw StartError("cannot listen on \"" + host + "\": " + error.message());
    const tcp::endpoint endpoint = found.begin()->endpoint();
    acceptor.open(endpoint.protocol(), error);
    acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (endpoint.address().is_v6() && endpoint.address().is_unspecified())
        acceptor.set_option(asio::ip::v6_only(false), error);
    acceptor.bind(endpoint, error);
    if (!error) acceptor.listen(tcp::acceptor::max_listen_connections, error);
    if (error)
        throw StartError("cannot listen on " + host + ":" + std::to_string(port) + ": " + error.message());
    return acceptor;
}

std::string PlainAddress(const asio::ip::address& address)
{
    if (address.is_v6() && address.to_v6().is_v4_mapped())
        return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string();
    return address.to_string();
}

asio::awaitable<void> AcceptAll(asio::io_context& io, tcp::acceptor& acceptor, spdlog::logger& log,
                                std::function<void(tcp::socket)> take)
{
    asio::steady_timer pause(io);
    bool refused = false;
    for (;;) {
        boost::system::error_code error;
        tcp::socket socket =
            co_await acceptor.async_accept(io, asio::redirect_error(asio::use_awaitable, error));
        if (error == asio::error::operation_aborted || error == asio::error::bad_descriptor) co_return;
        if (!error) {
            refused = false;
            take(std::move(socket));
            continue;
        }
        if (!std::exchange(refused, true)) log.warn("cannot accept: {}", error.message());
        pause.expires_after(kAcceptPause);
        co_await pause.async_wait(asio::use_awaitable);
    }
}

}  // namespace zephyl
