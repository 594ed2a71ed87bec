#include "service/relay/meeting/answers.h"

namespace zephyl {

std::optional<Header> AnswerTo(const Header& asked, Standing standing, const Session* session)
{
    const bool greeted = standing != Standing::New;
    Header answer;
    switch (asked.message_case()) {
        case Header::kPing: answer.mutable_pong()->set_nonce(asked.ping().nonce()); return answer;
        case Header::kAskPermission:
            if (!session) return std::nullopt;
            answer.mutable_permission()->set_call(asked.ask_permission().call());
            answer.mutable_permission()->set_permitted(session->permitted);
            return answer;
        case Header::kLetIn:
            if (!session) return std::nullopt;
            return LetInAnswer(asked.let_in());
        case Header::kLeave:
            if (!session) return std::nullopt;
            answer.mutable_left()->set_call(asked.leave().call());
            return answer;
        case Header::kLogout:
            if (!greeted) return std::nullopt;
            answer.mutable_logged_out()->set_call(asked.logout().call());
            return answer;
        default: return std::nullopt;
    }
}

Header LetInAnswer(const LetIn& asked)
{
    Header header;
    header.mutable_let_in_state()->set_call(asked.call());
    header.mutable_let_in_state()->set_result(RESULT_NOT_PERMITTED);
    return header;
}

Header EnteredAnswer(const Enter& asked, Result result, std::chrono::milliseconds wait)
{
    Header header;
    header.mutable_entered()->set_call(asked.call());
    header.mutable_entered()->set_result(result);
    header.mutable_entered()->set_wait_ms(static_cast<std::uint32_t>(wait.count()));
    return header;
}

Header ResumedAnswer(const Resume& asked, Result result)
{
    Header header;
    header.mutable_resumed()->set_call(asked.call());
    header.mutable_resumed()->set_result(result);
    return header;
}

}  // namespace zephyl
