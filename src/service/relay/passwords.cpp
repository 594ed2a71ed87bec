#include "service/relay/passwords.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace zephyl {
namespace {
constexpr std::size_t kPasswordBytes = 256;
}

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
