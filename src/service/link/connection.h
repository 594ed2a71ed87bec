#pragma once
// One connection to the service: frames in, batches out, pings, silence. Knows nothing of meetings.
// Network thread only.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "service/link/service_road.h"
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
    /// False: what has come before waits to be taken; nothing more is read until ReadOn.
    virtual bool MayRead() = 0;
    /// Once, when the connection ended by itself.
    virtual void OnLost(const std::string& reason) = 0;
};

struct Traffic {
    std::uint64_t bytesIn = 0, bytesOut = 0;
    std::chrono::microseconds roundTrip{0};  // of the last ping; 0: none yet
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    using Executor = ServiceRoad::Executor;

    explicit Connection(std::unique_ptr<ServiceRoad> road);

    /// The two steps of opening, as the road has them.
    boost::asio::awaitable<void> Connect(const boost::asio::ip::tcp::endpoint& address);
    boost::asio::awaitable<void> Handshake();

    const TlsPeer& Peer() const { return mPeer; }
    /// Where it goes: the service, or the proxy on the way.
    const boost::asio::ip::tcp::endpoint& Remote() const { return mRemote; }
    Executor GetExecutor();
    /// Begins to read and write. The owner stays until Close, OnLost or HandTo.
    void Run(ConnectionOwner& owner);
    /// Another owner from the next frame on.
    void HandTo(ConnectionOwner& owner) { mOwner = &owner; }
    /// A frame that goes in front of everything that waits. What the other side can ask for without end
    /// (pongs, marks) does not go this way: an owner has no more than a few under way.
    void Control(const Header& header);
    /// There is something to fill a batch with.
    void Wake();
    /// The owner may take more again.
    void ReadOn() { mRead.cancel(); }
    /// There are other relays to go to: what does not get through here is not tried for long.
    void OthersMayServe() { mRoad->OthersMayServe(); }
    /// Nobody knows whether it still stands: for a while it is lost sooner, when nothing at all is heard
    /// within this time, and is asked for an answer often enough.
    void Prove(std::chrono::milliseconds within, std::chrono::milliseconds aWhile);
    /// Ends it without a word to the owner.
    void Close();
    const Traffic& Counts() const { return mTraffic; }

private:
    boost::asio::awaitable<void> ReadLoop();
    boost::asio::awaitable<void> WriteLoop();
    boost::asio::awaitable<void> PingLoop();
    bool OwnFrame(const Header& header);
    void SendPing();
    void Lost(const std::string& reason);

    const std::unique_ptr<ServiceRoad> mRoad;
    boost::asio::ip::tcp::endpoint mRemote;
    TlsPeer mPeer;
    ConnectionOwner* mOwner = nullptr;   // null: closed
    std::string mUrgent;                 // framed
    std::optional<std::uint64_t> mPong;  // to the newest ping: however many come, one answer waits
    boost::asio::steady_timer mWake, mPing, mRead;
    bool mHeld = false;  // the owner takes no more now, so silence means nothing
    std::chrono::steady_clock::time_point mHeard, mPinged;
    std::chrono::steady_clock::time_point mProvenAt{};
    std::chrono::milliseconds mProofSilence{0};                     // the most until then
    std::optional<std::chrono::steady_clock::time_point> mWriting;  // since when
    std::uint64_t mNonce = 0;
    Traffic mTraffic;
};

}  // namespace zephyl::link
