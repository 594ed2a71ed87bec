#include "service/link/trust.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <charconv>

#include "service/wire/limits.h"

namespace zephyl::link {

Trust Judge(const std::string& fingerprint, bool vouched, const std::optional<std::string>& pinned)
{
    if (fingerprint.empty()) return Trust::Changed;  // nobody can be recognised without a key
    if (pinned) return *pinned == fingerprint ? Trust::Yes : Trust::Changed;
    return vouched ? Trust::Yes : Trust::Ask;
}

std::optional<ServiceAddress> ReadServiceAddress(std::string text)
{
    const auto first = text.find_first_not_of(' ');
    if (first == std::string::npos) return std::nullopt;
    text = text.substr(first, text.find_last_not_of(' ') - first + 1);

    ServiceAddress address{text, kDefaultPort};
    std::string port;
    const auto colon = text.rfind(':');
    if (text.front() == '[') {
        const auto end = text.find(']');
        if (end == std::string::npos || (end + 1 < text.size() && text[end + 1] != ':')) return std::nullopt;
        address.host = text.substr(1, end - 1);
        if (end + 1 < text.size()) port = text.substr(end + 1);
    } else if (colon != std::string::npos && std::count(text.begin(), text.end(), ':') == 1) {
        address.host = text.substr(0, colon);
        port = text.substr(colon);
    }
    if (!port.empty()) {
        const char* end = port.data() + port.size();
        const auto read = std::from_chars(port.data() + 1, end, address.port);
        if (read.ec != std::errc() || read.ptr != end || address.port == 0) return std::nullopt;
    }
    const bool plain = std::none_of(address.host.begin(), address.host.end(),
                                    [](unsigned char c) { return c <= ' ' || c == '/'; });
    if (address.host.empty() || !plain) return std::nullopt;
    return address;
}

std::string ServiceName(const ServiceAddress& address)
{
    boost::system::error_code notAnAddress;
    const auto number = boost::asio::ip::make_address(address.host, notAnAddress);
    std::string name = notAnAddress ? address.host : number.to_string();
    for (char& c : name)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (name.find(':') != std::string::npos) name = '[' + name + ']';
    return address.port == kDefaultPort ? name : name + ':' + std::to_string(address.port);
}

std::string AddressFromHere(const std::string& seen, const std::string& service)
{
    const auto isLoopback = [](const std::string& host) {
        return host.starts_with("127.") || host == "::1" || host == "localhost";
    };
    const std::optional<ServiceAddress> there = ReadServiceAddress(service);
    return isLoopback(seen) && there && !isLoopback(there->host) ? there->host : seen;
}

}  // namespace zephyl::link
