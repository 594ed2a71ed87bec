#pragma once
// Names into addresses, on a thread of its own that nobody waits for: the machine's lookup cannot be
// cancelled and may take minutes, and no program is to end later for it. Network thread.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace zephyl::link {

using Endpoints = std::vector<boost::asio::ip::tcp::endpoint>;

class Resolver {
public:
    /// The addresses of a name (or the address that it is), in the order to try. Throws runtime_error: there
    /// is none, or no answer within `limit`. Who asks for a name that is looked up already joins that; for
    /// another one no more than a few are under way.
    boost::asio::awaitable<Endpoints> Find(std::string host, std::uint16_t port,
                                           std::chrono::milliseconds limit);

private:
    struct Lookup;
    std::shared_ptr<Lookup> LookupOf(const std::string& host);

    std::vector<std::shared_ptr<Lookup>> mLookups;  // under way, as far as we know
};

/// One family, then the other, and so on: a family that leads nowhere costs one try, not all of them.
Endpoints Interleaved(const Endpoints& found);

}  // namespace zephyl::link
