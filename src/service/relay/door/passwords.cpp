#include "service/relay/door/passwords.h"

#include <sodium.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace zephyl {
namespace {
constexpr std::size_t kPasswordBytes = 256;

// Of drawn passwords: without those that look like others.
constexpr std::string_view kDrawn = "23456789abcdefghjkmnpqrstuvwxyz";
constexpr std::size_t kDrawnCharacters = 16, kDrawnGroup = 4;

/// The characters of Windows-1252 above Latin-1.
constexpr std::u32string_view kBeyondLatin1 = U"€‚ƒ„…†‡ˆ‰Š‹ŒŽ‘’“”•–—˜™š›œžŸ";

/// Clients keep their password in that code page: whoever had other characters could never log in.
bool CanBeTyped(std::string_view password)
{
    for (std::int32_t at = 0, end = static_cast<std::int32_t>(password.size()); at < end;) {
        UChar32 c = 0;
        // NOLINTNEXTLINE(bugprone-inc-dec-in-conditions): the library's
        U8_NEXT(password.data(), at, end, c);
        const bool latin1 = c >= 0 && c <= 0xFF && (c < 0x80 || c >= 0xA0);
        if (!latin1 && (c < 0 || kBeyondLatin1.find(static_cast<char32_t>(c)) == std::u32string_view::npos))
            return false;
    }
    return true;
}

}  // namespace

void StartSodium()
{
    if (sodium_init() < 0) throw std::runtime_error("libsodium does not start");
}

std::optional<std::string> PasswordFault(std::string_view password)
{
    if (password.empty()) return "a password may not be empty";
    if (password.size() > kPasswordBytes)
        return "a password has at most " + std::to_string(kPasswordBytes) + " bytes";
    if (password.front() == ' ' || password.back() == ' ')
        return "a password may not begin or end with a blank";
    if (std::any_of(password.begin(), password.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; }))
        return "a password may not hold control characters";
    if (password.find_first_not_of('?') == std::string_view::npos)
        return "a password may not be question marks only: that is what lost characters look like";
    if (!CanBeTyped(password)) return "a password holds Western European characters (Windows-1252) only";
    return std::nullopt;
}

std::string HashPassword(const std::string& password, const HashCost& cost)
{
    std::array<char, crypto_pwhash_STRBYTES> hash{};
    if (crypto_pwhash_str_alg(hash.data(), password.data(), password.size(), cost.iterations, cost.bytes,
                              crypto_pwhash_ALG_ARGON2ID13) != 0)
        throw std::runtime_error("no memory for a password's hash");
    return hash.data();
}

bool PasswordFits(const std::string& hash, const std::string& password)
{
    return hash.size() < crypto_pwhash_STRBYTES &&
           crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

std::string DrawPassword()
{
    std::string drawn;
    for (std::size_t i = 0; i < kDrawnCharacters; ++i) {
        if (i > 0 && i % kDrawnGroup == 0) drawn += '-';
        drawn += kDrawn[randombytes_uniform(static_cast<std::uint32_t>(kDrawn.size()))];
    }
    return drawn;
}

std::optional<std::string> AsDrawn(std::string_view typed)
{
    std::string drawn;
    std::size_t count = 0;
    for (char c : typed) {
        if (c == '-' || c == ' ') continue;
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (kDrawn.find(c) == std::string_view::npos || count == kDrawnCharacters) return std::nullopt;
        if (count > 0 && count % kDrawnGroup == 0) drawn += '-';
        drawn += c;
        ++count;
    }
    if (count < kDrawnCharacters) return std::nullopt;
    return drawn;
}

std::string RandomBytes(std::size_t bytes)
{
    std::string drawn(bytes, '\0');
    randombytes_buf(drawn.data(), drawn.size());
    return drawn;
}

std::string RandomHex(std::size_t bytes)
{
    const std::string drawn = RandomBytes(bytes);
    std::string hex(2 * bytes + 1, '\0');
    sodium_bin2hex(hex.data(), hex.size(), reinterpret_cast<const unsigned char*>(drawn.data()),
                   drawn.size());
    hex.pop_back();
    return hex;
}

}  // namespace zephyl
