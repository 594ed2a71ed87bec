#pragma once
// What the files of the session share.

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <stdexcept>
#include <string>

#include "service/link/session.h"

namespace zephyl::link {

/// How long a goodbye is waited for when the time for what was under way is over.
inline constexpr std::chrono::milliseconds kLastWord{500};
/// How often the figures of the connection are told anew.
inline constexpr int kDetailsEverySeconds = 5;
inline constexpr std::chrono::seconds kRemarkStays{8};
/// Bytes of a newcomer's board that are not worth a word.
inline constexpr std::uint64_t kNearlyAll = 64 * 1024;

struct ConnectionLost : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Session::PendingCall {
    PendingCall(boost::asio::io_context& io, Deadline deadline) : timer(io, deadline) {}
    boost::asio::steady_timer timer;  // cancelled when one of the two below is there
    std::optional<Header> answer;
    std::function<void(const Header&)> atOnce;
    std::string lost;
};

/// One sentence for people; "" for "ok".
std::string RefusalText(Result result);
/// "Not delivered: 2 lines to bob, 1 drawing to everyone."; "" for none.
QString UndeliveredText(const std::vector<OutboxEntryPtr>& entries);

}  // namespace zephyl::link
