#pragma once
// Where a request comes from that others have passed on. Pure.

#include <boost/asio/ip/address.hpp>
#include <string>
#include <vector>

namespace zephyl {

/// Addresses whose word about others is believed.
class TrustedProxies {
public:
    TrustedProxies() = default;
    /// ADDRESS or ADDRESS/BITS each. Throws std::invalid_argument with the one that is neither.
    explicit TrustedProxies(const std::vector<std::string>& written);
    bool Empty() const { return mRanges.empty(); }
    bool Has(const boost::asio::ip::address& address) const;

private:
    struct Range {
        boost::asio::ip::address first;
        unsigned bits;
    };
    std::vector<Range> mRanges;
};

/// The address of the client: the last one in `forwardedFor` (what every proxy appends to, commas between)
/// that is not a trusted proxy, as long as those behind it are. What is no address ends that: then it is the
/// one that wrote it. `peer`: where the connection comes from.
std::string ClientAddress(const std::string& peer, const std::string& forwardedFor,
                          const TrustedProxies& trusted);

}  // namespace zephyl
