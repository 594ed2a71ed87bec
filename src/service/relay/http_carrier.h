#pragma once
// One stream that brings exchanges, whosever they are: requests in, answers out, one after the other. On a
// strand of its own.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <string>

#include "service/net/http_message.h"
#include "service/relay/forwarded.h"
#include "service/relay/http_names.h"
#include "service/relay/http_streams.h"

namespace zephyl {

class ByteStream;

class HttpCarrier final : public std::enable_shared_from_this<HttpCarrier> {
public:
    /// `strand`: where Run is spawned. `ticket`: until somebody who has logged in is served; null behind a
    /// trusted proxy.
    HttpCarrier(Services& services, HttpNames& names, const TrustedProxies& proxies, const Strand& strand,
                std::unique_ptr<ByteStream> stream, std::string address, HttpStreams::Ticket ticket,
                CameBy by);
    ~HttpCarrier();

    /// Until the stream ends. Keeps this alive.
    boost::asio::awaitable<void> Run();

private:
    struct Reply {
        HttpAnswer answer;
        std::shared_ptr<const std::string> body = {};
        bool none = false;  // the stream just ends
    };
    boost::asio::awaitable<void> Requests();
    boost::asio::awaitable<void> ReadMore();
    boost::asio::awaitable<HttpHead> NextHead();
    boost::asio::awaitable<std::string> TheBody();
    boost::asio::awaitable<Reply> AnswerTo(HttpHead head);
    boost::asio::awaitable<Reply> Exchange(HttpHead head);
    Reply Open(const HttpHead& head);
    void Known(HttpRoad& road);
    void EndIn(std::chrono::milliseconds time);

    Services& mServices;
    HttpNames& mNames;
    const TrustedProxies& mProxies;
    const std::unique_ptr<ByteStream> mStream;
    const std::string mAddress;
    const CameBy mBy;
    ConnectionGate& mGate;
    HttpStreams::Ticket mTicket;
    bool mKnown;  // it has served somebody who is logged in
    HttpRequestReader mReader;
    boost::asio::steady_timer mEnd;
};

}  // namespace zephyl
