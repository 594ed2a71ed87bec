#pragma once
// A connection made of numbered HTTP exchanges, on two TLS connections: one brings frames up, the other waits
// for those that come down. When one of them is lost it is made again and its exchange repeated; the road is
// lost only when the service does not know it any more, or nothing gets through.

#include <boost/asio/steady_timer.hpp>

#include "service/link/destination.h"
#include "service/link/service_road.h"
#include "service/net/http_message.h"

namespace zephyl::link {

/// How each lane gets to the service.
struct HttpPath {
    ServiceRoad::Executor executor;
    std::shared_ptr<const TlsContext> context;
    Destination to;
    std::string hostHeader;
    boost::asio::ip::tcp::endpoint address = {};  // the one that was reached, of the proxy where there is one
    TlsPeer peer = {};                            // who answered there first
    bool others = false;                          // may serve as well
};

/// One TLS connection at a time, and one exchange.
class HttpLane {
public:
    explicit HttpLane(HttpPath& path) : mPath(path), mPause(path.executor) {}

    boost::asio::awaitable<void> Connect();
    boost::asio::awaitable<void> Handshake();
    TlsPeer Peer() const { return mStream->Peer(); }
    /// The answer to it, asked for again as often as that is lost on the way. Each time is given up after
    /// `patience`. Throws when the service refuses it, or nothing has got through for long.
    boost::asio::awaitable<HttpAnswered> Exchange(HttpPost post, std::chrono::milliseconds patience);
    void Close();

private:
    void Renew();
    boost::asio::awaitable<void> Reopen();
    boost::asio::awaitable<HttpAnswered> Once(const std::string& request, std::chrono::milliseconds patience);
    void Shut();

    HttpPath& mPath;
    std::shared_ptr<TlsStream> mStream;  // null: none stands
    std::unique_ptr<HttpAnswerReader> mReader;
    boost::asio::steady_timer mPause;
    bool mClosed = false;
};

class HttpRoad final : public ServiceRoad {
public:
    HttpRoad(const Executor& executor, std::shared_ptr<const TlsContext> context, const Destination& to);

    Executor GetExecutor() override { return mPath.executor; }
    boost::asio::awaitable<void> Connect(boost::asio::ip::tcp::endpoint address) override;
    boost::asio::awaitable<void> Handshake() override;
    TlsPeer Peer() const override { return mPath.peer; }
    boost::asio::awaitable<void> Read(std::string& into) override;
    boost::asio::awaitable<void> Write(std::string_view bytes) override;
    void OthersMayServe() override { mPath.others = true; }
    void Close() override;

private:
    boost::asio::awaitable<void> Open();

    HttpPath mPath;
    HttpLane mUp, mDown;
    std::string mName;  // "": it is not open yet
    std::uint64_t mLastUp = 0, mLastDown = 0;
    std::size_t mMostUp = kHttpBodyBytes;  // in one exchange
    boost::asio::steady_timer mOpened;
    bool mClosed = false;
};

}  // namespace zephyl::link
