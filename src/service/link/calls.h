#pragma once
// Questions on one connection and their answers, told apart by the number of the call. Network thread.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>

#include "service/link/connection.h"

namespace zephyl::link {

using Deadline = std::chrono::steady_clock::time_point;

struct ConnectionLost : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Calls {
public:
    /// Asks and waits. `atOnce` runs when the answer arrives, in front of the frames behind it. Throws what
    /// Fail was given, or runtime_error at the deadline.
    boost::asio::awaitable<Header> Ask(Connection& connection, Header header, std::uint32_t call,
                                       Deadline deadline,
                                       std::function<void(const Header& answer)> atOnce = {});
    /// An answer nobody waits for is nothing, and so is one of another kind than was asked for.
    void Answer(std::uint32_t call, const Header& header);
    /// Everybody who waits gets this exception.
    void Fail(const std::exception_ptr& why);

private:
    struct Pending;
    std::map<std::uint32_t, std::shared_ptr<Pending>> mPending;
};

/// Of a frame that answers a call; 0: it does not.
std::uint32_t AnsweredCall(const Header& header);

}  // namespace zephyl::link
