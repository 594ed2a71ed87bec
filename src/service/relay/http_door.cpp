#include "service/relay/http_door.h"

#include <spdlog/logger.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/net/plain_stream.h"
#include "service/net/tls_stream.h"
#include "service/relay/http_carrier.h"
#include "service/relay/listening.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace asio = boost::asio;
using asio::ip::tcp;
HttpDoor::HttpDoor(Services& services)
    : mServices(services), mNames(services), mProxies(services.options.trustedProxies)
{
    const RelayOptions& options = services.options;
    if (options.httpHost.empty()) return;
    mAcceptor = std::make_unique<tcp::acceptor>(Listen(services.io, options.httpHost, options.httpPort));
    if (!mAcceptor->local_endpoint().address().is_loopback() && !options.httpAnywhere)
        throw StartError(
            "http_listen is HTTP without TLS, and \"" + options.httpHost +
            "\" is not only for this computer: set http_listen_anywhere = true if that network is "
            "as safe as this computer");
    services.log.info("HTTP for reverse proxies at port {}", PlainPort());
    if (mProxies.Empty())
        services.log.warn(
            "http_listen without trusted_proxies: everybody behind the proxy shares the limits of one "
            "address");
}

HttpDoor::~HttpDoor() = default;

void HttpDoor::Start()
{
    if (mAcceptor) asio::co_spawn(mAcceptor->get_executor(), Accept(), asio::detached);
}

void HttpDoor::Stop()
{
    if (!mAcceptor) return;
    asio::post(mAcceptor->get_executor(), [this] {
        boost::system::error_code ignored;
        mAcceptor->close(ignored);
    });
}

void HttpDoor::Drop()
{
    mNames.Drop();
    mAcceptor.reset();
}

std::uint16_t HttpDoor::PlainPort() const
{
    return mAcceptor ? mAcceptor->local_endpoint().port() : 0;
}

asio::awaitable<void> HttpDoor::Accept()
{
    co_await AcceptAll(mServices.io, *mAcceptor, mServices.log,
                       [this](tcp::socket socket) { Take(std::move(socket)); });
}

/// Whoever connects there speaks for many: what limits them are the addresses that a trusted proxy names.
void HttpDoor::Take(tcp::socket socket)
{
    boost::system::error_code gone;
    const tcp::endpoint peer = socket.remote_endpoint(gone);
    if (gone) return;
    std::string address = PlainAddress(peer.address());
    Ticket ticket;
    if (!mProxies.Has(asio::ip::make_address(address))) {
        ticket = mServices.gate.Ask(address);
        if (!ticket) return;
    }
    Begin(std::make_unique<PlainStream>(std::move(socket)), std::move(address), std::move(ticket), {});
}

void HttpDoor::Serve(std::unique_ptr<TlsStream> stream, std::string address, Ticket ticket, CameBy by)
{
    Begin(std::move(stream), std::move(address), std::move(ticket), std::move(by));
}

void HttpDoor::Begin(std::unique_ptr<ByteStream> stream, std::string address, Ticket ticket, CameBy by)
{
    const Strand strand = asio::make_strand(mServices.io);
    auto carrier = std::make_shared<HttpCarrier>(mServices, mNames, mProxies, strand, std::move(stream),
                                                 std::move(address), std::move(ticket), std::move(by));
    asio::co_spawn(
        strand, [carrier] { return carrier->Run(); }, asio::detached);
}

}  // namespace zephyl
