#include "service/relay/this_computer.h"

#include <arpa/inet.h>

#include <string>

namespace zephyl {

bool NamesThisComputer(std::string_view host)
{
    if (host == "localhost") return true;
    const std::string text(host);
    in_addr v4{};
    in6_addr v6{};
    if (::inet_pton(AF_INET, text.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
    return ::inet_pton(AF_INET6, text.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

}  // namespace zephyl
