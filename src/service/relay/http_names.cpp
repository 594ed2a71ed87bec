#include "service/relay/http_names.h"

#include <sodium.h>
#include <spdlog/logger.h>

#include <vector>

#include "service/net/http_message.h"
#include "service/relay/connection.h"
#include "service/relay/counters.h"
#include "service/relay/door/ban_list.h"
#include "service/relay/http_road.h"

namespace zephyl {
namespace {

constexpr std::size_t kNameBytes = kHttpNameDigits / 2;

std::string Hex(const unsigned char* bytes, std::size_t count)
{
    std::string digits(count * 2 + 1, '\0');
    sodium_bin2hex(digits.data(), digits.size(), bytes, count);
    digits.pop_back();
    return digits;
}

std::string NewName()
{
    unsigned char bytes[kNameBytes];
    randombytes_buf(bytes, sizeof bytes);
    return Hex(bytes, sizeof bytes);
}

std::string KeyOf(const std::string& name)
{
    std::string key(crypto_generichash_BYTES, '\0');
    crypto_generichash(reinterpret_cast<unsigned char*>(key.data()), key.size(),
                       reinterpret_cast<const unsigned char*>(name.data()), name.size(), nullptr, 0);
    return key;
}

}  // namespace

HttpNames::Opened HttpNames::Open(const std::string& address, const CameBy& by, ConnectionGate& gate)
{
    if (mServices.bans.BarsAddress(address)) {
        ++mServices.counters.banned;
        mServices.log.debug("{} is banned", address);
        return {403};
    }
    auto ticket = gate.Ask(address);
    if (!ticket) {
        ++mServices.counters.tooMany;
        mServices.log.warn("{} has too many connections without a login", address);
        return {429};
    }
    const std::string name = NewName();
    const std::string key = KeyOf(name);
    const auto road = std::make_shared<HttpRoad>([this, key] { Forget(key); });
    {
        const std::lock_guard lock(mMutex);
        mNames[key] = {road, by.opening};
    }
    std::make_shared<Connection>(road, mServices, address, std::move(ticket), by)->Start();
    return {200, name};
}

std::shared_ptr<HttpRoad> HttpNames::Find(const std::string& name, const CameBy& by)
{
    if (name.size() != kHttpNameDigits) return nullptr;
    const std::string key = KeyOf(name);
    const std::lock_guard lock(mMutex);
    const auto found = mNames.find(key);
    if (found == mNames.end() || found->second.opening != by.opening) return nullptr;
    return found->second.road.lock();
}

void HttpNames::Forget(const std::string& key)
{
    const std::lock_guard lock(mMutex);
    mNames.erase(key);
}

void HttpNames::Drop()
{
    std::vector<std::shared_ptr<HttpRoad>> roads;
    {
        const std::lock_guard lock(mMutex);
        for (const auto& [key, named] : mNames)
            if (auto road = named.road.lock()) roads.push_back(std::move(road));
    }
    for (const auto& road : roads) road->Drop();
}

}  // namespace zephyl
