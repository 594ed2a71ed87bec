#pragma once
// The other side: many clients in one thread, on the second core. The same bytes for every kind of server.

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "relay/servers.h"
#include "service/net/tls_stream.h"
#include "service/wire/framing.h"

/// One client. At the relay it is logged in and in the one meeting.
class Peer {
public:
    Peer(boost::asio::io_context& io, const ServerProcess& server, Kind kind, int index, bool enters);

    /// A text to everybody else, its moment in front.
    void Post(std::size_t bytes);
    /// Takes what has arrived; adds each message's age to `ages` when that is given.
    void Take(std::vector<double>* ages);
    int Socket() { return mStream->Tcp().native_handle(); }
    std::uint64_t Received() const { return mReceived; }

private:
    void Enter(int index, bool enters);
    void Send(const zephyl::Header& header, std::string_view body = {});
    void Put(std::string_view bytes);
    zephyl::Header Call(const zephyl::Header& header);
    void SayRead();

    const Kind mKind;
    std::unique_ptr<zephyl::TlsStream> mStream;
    zephyl::FrameReader mReader{zephyl::Way::Down};
    zephyl::ItemReader mItems;
    std::uint64_t mNumber = 0, mReceived = 0, mTalk = 0, mBoard = 0;
    std::uint64_t mUnsaid = 0, mUnsaidBytes = 0;
};

/// Several peers and what waits for them.
class Peers {
public:
    Peers(const ServerProcess& server, Kind kind, int count, bool enter = true);
    ~Peers();
    Peer& operator[](int at) { return *mPeers[static_cast<std::size_t>(at)]; }
    /// Takes what has arrived; waits for at most this long.
    void Poll(std::chrono::milliseconds atMost, std::vector<double>* ages = nullptr);
    /// Nothing of this peer is read any more.
    void Stop(int at);
    /// What the slowest of these has received.
    std::uint64_t Slowest(int from, int to) const;

private:
    boost::asio::io_context mIo;
    std::vector<std::unique_ptr<Peer>> mPeers;
    int mEpoll;
};
