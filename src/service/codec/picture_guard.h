#pragma once
// Decodes JPEG pictures that strangers sent. Nothing is allocated before the frame header was found good, and
// decoding ends at a number of scans and at a time. [A progressive file of 966 KB and 2048 x 1536 pixels took
// 11.9 s without these two.] Any thread; several at once.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace zephyl {

/// What somebody will look at, in pixels of the picture; right and bottom are exclusive.
struct PicturePart {
    std::int64_t left = 0, top = 0, right = INT32_MAX, bottom = INT32_MAX;
};

struct PictureLimits {
    int side = 8192;  // pixels
    std::uint64_t pixels = 16 * 1024 * 1024;
    int scans = 64;
    std::chrono::milliseconds time{500};
    PicturePart part;
};

/// Pixels are 0xffRRGGBB in the machine's byte order, rows from the top, no padding. Outside the part wanted
/// nothing is written: of a large picture that takes no memory.
struct DecodedPicture {
    int width = 0;
    int height = 0;
    std::shared_ptr<const std::uint32_t[]> pixels;  // null: refused
    std::string refusal;                            // why, in a few words
};

/// Room for that many pixels; what stands in it does not matter.
using PixelRoom = std::function<std::shared_ptr<std::uint32_t[]>(std::size_t)>;
std::shared_ptr<std::uint32_t[]> FreshPixels(std::size_t count);

/// 8 bits, one or three components, within the limits, whole; else a refusal. Never throws but bad_alloc.
DecodedPicture DecodeGuarded(std::span<const std::uint8_t> jpeg, const PictureLimits& limits = {},
                             const PixelRoom& room = FreshPixels);

}  // namespace zephyl
