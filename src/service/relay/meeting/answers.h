#pragma once
// What is answered in the same way with a seat and without one. Pure.

#include <chrono>
#include <optional>

#include "service/relay/meeting/session.h"
#include "service/wire/zephyl.pb.h"

namespace zephyl {

/// How far a client has come.
enum class Standing { New, Greeted, LoggedIn };

/// The answer to a question, or the one that follows a goodbye. None: `asked` has none, or may not be said
/// yet. `session`: null before login.
std::optional<Header> AnswerTo(const Header& asked, Standing standing, const Session* session);

/// "Not permitted", until something better is put there.
Header LetInAnswer(const LetIn& asked);
/// `wait`: when the result is later.
Header EnteredAnswer(const Enter& asked, Result result, std::chrono::milliseconds wait = {});
Header ResumedAnswer(const Resume& asked, Result result);

}  // namespace zephyl
