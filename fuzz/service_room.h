#pragma once
// A whole service inside a fuzzer. Nothing but what its desk hashes happens while Run is not called, so one
// input gives one course of things.

#include <boost/asio/io_context.hpp>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "service/net/tls_stream.h"
#include "service/relay/relay.h"

namespace zephyl {

/// What outlives one input, because making it takes long: key and accounts, in a folder that goes at the end.
class ServiceHome {
public:
    ServiceHome();
    ~ServiceHome();
    static std::string PasswordOf(const std::string& key) { return "the word of " + key; }

    const std::filesystem::path folder;
    const std::shared_ptr<const TlsContext> clientTls = TlsContext::Client();
};

class ServiceRoom {
public:
    /// With the accounts `ann` and `bob`, whose passwords are PasswordOf them.
    ServiceRoom(ServiceHome& home, RelayOptions options);

    /// The other end of a new connection that comes from this loopback address.
    std::unique_ptr<TlsStream> Connect(const std::string& from);
    /// The same to the port for reverse proxies, with nothing said yet; not blocking.
    boost::asio::ip::tcp::socket ConnectPlain();
    /// Does what can be done at once.
    void Run();
    /// Goes on until it is `done`. Aborts when that takes longer than anything may.
    void RunUntil(const std::function<bool()>& done);

private:
    ServiceHome& mHome;
    Relay mRelay;
    boost::asio::io_context& mIo;
};

}  // namespace zephyl
