#include "service/relay/door/neighbours.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>
#include <cstring>
#include <memory>
#include <span>

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::size_t kMostAddresses = 4;

using Bytes = std::span<const unsigned char>;

Bytes BytesOf(const sockaddr* address)
{
    if (address && address->sa_family == AF_INET)
        return {
            reinterpret_cast<const unsigned char*>(&reinterpret_cast<const sockaddr_in*>(address)->sin_addr),
            4};
    if (address && address->sa_family == AF_INET6)
        return {reinterpret_cast<const unsigned char*>(
                    &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr),
                16};
    return {};
}

bool SameNetwork(Bytes one, Bytes other, Bytes mask)
{
    if (one.size() != other.size() || one.size() != mask.size() || one.empty()) return false;
    for (std::size_t i = 0; i < one.size(); ++i)
        if ((one[i] & mask[i]) != (other[i] & mask[i])) return false;
    return true;
}

template <class Use>
void EachInterface(Use use)
{
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) return;
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, &::freeifaddrs);
    for (const ifaddrs* at = first; at; at = at->ifa_next)
        if (at->ifa_addr && (at->ifa_flags & IFF_UP)) use(*at);
}

/// By which it would speak to an address of the world; nothing is sent. "": by none.
std::string FirstAddress()
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return {};
    sockaddr_in world{}, own{};
    world.sin_family = AF_INET;
    world.sin_port = htons(9);
    ::inet_pton(AF_INET, "192.0.2.1", &world.sin_addr);  // of no machine: it is for documents
    socklen_t size = sizeof own;
    const bool found = ::connect(fd, reinterpret_cast<const sockaddr*>(&world), sizeof world) == 0 &&
                       ::getsockname(fd, reinterpret_cast<sockaddr*>(&own), &size) == 0;
    ::close(fd);
    std::array<char, INET_ADDRSTRLEN> text{};
    if (!found || !::inet_ntop(AF_INET, &own.sin_addr, text.data(), text.size())) return {};
    return text.data();
}

}  // namespace

bool IsNeighbour(const std::string& address)
{
    boost::system::error_code none;
    const auto number = asio::ip::make_address(address, none);
    if (none) return false;
    if (number.is_loopback() || (number.is_v6() && number.to_v6().is_link_local())) return true;
    bool near = false;
    const auto look = [&](Bytes theirs) {
        EachInterface([&](const ifaddrs& one) {
            if (!(one.ifa_flags & IFF_POINTOPOINT))
                near = near || SameNetwork(theirs, BytesOf(one.ifa_addr), BytesOf(one.ifa_netmask));
        });
    };
    if (number.is_v4())
        look(number.to_v4().to_bytes());
    else
        look(number.to_v6().to_bytes());
    return near;
}

std::vector<std::string> OwnAddresses()
{
    std::vector<std::string> v4, v6;
    EachInterface([&](const ifaddrs& one) {
        const Bytes bytes = BytesOf(one.ifa_addr);
        if (bytes.empty() || (one.ifa_flags & IFF_LOOPBACK)) return;
        std::array<char, INET6_ADDRSTRLEN> text{};
        const bool ofLink =
            bytes[0] == 0xfe && (bytes[1] & 0xc0) == 0x80;  // its zone means nothing elsewhere
        ::inet_ntop(one.ifa_addr->sa_family, bytes.data(), text.data(), text.size());
        if (bytes.size() == 4)
            v4.push_back(text.data());
        else if (!ofLink)
            v6.push_back(text.data());
    });
    const std::string first = FirstAddress();
    std::stable_partition(v4.begin(), v4.end(), [&](const std::string& one) { return one == first; });
    v4.insert(v4.end(), v6.begin(), v6.end());
    if (v4.empty()) v4.push_back("127.0.0.1");
    v4.resize(std::min(v4.size(), kMostAddresses));
    return v4;
}

}  // namespace zephyl
