#pragma once
// A service that speaks the wire and keeps no promise. One thread of its own.

#include <atomic>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "service/net/tls_stream.h"
#include "service/wire/framing.h"

/// Appends what a service says without a pause.
using Flood = std::function<void(std::string& out)>;
struct NamedFlood {
    const char* what;
    Flood flood;
};
/// One of each kind.
std::vector<NamedFlood> Floods();

class HostileService {
public:
    struct Manners {
        /// Answers Enter by closing the connection.
        bool closesAtEnter = false;
        /// Begins to flood when it is greeted, not behind Entered.
        bool floodsAtOnce = false;
        Flood flood;  // null: nothing
    };

    HostileService(std::shared_ptr<const zephyl::TlsContext> context, Manners manners);
    ~HostileService();
    HostileService(const HostileService&) = delete;
    HostileService& operator=(const HostileService&) = delete;

    std::uint16_t Port() const { return mAcceptor.local_endpoint().port(); }
    std::atomic<int> logins{0}, enters{0};
    std::atomic<std::uint64_t> flooded{0};  // bytes that the socket has taken
    /// Until so much has come, or nothing more is taken.
    void LetItFlood() const;

private:
    struct Guest;
    boost::asio::awaitable<void> Accept();
    boost::asio::awaitable<void> Serve(std::shared_ptr<Guest> guest);
    boost::asio::awaitable<void> Answer(Guest& guest, const zephyl::Header& asked);
    boost::asio::awaitable<void> Flood(std::shared_ptr<Guest> guest);

    const std::shared_ptr<const zephyl::TlsContext> mContext;
    const Manners mManners;
    boost::asio::io_context mIo;
    boost::asio::ip::tcp::acceptor mAcceptor;
    std::thread mThread;
};
