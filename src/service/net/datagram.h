#pragma once
// One sealed datagram: a 64-bit id and a 64-bit counter in clear, big endian, then what it says under
// ChaCha20-Poly1305, which vouches for both; the counter is the nonce and begins at 1. Pure: no sockets, no
// clock. One thread at a time per object.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl {

inline constexpr std::size_t kDatagramBytes = 1200;  // with the headers of IPv6 and UDP within 1280
inline constexpr std::size_t kDatagramClearBytes = 16;
inline constexpr std::size_t kDatagramTagBytes = 16;
inline constexpr std::size_t kDatagramPlainBytes = kDatagramBytes - kDatagramClearBytes - kDatagramTagBytes;
inline constexpr std::uint64_t kReplayWindow = 1024;

using DatagramKey = std::array<unsigned char, 32>;

/// Of one connection. They are new with each, so a counter never meets its key twice.
struct DatagramKeys {
    std::uint64_t id = 0;
    DatagramKey send{}, receive{};
};

/// None unless it has exactly the bytes of a key.
std::optional<DatagramKey> ReadDatagramKey(std::string_view bytes);

/// Datagrams to be sent in one go, one behind the other.
struct DatagramBatch {
    std::string bytes;
    std::vector<std::uint16_t> sizes;
    bool Empty() const { return sizes.empty(); }
    void Clear()
    {
        bytes.clear();
        sizes.clear();
    }
};

class DatagramSealer {
public:
    DatagramSealer(std::uint64_t id, const DatagramKey& key, std::uint64_t used = 0)
        : mId(id), mKey(key), mCounter(used)
    {
    }
    /// `head` and `body` together at most kDatagramPlainBytes. False: every counter was used, and none is
    /// used twice.
    bool Seal(DatagramBatch& batch, std::string_view head, std::string_view body);
    /// The counter of the last one.
    std::uint64_t Sent() const { return mCounter; }

private:
    const std::uint64_t mId;
    const DatagramKey mKey;
    std::uint64_t mCounter;
};

/// Which counters have come, as far back as the window goes.
class ReplayWindow {
public:
    /// Neither here before nor too old to tell.
    bool Fresh(std::uint64_t counter) const;
    void Mark(std::uint64_t counter);
    std::uint64_t Highest() const { return mHighest; }

private:
    static constexpr std::uint64_t kWordBits = 64;
    std::uint64_t& Word(std::uint64_t counter) { return mSeen[counter % kReplayWindow / kWordBits]; }

    std::array<std::uint64_t, kReplayWindow / kWordBits> mSeen{};
    std::uint64_t mHighest = 0;
};

class DatagramOpener {
public:
    using Plain = std::array<char, kDatagramPlainBytes>;

    explicit DatagramOpener(const DatagramKey& key) : mKey(key) {}
    /// What it says, inside `plain`; none when it is not authentic, was here before or is too old. Whose it
    /// is has been looked at already.
    std::optional<std::string_view> Open(std::string_view datagram, Plain& plain);
    std::uint64_t Highest() const { return mWindow.Highest(); }

private:
    const DatagramKey mKey;
    ReplayWindow mWindow;
};

/// The id in front; none when a datagram of this size says nothing.
std::optional<std::uint64_t> DatagramId(std::string_view datagram);

/// Big endian; the caller knows that there is room.
void PutBigEndian(char* to, std::uint64_t value, std::size_t bytes);
/// The number that all of these bytes are, big endian.
std::uint64_t ReadBigEndian(std::string_view bytes);

}  // namespace zephyl
