#pragma once
// How `zephyld user` tells the running daemon that the accounts have changed: a socket in the data folder
// that only its owner can open. One line in ("account NAME"), one line back ("ok").

#include <boost/asio/awaitable.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <filesystem>
#include <string>

#include "service/relay/services.h"

namespace zephyl {

class AdminSocket {
public:
    explicit AdminSocket(Services& services);
    ~AdminSocket();
    void Start();

private:
    boost::asio::awaitable<void> Accept();
    boost::asio::awaitable<void> Serve(boost::asio::local::stream_protocol::socket socket);

    Services& mServices;
    const std::filesystem::path mPath;
    boost::asio::local::stream_protocol::acceptor mAcceptor;
};

/// From the other side. False: no daemon serves this folder, so there is nobody to tell.
bool TellDaemon(const std::filesystem::path& data, const std::string& line);

}  // namespace zephyl
