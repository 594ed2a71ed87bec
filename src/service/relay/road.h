#pragma once
// What a client's connection travels on: bytes both ways, in order, until it is lost. All calls on the
// connection's home, one strand at a time.

#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "service/relay/options.h"

namespace zephyl {

/// The name of a road whose every frame is an exchange, with a limit of its own.
inline constexpr char kHttpRoad[] = "http";

class Road {
public:
    using Clock = std::chrono::steady_clock;

    virtual ~Road() = default;
    /// As logs and operators know it: "tcp", "http".
    virtual const char* Name() const = 0;

    /// Something has come before it was waited for: do not wait for Readable.
    virtual bool InputKept() const = 0;
    /// Waits until TakeReady has something to look at.
    virtual boost::asio::awaitable<void> Readable() = 0;
    /// Appends what has arrived, if anything. Throws when the road has ended.
    virtual bool TakeReady(std::string& into) = 0;

    /// Bytes that are put now leave now: what is to be sent is best made only then.
    virtual bool Free() const = 0;
    /// Takes bytes to be sent; true: more are welcome. `sealed`: memory for the road's use, kept by the
    /// caller.
    virtual bool Put(std::string_view bytes, std::string& sealed) = 0;
    /// The caller has put what it has for now.
    virtual void Push() = 0;
    /// Sends on what was kept; true: everything has left, and more is welcome.
    virtual bool Flush() = 0;
    /// Bytes that have not left.
    virtual std::size_t Backlog() const = 0;
    /// Calls once, from any thread, when Flush may do something.
    virtual void WhenFree(std::function<void()> then) = 0;

    /// Live frames of one client a second; 0: no limit.
    virtual std::size_t LiveFrames(std::size_t most) const { return most; }
    /// The client has logged in: what comes is bounded by its budgets now.
    virtual void LoggedIn() {}
    /// Nothing more will be put: the other side may hear of the end behind what it was sent.
    virtual void Finish() = 0;
    /// The other side has closed behind what it has sent.
    virtual bool PeerClosed() const = 0;
    virtual void Close() noexcept = 0;

    /// When the other side last gave a sign of life beside its frames.
    virtual Clock::time_point Heard() const { return {}; }
    /// How long it may be silent.
    virtual std::chrono::milliseconds Patience(const RelayTimes& times) const { return times.lostAfter; }
};

}  // namespace zephyl
