#include "service/link/make_road.h"

#include <boost/asio/use_awaitable.hpp>

#include "service/link/http_road.h"

namespace zephyl::link {

namespace asio = boost::asio;

namespace {

/// Frames as they are, inside TLS.
class TlsRoad final : public ServiceRoad {
public:
    TlsRoad(const Executor& executor, std::shared_ptr<const TlsContext> context, const std::string& host)
        : mStream(TlsStream::Socket(executor), std::move(context), host)
    {
    }
    Executor GetExecutor() override { return mStream.Tcp().get_executor(); }
    asio::awaitable<void> Connect(asio::ip::tcp::endpoint address) override
    {
        co_await mStream.Tcp().async_connect(address, asio::use_awaitable);
        mStream.Tcp().non_blocking(true);
        PrepareSocket(mStream.Tcp());
    }
    asio::awaitable<void> Handshake() override { return mStream.Handshake(); }
    TlsPeer Peer() const override { return mStream.Peer(); }
    asio::awaitable<void> Read(std::string& into) override { return mStream.Read(into); }
    asio::awaitable<void> Write(std::string_view bytes) override { return mStream.Write(bytes); }
    void Close() override { mStream.Close(); }

private:
    TlsStream mStream;
};

}  // namespace

std::unique_ptr<ServiceRoad> MakeRoad(const ServiceRoad::Executor& executor,
                                      std::shared_ptr<const TlsContext> context, const Destination& to)
{
    if (to.protocol == Protocol::Http) return std::make_unique<HttpRoad>(executor, std::move(context), to);
    return std::make_unique<TlsRoad>(executor, std::move(context), to.host);
}

}  // namespace zephyl::link
