#pragma once
// Passwords and their hashes (Argon2id). Slow on purpose: never on an io thread.

#include <optional>
#include <string>
#include <string_view>

namespace zephyl {

/// How much a hash costs. The default is what accounts get; tests may take less.
struct HashCost {
    unsigned long long iterations = 2;
    std::size_t bytes = 64 * 1024 * 1024;
};

/// Must run once before anything else of libsodium. Throws std::runtime_error.
void StartSodium();

/// Why this cannot be a password; none when it can: 1 to 256 bytes of text, no blanks at its ends (clients
/// cut them off), no control characters.
std::optional<std::string> PasswordFault(std::string_view password);

/// Throws std::runtime_error when there is no memory for it.
std::string HashPassword(const std::string& password, const HashCost& cost);
bool PasswordFits(const std::string& hash, const std::string& password);

/// A password that nobody guesses and everybody can type: "k7mp-3xwd-q9rt-h2nv", 79 bits of chance.
std::string DrawPassword();
/// What was typed, in the way DrawPassword writes: without regard to case, blanks and dashes. None: it cannot
/// be one of those.
std::optional<std::string> AsDrawn(std::string_view typed);

/// `bytes` random bytes as they are, and as hexadecimal digits.
std::string RandomBytes(std::size_t bytes);
std::string RandomHex(std::size_t bytes);

}  // namespace zephyl
