#pragma once
// One try to come back: a connection of its own, and the questions on it. It touches nothing of the session
// until the service has answered. Network thread.

#include <boost/asio/io_context.hpp>
#include <memory>
#include <optional>

#include "service/link/calls.h"
#include "service/link/trust.h"

namespace zephyl::link {

/// There is nothing to come back to.
struct EndedForGood : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class WayBack final : public ConnectionOwner {
public:
    enum class Stage { Opening, Waiting, Asking, Over };

    WayBack(boost::asio::io_context& io, std::uint64_t madeAs, ServiceAddress to)
        : number(madeAs), relay(std::move(to)), pause(io)
    {
    }

    const std::uint64_t number;  // rises with every try
    const ServiceAddress relay;
    Stage stage = Stage::Opening;
    std::shared_ptr<Connection> connection;  // null: not open yet, or the session has it
    Calls calls;
    boost::asio::steady_timer pause;  // until it may ask
    Deadline askedAt{};
    std::optional<Welcome> welcome;          // `pause` is told
    std::chrono::milliseconds askedWait{0};  // the service asked for this pause
    bool restarts = false;                   // it is this relay only that goes
    bool lost = false;                       // nothing more comes by it; `pause` is told

    void Close();

    void OnFrame(const FrameView& frame) override;
    Deadline Fill(std::string&) override { return Deadline::max(); }
    bool MayRead() override { return true; }
    void OnLost(const std::string& reason) override;
};

/// In words for people what a goodbye ends for good; "" when the client may come back.
std::string EndText(const Bye& bye);
/// The pause that the service asked for, but not for ever.
std::chrono::milliseconds AskedWait(std::uint32_t milliseconds);

}  // namespace zephyl::link
