// JPEG pictures of strangers: decoded within the limits, or refused with a reason.

#include <cstdint>
#include <cstdlib>

#include "service/codec/picture_guard.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    zephyl::PictureLimits limits;
    limits.pixels = 1024 * 1024;  // so that most of the time goes into what differs
    const zephyl::DecodedPicture picture = zephyl::DecodeGuarded({data, size}, limits);
    if (!picture.pixels) return picture.refusal.empty() ? std::abort(), 0 : 0;
    const std::uint64_t pixels = std::uint64_t(picture.width) * std::uint64_t(picture.height);
    if (picture.width < 1 || picture.height < 1 || pixels > limits.pixels) std::abort();
    for (std::uint64_t i = 0; i < pixels; ++i)
        if (picture.pixels[i] >> 24 != 0xff) std::abort();
    return 0;
}
