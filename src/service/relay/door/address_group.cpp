#include "service/relay/door/address_group.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>

namespace zephyl {
namespace asio = boost::asio;

std::string AddressGroup(const std::string& address)
{
    boost::system::error_code none;
    const auto v6 = asio::ip::make_address_v6(address, none);
    if (none || v6.is_v4_mapped() || v6.is_link_local() || v6.is_loopback()) return address;
    auto bytes = v6.to_bytes();
    std::fill(bytes.begin() + 8, bytes.end(), static_cast<unsigned char>(0));
    return asio::ip::make_address_v6(bytes).to_string() + "/64";
}

}  // namespace zephyl
