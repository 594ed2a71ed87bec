#pragma once
// Who may not come at all, as the operator said. Any thread.

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace zephyl {

/// IPv4 addresses in IPv6's form (::ffff:192.0.2.1) are IPv4's.
struct AddressRange {
    bool v6 = false;
    int bits = 0;  // that count, from the front
    std::array<unsigned char, 16> bytes{};
    bool Holds(const AddressRange& other) const;
    std::string Text() const;  // "192.0.2.0/24"
};
/// "192.0.2.7", "192.0.2.0/24", "2001:db8::/32". Without bits an IPv4 address is itself, and an IPv6 address
/// all of its /64, which one machine has. What lies behind the bits is cleared. None: no such thing.
std::optional<AddressRange> ReadRange(const std::string& text);
/// Why nobody can mean this range; null when somebody can.
const char* RangeFault(const AddressRange& range);

struct Ban {
    enum class Of { Address, Handle } of = Of::Address;
    std::string what;        // a range's text, or a folded handle
    std::string shown;       // as people write it
    std::int64_t until = 0;  // seconds since 1970; 0: for good
};

class BanList {
public:
    static constexpr std::size_t kMost = 10'000;

    void Replace(const std::vector<Ban>& bans);
    bool BarsAddress(const std::string& address) const;
    /// A folded handle.
    bool BarsHandle(const std::string& key) const;
    /// Those that hold at this moment.
    std::vector<Ban> All() const;

private:
    struct Range {
        AddressRange range;
        std::int64_t until;
    };
    mutable std::mutex mMutex;
    std::atomic<bool> mAny{false};
    std::vector<Range> mRanges;
    std::unordered_map<std::string, std::int64_t> mHandles;
    std::vector<Ban> mAll;
};

/// Seconds since 1970, as bans count. Not steady: a ban outlives the process.
std::int64_t BanClock();

}  // namespace zephyl
