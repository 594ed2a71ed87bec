#include "service/relay/door/ban_list.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <charconv>
#include <chrono>
#include <iterator>

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr int kV4Bits = 32, kV6Bits = 128, kMappedBits = kV6Bits - kV4Bits;
constexpr int kMachineBits = 64;            // of IPv6, that one machine or one household has
constexpr int kLeastV4 = 8, kLeastV6 = 16;  // whatever is wider is most of the network
constexpr std::size_t kRangeBytes = 64;     // of its text; more than any has

void ClearBehind(AddressRange& range)
{
    for (int bit = range.bits; bit < kV6Bits; ++bit)
        range.bytes[static_cast<std::size_t>(bit / 8)] &=
            static_cast<unsigned char>(~(0x80u >> static_cast<unsigned>(bit % 8)));
}

AddressRange WholeAddress(const asio::ip::address& address)
{
    AddressRange range{address.is_v6(), address.is_v6() ? kV6Bits : kV4Bits, {}};
    if (range.v6) {
        range.bytes = address.to_v6().to_bytes();
    } else {
        const auto v4 = address.to_v4().to_bytes();
        std::copy(v4.begin(), v4.end(), range.bytes.begin());
    }
    return range;
}

bool OneOfMany(const asio::ip::address_v6& address)
{
    return !address.is_v4_mapped() && !address.is_loopback() && !address.is_link_local();
}

bool Mapped(const asio::ip::address& address, int bits)
{
    return address.is_v6() && address.to_v6().is_v4_mapped() && bits >= kMappedBits;
}

bool Holds(std::int64_t until, std::int64_t now)
{
    return until == 0 || now < until;
}

}  // namespace

bool AddressRange::Holds(const AddressRange& other) const
{
    if (v6 != other.v6 || other.bits < bits) return false;
    AddressRange front = other;
    front.bits = bits;
    ClearBehind(front);
    return front.bytes == bytes;
}

std::string AddressRange::Text() const
{
    std::string text;
    if (v6) {
        text = asio::ip::make_address_v6(bytes).to_string();
    } else {
        asio::ip::address_v4::bytes_type v4{};
        std::copy_n(bytes.begin(), v4.size(), v4.begin());
        text = asio::ip::make_address_v4(v4).to_string();
    }
    const bool one = v6 ? bits == kV6Bits && !OneOfMany(asio::ip::make_address_v6(bytes)) : bits == kV4Bits;
    return one ? text : text + "/" + std::to_string(bits);
}

std::optional<AddressRange> ReadRange(const std::string& text)
{
    if (text.size() > kRangeBytes || text.find('%') != std::string::npos) return std::nullopt;
    const std::size_t slash = text.find('/');
    boost::system::error_code none;
    asio::ip::address address = asio::ip::make_address(text.substr(0, slash), none);
    if (none) return std::nullopt;
    int bits = address.is_v6() ? (OneOfMany(address.to_v6()) ? kMachineBits : kV6Bits) : kV4Bits;
    if (slash != std::string::npos) {
        const int most = address.is_v6() ? kV6Bits : kV4Bits;
        const char* const end = text.data() + text.size();
        const auto read = std::from_chars(text.data() + slash + 1, end, bits);
        if (read.ec != std::errc() || read.ptr != end || bits < 0 || bits > most) return std::nullopt;
    }
    if (Mapped(address, bits)) {
        address = asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
        bits -= kMappedBits;
    }
    AddressRange range = WholeAddress(address);
    range.bits = bits;
    ClearBehind(range);
    return range;
}

const char* RangeFault(const AddressRange& range)
{
    if (range.bits >= (range.v6 ? kLeastV6 : kLeastV4)) return nullptr;
    return "that is most of the network: a range has at least 8 bits, of IPv6 at least 16; whom to let in at "
           "all is a firewall's matter";
}

void BanList::Replace(const std::vector<Ban>& bans)
{
    std::vector<Range> ranges;
    std::unordered_map<std::string, std::int64_t> handles;
    for (const Ban& ban : bans) {
        if (ban.of == Ban::Of::Handle)
            handles[ban.what] = ban.until;
        else if (const auto range = ReadRange(ban.what))
            ranges.push_back({*range, ban.until});
    }
    const std::lock_guard lock(mMutex);
    mRanges = std::move(ranges);
    mHandles = std::move(handles);
    mAll = bans;
    mAny = !mRanges.empty() || !mHandles.empty();
}

bool BanList::BarsAddress(const std::string& address) const
{
    if (!mAny) return false;
    boost::system::error_code none;
    // A zone says by which network it came, not who it is.
    auto parsed = asio::ip::make_address(address.substr(0, address.find('%')), none);
    if (none) return false;
    if (Mapped(parsed, kV6Bits)) parsed = asio::ip::make_address_v4(asio::ip::v4_mapped, parsed.to_v6());
    const AddressRange one = WholeAddress(parsed);
    const std::int64_t now = BanClock();
    const std::lock_guard lock(mMutex);
    return std::any_of(mRanges.begin(), mRanges.end(),
                       [&](const Range& ban) { return Holds(ban.until, now) && ban.range.Holds(one); });
}

bool BanList::BarsHandle(const std::string& key) const
{
    if (!mAny) return false;
    const std::lock_guard lock(mMutex);
    const auto at = mHandles.find(key);
    return at != mHandles.end() && Holds(at->second, BanClock());
}

std::vector<Ban> BanList::All() const
{
    const std::int64_t now = BanClock();
    const std::lock_guard lock(mMutex);
    std::vector<Ban> all;
    std::copy_if(mAll.begin(), mAll.end(), std::back_inserter(all),
                 [now](const Ban& ban) { return Holds(ban.until, now); });
    return all;
}

std::int64_t BanClock()
{
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace zephyl
