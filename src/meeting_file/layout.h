#pragma once
// How numbers and frames stand in a meeting file: for its writer and its reader alone.

#include <xxhash.h>

#include <bit>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

#include "meeting_file/item.h"

namespace meeting_file {

// The file is a zstd stream: frames with the items between two that a decompressor skips.
inline constexpr std::uint32_t kHeadFrame = 0x184D2A5A;
inline constexpr std::uint32_t kIndexFrame = 0x184D2A5B;
inline constexpr std::string_view kHeadMagic = "ZMEETING";
inline constexpr std::string_view kIndexMagic = "ZMEETEND";
inline constexpr std::uint32_t kVersion = 1;

inline constexpr std::size_t kSkippableBytes = 8;  // number and size in front of such a frame
inline constexpr std::size_t kSumBytes = 8;
inline constexpr std::size_t kHeadFixedBytes = 8 + 4 + 4 + 8 + 2 + 2;
inline constexpr std::size_t kEntryBytes = 4 + 4 + 4 + kSumBytes;
inline constexpr std::size_t kFooterBytes = 8 + 8 + 4 + 4 + kSumBytes + 8;
inline constexpr std::size_t kItemFixedBytes = 1 + 1 + 2 + 8 + 8;  // behind the item's size
inline constexpr std::size_t kPlaceBytes = 4;                      // of a picture, in front of its JPEG

inline std::uint64_t Sum(std::string_view bytes)
{
    return XXH64(bytes.data(), bytes.size(), 0);
}

/// Of one frame with items; it begins where the one before ends.
struct Entry {
    std::uint32_t packed = 0, plain = 0;  // bytes
    std::uint32_t items = 0;
    std::uint64_t sum = 0;  // XXH64 of the packed bytes
};

template <std::integral T>
void Put(std::string& to, T value)
{
    auto bits = std::make_unsigned_t<T>(value);
    for (std::size_t i = 0; i < sizeof(T); ++i) to += char(bits >> (8 * i) & 0xff);
}

/// Takes numbers and texts off the front; throws BadFile where there is too little.
class Cursor {
public:
    explicit Cursor(std::string_view bytes) : mBytes(bytes) {}
    bool AtEnd() const { return mBytes.empty(); }
    std::size_t Left() const { return mBytes.size(); }
    std::string_view Bytes(std::size_t count)
    {
        if (count > mBytes.size()) throw BadFile("something is cut short inside the file");
        const std::string_view bytes = mBytes.substr(0, count);
        mBytes.remove_prefix(count);
        return bytes;
    }
    template <std::integral T>
    T Number()
    {
        std::make_unsigned_t<T> bits = 0;
        const std::string_view bytes = Bytes(sizeof(T));
        for (std::size_t i = 0; i < sizeof(T); ++i)
            bits |= std::make_unsigned_t<T>(std::make_unsigned_t<T>(static_cast<unsigned char>(bytes[i]))
                                            << (8 * i));
        return T(bits);
    }

private:
    std::string_view mBytes;
};

}  // namespace meeting_file
