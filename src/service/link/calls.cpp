#include "service/link/calls.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <utility>

namespace zephyl::link {

namespace asio = boost::asio;

namespace {

Header::MessageCase AnswerTo(Header::MessageCase question)
{
    switch (question) {
        case Header::kLogin: return Header::kLoggedIn;
        case Header::kEnter: return Header::kEntered;
        case Header::kResume: return Header::kResumed;
        case Header::kLeave: return Header::kLeft;
        case Header::kLogout: return Header::kLoggedOut;
        case Header::kAskPermission: return Header::kPermission;
        case Header::kSendPassword: return Header::kPasswordSent;
        case Header::kChangePassword: return Header::kPasswordChanged;
        case Header::kLetIn: return Header::kLetInState;
        default: return Header::MESSAGE_NOT_SET;
    }
}

}  // namespace

struct Calls::Pending {
    asio::steady_timer timer;  // cancelled when one of the two below is there
    Header::MessageCase awaited;
    std::function<void(const Header&)> atOnce;
    std::optional<Header> answer;
    std::exception_ptr lost;
};

asio::awaitable<Header> Calls::Ask(Connection& connection, Header header, std::uint32_t call,
                                   Deadline deadline, std::function<void(const Header&)> atOnce)
{
    const auto pending = std::make_shared<Pending>(Pending{{connection.GetExecutor(), deadline},
                                                           AnswerTo(header.message_case()),
                                                           std::move(atOnce),
                                                           std::nullopt,
                                                           nullptr});
    mPending[call] = pending;
    connection.Control(header);
    co_await pending->timer.async_wait(asio::as_tuple(asio::use_awaitable));
    mPending.erase(call);
    if (pending->answer) co_return *pending->answer;
    if (pending->lost) std::rethrow_exception(pending->lost);
    throw std::runtime_error("the service does not answer");
}

void Calls::Answer(std::uint32_t call, const Header& header)
{
    const auto found = mPending.find(call);
    if (found == mPending.end() || found->second->awaited != header.message_case()) return;
    const std::shared_ptr<Pending> pending = found->second;
    if (pending->answer) return;
    pending->answer = header;
    pending->timer.cancel();
    if (pending->atOnce) pending->atOnce(header);
}

void Calls::Fail(const std::exception_ptr& why)
{
    for (const auto& [call, pending] : std::exchange(mPending, {})) {
        pending->lost = why;
        pending->timer.cancel();
    }
}

std::uint32_t AnsweredCall(const Header& header)
{
    switch (header.message_case()) {
        case Header::kLoggedIn: return header.logged_in().call();
        case Header::kEntered: return header.entered().call();
        case Header::kResumed: return header.resumed().call();
        case Header::kLeft: return header.left().call();
        case Header::kLoggedOut: return header.logged_out().call();
        case Header::kPermission: return header.permission().call();
        case Header::kPasswordSent: return header.password_sent().call();
        case Header::kPasswordChanged: return header.password_changed().call();
        case Header::kLetInState: return header.let_in_state().call();
        default: return 0;
    }
}

}  // namespace zephyl::link
