#pragma once
// One TLS connection to the service: frames in, batches out, pings, silence. Knows nothing of meetings.
// Network thread only.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "service/net/tls_stream.h"
#include "service/wire/framing.h"

namespace zephyl::link {

/// What went wrong with a connection, in words for people.
std::string ProblemText(const std::exception& problem);

/// Who uses a connection. Called from inside its turns; may call Close.
class ConnectionOwner {
public:
    virtual ~ConnectionOwner() = default;
    /// Pings are answered already. Throwing WireError ends the connection.
    virtual void OnFrame(const FrameView& frame) = 0;
    /// Appends what is to be sent, up to about a batch. Called when the socket is free, again at the time
    /// that it gives back, and after Wake.
    virtual std::chrono::steady_clock::time_point Fill(std::string& batch) = 0;
    /// Once, when the connection ended by itself.
    virtual void OnLost(const std::string& reason) = 0;
};

struct Traffic {
    std::uint64_t bytesIn = 0, bytesOut = 0;
    std::chrono::microseconds roundTrip{0};  // of the last ping; 0: none yet
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    /// Connects and shakes hands; nothing of ours has been sent when it returns. Throws what the socket and
    /// TLS throw.
    static boost::asio::awaitable<std::shared_ptr<Connection>> Open(std::shared_ptr<const TlsContext> context,
                                                                    std::string host, std::uint16_t port);

    explicit Connection(TlsStream::Socket socket, std::shared_ptr<const TlsContext> context,
                        const std::string& host);

    const TlsPeer& Peer() const { return mPeer; }
    /// Begins to read and write. The owner stays until Close or OnLost.
    void Run(ConnectionOwner& owner);
    /// A frame that goes in front of everything that waits.
    void Control(const Header& header);
    /// There is something to fill a batch with.
    void Wake();
    /// Ends it without a word to the owner.
    void Close();
    const Traffic& Counts() const { return mTraffic; }

private:
    boost::asio::awaitable<void> ReadLoop();
    boost::asio::awaitable<void> WriteLoop();
    boost::asio::awaitable<void> PingLoop();
    bool OwnFrame(const Header& header);
    void Lost(const std::string& reason);

    TlsStream mStream;
    TlsPeer mPeer;
    ConnectionOwner* mOwner = nullptr;  // null: closed
    std::string mUrgent;                // framed
    boost::asio::steady_timer mWake, mPing;
    std::chrono::steady_clock::time_point mHeard, mPinged;
    std::uint64_t mNonce = 0;
    Traffic mTraffic;
};

}  // namespace zephyl::link
