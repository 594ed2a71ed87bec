#include "service/zephyld/key_at.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>
#include <future>

#include "service/net/tls_context.h"
#include "service/net/tls_stream.h"
#include "service/relay/listen_address.h"

namespace zephyl {
namespace asio = boost::asio;
using asio::ip::tcp;
namespace {

constexpr std::chrono::seconds kAnswerWithin{3};

asio::awaitable<std::string> Ask(asio::io_context& io, std::string host, std::uint16_t port)
{
    tcp::resolver resolver(io);
    const auto found = co_await resolver.async_resolve(host, std::to_string(port), asio::use_awaitable);
    TlsStream stream(TlsStream::Socket(io.get_executor()), TlsContext::Client(), host);
    co_await asio::async_connect(stream.Tcp(), found, asio::use_awaitable);
    stream.Tcp().non_blocking(true);
    co_await stream.Handshake();
    std::string key = stream.Peer().fingerprint;
    stream.Close();
    co_return key;
}

}  // namespace

std::string KeyAt(const std::string& address)
{
    std::string host;
    std::uint16_t port = 0;
    ReadListen(address, host, port);
    asio::io_context io;
    std::future<std::string> key = asio::co_spawn(io, Ask(io, host, port), asio::use_future);
    io.run_for(kAnswerWithin);
    if (key.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        throw std::runtime_error("no answer within " + std::to_string(kAnswerWithin.count()) + " s");
    try {
        return key.get();
    } catch (const boost::system::system_error& failed) {
        throw std::runtime_error(failed.code().message());  // what() also names a line of the library's
    }
}

}  // namespace zephyl
