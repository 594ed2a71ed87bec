#include "service/link/relay_round.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <cctype>

#include "service/wire/limits.h"

namespace zephyl::link {
namespace {

/// An address, or what may be a name.
bool IsHost(const std::string& host)
{
    boost::system::error_code aName;
    boost::asio::ip::make_address(host, aName);
    return !aName || std::all_of(host.begin(), host.end(), [](unsigned char c) {
        return std::isalnum(c) || c == '.' || c == '-' || c == '_';
    });
}

}  // namespace

bool RelayRound::Same(const ServiceAddress& one, const ServiceAddress& other)
{
    return ServiceName(one) == ServiceName(other);
}

bool RelayRound::Knows(const ServiceAddress& relay) const
{
    return std::any_of(mLearnt.begin(), mLearnt.end(),
                       [&](const ServiceAddress& one) { return Same(one, relay); });
}

void RelayRound::Learn(std::vector<std::string> named, std::mt19937_64& random)
{
    named.resize(std::min(named.size(), kRelaysNamed));
    std::shuffle(named.begin(), named.end(), random);
    const std::vector<ServiceAddress> before = std::exchange(mLearnt, {});
    const auto take = [&](const ServiceAddress& relay) {
        if (mLearnt.size() < kRelaysNamed && !IsHome(relay) && !Knows(relay)) mLearnt.push_back(relay);
    };
    for (const std::string& one : named) {
        if (one.size() > kRelayAddressBytes) continue;
        const auto relay = ReadServiceAddress(one);
        if (relay && IsHost(relay->host)) take(*relay);
    }
    for (const ServiceAddress& one : before) take(one);
}

std::optional<ServiceAddress> RelayRound::Other(const std::string& named) const
{
    const auto asked = named.size() <= kRelayAddressBytes ? ReadServiceAddress(named) : std::nullopt;
    for (const ServiceAddress& one : Others())
        if (asked && Same(one, *asked)) return one;
    return std::nullopt;
}

void RelayRound::Forget(const ServiceAddress& relay)
{
    std::erase_if(mLearnt, [&](const ServiceAddress& one) { return Same(one, relay); });
    if (Same(mHere, relay)) mHere = mHome;
}

void RelayRound::Begin(First first)
{
    mTries = mOther = 0;
    mHereIsNext = first == First::Here;
}

std::vector<ServiceAddress> RelayRound::Others() const
{
    std::vector<ServiceAddress> others{mHome};
    others.insert(others.end(), mLearnt.begin(), mLearnt.end());
    std::erase_if(others, [&](const ServiceAddress& one) { return Same(one, mHere); });
    return others;
}

std::size_t RelayRound::Length() const
{
    return std::max<std::size_t>(1, 2 * Others().size());
}

ServiceAddress RelayRound::Next()
{
    ++mTries;
    const std::vector<ServiceAddress> others = Others();
    if (others.empty() || std::exchange(mHereIsNext, !mHereIsNext)) return mHere;
    return others[mOther++ % others.size()];
}

}  // namespace zephyl::link
