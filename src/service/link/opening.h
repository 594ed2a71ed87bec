#pragma once
// From a name to a connection on which nothing of ours has been sent. Every step has its bound, and several
// addresses are tried beside each other. Network thread.

#include "service/link/connection.h"
#include "service/link/destination.h"
#include "service/link/resolver.h"

namespace zephyl::link {

struct OpeningTimes {
    std::chrono::milliseconds resolve{5000}, connect{5000}, handshake{5000};
    std::chrono::milliseconds nextAddress{250};  // RFC 8305's delay
};

/// The connection to the first of these addresses that shakes hands. The next one is tried when those before
/// have failed or were silent for a while. Throws what the last one failed of: NobodyThere where no address
/// took a connection.
boost::asio::awaitable<std::shared_ptr<Connection>> OpenAny(std::shared_ptr<const TlsContext> context,
                                                            Destination to, Endpoints addresses,
                                                            OpeningTimes times = {});

/// No TCP connection came about.
struct NobodyThere : std::runtime_error {
    using std::runtime_error::runtime_error;
};

boost::asio::awaitable<std::shared_ptr<Connection>> Open(Resolver& resolver,
                                                         std::shared_ptr<const TlsContext> context,
                                                         Destination to);

}  // namespace zephyl::link
