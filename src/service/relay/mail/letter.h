#pragma once
// Letters as the mail server gets them. Pure.

#include <chrono>
#include <string>

namespace zephyl {

struct Letter {
    std::string from, to;  // as MailAddressFault lets them pass
    std::string subject;   // ASCII, one line
    std::string text;      // UTF-8, lines end with "\n"
};

/// What somebody who has forgotten a password is written. `until`: how long the new one is good.
Letter PasswordLetter(const std::string& from, const std::string& to, const std::string& handle,
                      const std::string& password, std::chrono::system_clock::time_point until);

/// Head and body with CR LF, quoted-printable, so that no byte of the text can be taken for anything else.
/// `id`: what makes it different from any other letter. Throws std::invalid_argument where an address or the
/// subject could begin another line of the head.
std::string LetterBytes(const Letter& letter, const std::string& id,
                        std::chrono::system_clock::time_point now);

}  // namespace zephyl
