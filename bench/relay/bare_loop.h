#pragma once
// The limit: a server without protocol, accounts or log, that forwards frames by one epoll loop.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <map>
#include <memory>
#include <string>

#include "service/net/tls_stream.h"

/// Every complete frame goes to everybody else, either each in a send of its own or all of one read together.
class BareLoop {
public:
    BareLoop(boost::asio::io_context& io, boost::asio::ip::tcp::acceptor& acceptor,
             std::shared_ptr<const zephyl::TlsContext> tls, bool batch);
    [[noreturn]] void Run();

private:
    struct Connection {
        std::unique_ptr<zephyl::TlsStream> stream;
        std::string in;       // decrypted, not yet forwarded
        std::string waiting;  // for the socket
    };
    void Watch(int fd, std::uint32_t what, int operation) const;
    void Accept();
    void Serve(int fd, std::uint32_t events);
    void Forward(int fd, Connection& from);
    void Send(int from, std::string_view bytes);
    void Writable(int fd, Connection& to);

    boost::asio::io_context& mIo;
    boost::asio::ip::tcp::acceptor& mAcceptor;
    std::shared_ptr<const zephyl::TlsContext> mTls;
    const bool mBatch;
    const int mEpoll;
    std::map<int, Connection> mConnections;
};
