#include "service/relay/forwarded.h"

#include <algorithm>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/address_v6.hpp>
#include <charconv>
#include <optional>
#include <span>
#include <stdexcept>

namespace zephyl {
namespace ip = boost::asio::ip;
namespace {

ip::address Unmapped(const ip::address& address)
{
    if (address.is_v6() && address.to_v6().is_v4_mapped())
        return ip::make_address_v4(ip::v4_mapped, address.to_v6());
    return address;
}

std::optional<ip::address> ReadAddress(std::string_view text)
{
    boost::system::error_code none;
    const ip::address address = ip::make_address(std::string(text), none);
    if (none) return std::nullopt;
    return Unmapped(address);
}

/// As proxies write it: also with a port, a V6 one in brackets.
std::optional<ip::address> ReadForwarded(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return std::nullopt;
    text = text.substr(first, text.find_last_not_of(" \t") - first + 1);
    if (text.front() == '[') {
        const auto end = text.find(']');
        return end == std::string_view::npos ? std::nullopt : ReadAddress(text.substr(1, end - 1));
    }
    if (std::count(text.begin(), text.end(), ':') == 1) text = text.substr(0, text.find(':'));
    return ReadAddress(text);
}

bool SameBits(std::span<const unsigned char> one, std::span<const unsigned char> other, unsigned bits)
{
    for (std::size_t i = 0; bits > 0; ++i) {
        const unsigned here = std::min(bits, 8u);
        const unsigned mask = 0xff00u >> here & 0xffu;
        if ((one[i] & mask) != (other[i] & mask)) return false;
        bits -= here;
    }
    return true;
}

}  // namespace

TrustedProxies::TrustedProxies(const std::vector<std::string>& written)
{
    for (const std::string& text : written) {
        const auto slash = text.find('/');
        const auto address = ReadAddress(std::string_view(text).substr(0, slash));
        if (!address) throw std::invalid_argument(text);
        const unsigned all = address->is_v4() ? 32 : 128;
        unsigned bits = all;
        if (slash != std::string::npos) {
            const char* end = text.data() + text.size();
            const auto read = std::from_chars(text.data() + slash + 1, end, bits);
            if (read.ec != std::errc() || read.ptr != end || bits > all) throw std::invalid_argument(text);
        }
        mRanges.push_back({*address, bits});
    }
}

bool TrustedProxies::Has(const ip::address& address) const
{
    return std::any_of(mRanges.begin(), mRanges.end(), [&](const Range& range) {
        if (range.first.is_v4() != address.is_v4()) return false;
        return address.is_v4()
                   ? SameBits(range.first.to_v4().to_bytes(), address.to_v4().to_bytes(), range.bits)
                   : SameBits(range.first.to_v6().to_bytes(), address.to_v6().to_bytes(), range.bits);
    });
}

std::string ClientAddress(const std::string& peer, const std::string& forwardedFor,
                          const TrustedProxies& trusted)
{
    std::optional<ip::address> client = ReadAddress(peer);
    std::string_view left = forwardedFor;
    while (client && trusted.Has(*client) && !left.empty()) {
        const auto comma = left.rfind(',');
        const auto before = ReadForwarded(comma == std::string_view::npos ? left : left.substr(comma + 1));
        if (!before) break;
        client = before;
        left = comma == std::string_view::npos ? std::string_view() : left.substr(0, comma);
    }
    return client ? client->to_string() : peer;
}

}  // namespace zephyl
