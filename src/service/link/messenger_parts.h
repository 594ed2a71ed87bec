#pragma once
// What the files of LinkMessenger share.

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <chrono>
#include <stdexcept>

#include "service/link/messenger.h"
#include "service/link/words.h"

namespace zephyl::link {

inline constexpr std::chrono::milliseconds kLeaveTime{5000};
inline constexpr std::chrono::milliseconds kEndTime{1500};  // when the process ends, and before another login
inline constexpr std::chrono::milliseconds kMargin{600};    // for the last word after what was under way

[[noreturn]] inline void Fail(const QString& text)
{
    throw std::runtime_error(text.toStdString());
}

/// Starts a call on the network thread and waits for its result; none when the limit passed first.
template <class Result, class Make>
std::optional<Result> LinkMessenger::Ask(const std::shared_ptr<Session>& session, const Make& make,
                                         Limit limit)
{
    const auto answer = std::make_shared<Answer<Result>>();
    boost::asio::co_spawn(
        mIo,
        [session, make, answer]() -> boost::asio::awaitable<void> {
            answer->Finish(co_await make(*session));
        },
        boost::asio::detached);
    mNeeds.wait.Wait(*answer, limit);
    return answer->Value();
}

}  // namespace zephyl::link
