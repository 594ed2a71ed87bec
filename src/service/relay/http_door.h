#pragma once
// Where HTTP comes in: streams that asked for it, and a socket for reverse proxies that have ended TLS. Any
// thread.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <memory>
#include <string>

#include "service/relay/forwarded.h"
#include "service/relay/http_names.h"
#include "service/relay/http_streams.h"

namespace zephyl {

class ByteStream;

class HttpDoor final : public HttpStreams {
public:
    /// Listens where the options say so; nobody is served yet. Throws StartError.
    explicit HttpDoor(Services& services);
    ~HttpDoor() override;

    void Start();
    /// Accepts nobody any more.
    void Stop();
    /// When no thread runs any more.
    void Drop();

    void Serve(std::unique_ptr<TlsStream> stream, std::string address, Ticket ticket, CameBy by) override;
    /// The port for reverse proxies; 0: there is none.
    std::uint16_t PlainPort() const;

private:
    boost::asio::awaitable<void> Accept();
    void Take(boost::asio::ip::tcp::socket socket);
    void Begin(std::unique_ptr<ByteStream> stream, std::string address, Ticket ticket, CameBy by);

    Services& mServices;
    HttpNames mNames;
    const TrustedProxies mProxies;
    std::unique_ptr<boost::asio::ip::tcp::acceptor> mAcceptor;
};

}  // namespace zephyl
