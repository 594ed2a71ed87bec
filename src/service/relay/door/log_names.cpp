#include "service/relay/door/log_names.h"

#include <sodium.h>
#include <spdlog/logger.h>

#include <algorithm>
#include <cstdio>

namespace zephyl {
namespace {
constexpr std::size_t kShownBytes = 4;

std::string Hex(const unsigned char* bytes, std::size_t count)
{
    std::string hex;
    char two[3];
    for (std::size_t i = 0; i < count; ++i) {
        std::snprintf(two, sizeof two, "%02x", bytes[i]);
        hex += two;
    }
    return hex;
}

}  // namespace

LogNames::LogNames(const spdlog::logger& log) : mLog(log)
{
    static_assert(sizeof mKey == crypto_shorthash_KEYBYTES);
    randombytes_buf(mKey.data(), mKey.size());
}

bool LogNames::Named() const
{
    return mLog.should_log(spdlog::level::debug);
}

std::string LogNames::StandIn(std::string_view handle) const
{
    std::array<unsigned char, crypto_shorthash_BYTES> hash{};
    crypto_shorthash(hash.data(), reinterpret_cast<const unsigned char*>(handle.data()), handle.size(),
                     mKey.data());
    return "user-" + Hex(hash.data(), kShownBytes);
}

std::string LogNames::User(std::string_view handle) const
{
    return Named() ? std::string(handle) : StandIn(handle);
}

std::string LogNames::Meeting(std::string_view id, std::string_view code) const
{
    if (Named()) return std::string(code);
    return Hex(reinterpret_cast<const unsigned char*>(id.data()), std::min(id.size(), kShownBytes));
}

}  // namespace zephyl
