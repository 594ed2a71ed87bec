#include "service/link/http_proxy.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/network_v4.hpp>
#include <boost/asio/ip/network_v6.hpp>
#include <charconv>
#include <cstdlib>
#include <stdexcept>

#include "service/link/words.h"

namespace zephyl::link {
namespace {

namespace ip = boost::asio::ip;

constexpr std::uint16_t kUsualPort = 8080;
constexpr std::size_t kLongest = 2048;  // with its credentials it fits into one head

std::string Lower(std::string text)
{
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::string Trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t");
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

int Digit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// "%40" is "@"; a percent sign that begins no such thing stays.
std::string Unescaped(const std::string& text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool coded =
            text[i] == '%' && i + 2 < text.size() && Digit(text[i + 1]) >= 0 && Digit(text[i + 2]) >= 0;
        plain += coded ? static_cast<char>(Digit(text[i + 1]) * 16 + Digit(text[i + 2])) : text[i];
        if (coded) i += 2;
    }
    return plain;
}

std::optional<std::uint16_t> ReadPort(const std::string& text)
{
    std::uint16_t port = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), port);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size() || port == 0) return std::nullopt;
    return port;
}

struct HostPort {
    std::string host;
    std::optional<std::uint16_t> port = {};
};
/// HOST, HOST:PORT, [V6]:PORT, or a bare V6 address. None: neither.
std::optional<HostPort> ReadHostPort(const std::string& text)
{
    HostPort read{text};
    std::string port;
    if (text.starts_with('[')) {
        const auto end = text.find(']');
        if (end == std::string::npos) return std::nullopt;
        read.host = text.substr(1, end - 1);
        if (end + 1 < text.size() && text[end + 1] != ':') return std::nullopt;
        if (end + 1 < text.size()) port = text.substr(end + 2);
    } else if (std::count(text.begin(), text.end(), ':') == 1) {
        read.host = text.substr(0, text.find(':'));
        port = text.substr(text.find(':') + 1);
    }
    if (!port.empty()) read.port = ReadPort(port);
    if (!port.empty() && !read.port) return std::nullopt;
    const bool plain = std::none_of(read.host.begin(), read.host.end(),
                                    [](unsigned char c) { return c <= ' ' || c == '/' || c == 0x7f; });
    return read.host.empty() || !plain ? std::nullopt : std::optional(read);
}

HttpProxy ReadProxy(const std::string& written)
{
    const auto fail = [] {
        throw std::runtime_error(
            English("The proxy cannot be understood: it is written as "
                    "http://HOST:PORT, with NAME:PASSWORD@ before the host where it asks "
                    "for them.")
                .toStdString());
    };
    if (written.size() > kLongest) fail();
    std::string text = written;
    const auto scheme = text.find("://");
    if (scheme != std::string::npos) {
        if (Lower(text.substr(0, scheme)) != "http") fail();
        text = text.substr(scheme + 3);
    }
    HttpProxy proxy;
    const auto at = text.rfind('@');
    if (at != std::string::npos) {
        proxy.credentials = Unescaped(text.substr(0, at));
        if (proxy.credentials.find(':') == std::string::npos) proxy.credentials += ':';
        text = text.substr(at + 1);
    }
    while (text.ends_with('/')) text.pop_back();
    const auto read = ReadHostPort(text);
    if (!read) fail();
    proxy.host = read->host;
    proxy.port = read->port.value_or(kUsualPort);
    return proxy;
}

bool InNetwork(const std::string& range, const std::string& host)
{
    boost::system::error_code none;
    const ip::address address = ip::make_address(host, none);
    if (none) return false;
    if (address.is_v4()) {
        const auto network = ip::make_network_v4(range, none);
        return !none && network.canonical() ==
                            ip::make_network_v4(address.to_v4(), network.prefix_length()).canonical();
    }
    const auto network = ip::make_network_v6(range, none);
    return !none &&
           network.canonical() == ip::make_network_v6(address.to_v6(), network.prefix_length()).canonical();
}

bool SameAddress(const std::string& one, const std::string& other)
{
    boost::system::error_code none;
    const ip::address address = ip::make_address(one, none);
    if (none) return false;
    return address == ip::make_address(other, none) && !none;
}

/// Whether that entry of NO_PROXY means this host.
bool Means(const std::string& entry, const std::string& host, std::uint16_t port)
{
    if (entry == "*") return true;
    if (entry.find('/') != std::string::npos) return InNetwork(entry, host);
    const auto read = ReadHostPort(entry);
    if (!read || (read->port && *read->port != port)) return false;
    std::string name = read->host;
    if (name.starts_with("*.")) name.erase(0, 1);
    if (name.starts_with('.')) name.erase(0, 1);
    if (name.empty()) return false;
    return host == name || SameAddress(name, host) ||
           (host.ends_with(name) && host[host.size() - name.size() - 1] == '.');
}

bool Excepted(const std::string& list, const std::string& host, std::uint16_t port)
{
    for (std::size_t at = 0; at < list.size();) {
        const auto end = std::min(list.find_first_of(", ", at), list.size());
        const std::string entry = list.substr(at, end - at);
        if (!entry.empty() && Means(entry, host, port)) return true;
        at = end + 1;
    }
    return false;
}

}  // namespace

Environment TheEnvironment()
{
    return [](const char* name) {
        const char* value = std::getenv(name);
        return std::string(value ? value : "");
    };
}

std::string HttpProxy::Name() const
{
    return (host.find(':') == std::string::npos ? host : '[' + host + ']') + ':' + std::to_string(port);
}

std::optional<HttpProxy> ProxyFor(const std::string& setting, const std::string& host, std::uint16_t port,
                                  const Environment& environment)
{
    const auto either = [&](const char* one, const char* other) {
        const std::string value = Trimmed(environment(one));
        return value.empty() ? Trimmed(environment(other)) : value;
    };
    std::string written = Trimmed(setting);
    if (written.empty()) written = either("HTTPS_PROXY", "https_proxy");
    if (written.empty() || Lower(written) == "direct") return std::nullopt;
    if (Excepted(Lower(either("NO_PROXY", "no_proxy")), Lower(host), port)) return std::nullopt;
    return ReadProxy(written);
}

}  // namespace zephyl::link
