#pragma once
// One stream that asks HTTP questions and waits for their answers: blocking, one thread.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <memory>
#include <optional>
#include <string>

#include "service/net/http_message.h"
#include "service/net/tls_stream.h"
#include "service/relay/raw_client.h"

namespace zephyl {

/// A connected loopback socket from the address `from`.
boost::asio::ip::tcp::socket ConnectedSocket(boost::asio::io_context& io, std::uint16_t port,
                                             const std::string& from, const std::string& to = "127.0.0.1");
/// Throws what the handshake failed of.
std::unique_ptr<TlsStream> ShakenHands(boost::asio::io_context& io, boost::asio::ip::tcp::socket socket,
                                       Speaks speaks);

class RawHttp {
public:
    /// `plain`: to the port for reverse proxies.
    explicit RawHttp(std::uint16_t port, bool plain = false, const std::string& from = "127.0.0.1");

    void Send(std::string_view bytes);
    /// The next answer; none: the stream has ended. Throws NothingCame after ten seconds.
    std::optional<HttpAnswered> Answer();
    std::optional<HttpAnswered> Ask(std::string_view bytes)
    {
        Send(bytes);
        return Answer();
    }
    std::optional<HttpAnswered> Ask(const HttpPost& post) { return Ask(HttpText(post)); }
    int Handle() { return Socket().native_handle(); }
    /// As a killed process.
    void Kill();

private:
    boost::asio::ip::tcp::socket& Socket() { return mStream ? mStream->Tcp() : *mPlain; }

    boost::asio::io_context mIo;
    std::optional<boost::asio::ip::tcp::socket> mPlain;
    std::unique_ptr<TlsStream> mStream;  // null: plain
    HttpAnswerReader mReader;
};

/// RawClient's bytes in exchanges.
class HttpRawRoad final : public RawRoad {
public:
    HttpRawRoad(std::uint16_t port, const std::string& from);
    void Send(std::string_view bytes) override;
    void Fill(std::string& into, std::chrono::steady_clock::time_point until) override;
    int Socket() override { return mDown.Handle(); }
    /// By an exchange out of turn, or it would be missed half a minute later only.
    void Kill() override;

private:
    std::string Exchange(RawHttp& lane, HttpPost post);
    RawHttp mUp, mDown;
    std::string mName;
    std::uint64_t mLastUp = 0, mLastDown = 0;
};

}  // namespace zephyl
