#pragma once
// The other side: many clients in one thread, on the second core. The same bodies for every kind of server.

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "relay/dialect.h"
#include "service/net/tls_stream.h"

/// One client of a server.
class Peer : private Line {
public:
    Peer(boost::asio::io_context& io, std::shared_ptr<const zephyl::TlsContext> tls,
         const ServerProcess& server, int index, bool joins);

    /// A text to everybody else, its moment in front.
    void Post(std::size_t bytes);
    /// Takes what has arrived; adds each message's age in seconds to `ages` when that is given.
    void TakeArrived(std::vector<double>* ages);
    int Socket() { return mStream->Tcp().native_handle(); }
    std::uint64_t Received() const { return mReceived; }

private:
    void Put(std::string_view bytes) override;
    void Wait() override;

    std::unique_ptr<Dialect> mDialect;
    std::unique_ptr<zephyl::TlsStream> mStream;
    std::uint64_t mReceived = 0;
};

/// Who is connected to which: the one at N to the one at N of these, and round again.
using Servers = std::vector<const ServerProcess*>;

/// Several peers and what waits for them.
class Peers {
public:
    /// `join`: else they only log in. Their names count from `first`.
    Peers(const Servers& servers, int count, bool join = true, int first = 0);
    Peers(const Peers&) = delete;
    Peers& operator=(const Peers&) = delete;
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
