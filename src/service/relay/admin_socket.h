#pragma once
// How `zephyld user` tells the running daemon that the accounts have changed, and `zephyld kick` asks it to
// put somebody out: a socket in the data folder that only its owner can open. One line in ("account NAME",
// "kick CODE<tab>NAME"), one line back ("ok", "no account", "no meeting", "unknown").

#include <boost/asio/awaitable.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <filesystem>
#include <optional>
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
    boost::asio::awaitable<std::string> Answer(std::string line);

    Services& mServices;
    const std::filesystem::path mPath;
    boost::asio::local::stream_protocol::acceptor mAcceptor;
};

/// From the other side; what it answers. None: no daemon serves this folder, so there is nobody to tell, or
/// it does not answer within five seconds.
std::optional<std::string> TellDaemon(const std::filesystem::path& data, const std::string& line);

}  // namespace zephyl
