#include "service/relay/mail/mail_address.h"

#include <algorithm>
#include <string_view>

#include "text/one_line.h"

namespace zephyl {
namespace {

constexpr std::size_t kLongest = 254;
constexpr std::size_t kLongestName = 64;

bool Plain(unsigned char c)
{
    return c > ' ' && c < 0x7f && std::string_view(",;:<>()[]\"\\").find(char(c)) == std::string_view::npos;
}

/// Letters, digits and "-" between dots.
bool IsDomain(std::string_view domain)
{
    const auto fits = [](unsigned char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
               c == '-';
    };
    return !domain.empty() && std::all_of(domain.begin(), domain.end(), fits) && domain.front() != '.' &&
           domain.front() != '-' && domain.back() != '.' && domain.find("..") == std::string_view::npos;
}

}  // namespace

std::optional<std::string> MailAddressFault(const std::string& address)
{
    const std::size_t at = address.find('@');
    const bool good = address.size() <= kLongest && std::all_of(address.begin(), address.end(), Plain) &&
                      at != std::string::npos && at > 0 && at <= kLongestName &&
                      IsDomain(std::string_view(address).substr(at + 1));
    if (good) return std::nullopt;
    return "\"" + OneLine(address) + "\" is no mail address: NAME@DOMAIN, in ASCII";
}

std::string MaskedAddress(const std::string& address)
{
    const std::size_t at = address.find('@');
    if (at == std::string::npos || at == 0 || at + 1 == address.size()) return "***";
    const std::size_t dot = address.rfind('.');
    const std::string end = dot != std::string::npos && dot > at + 1 ? address.substr(dot) : "";
    return address.substr(0, 1) + "***@" + address.substr(at + 1, 1) + "***" + end;
}

}  // namespace zephyl
