#pragma once
// JPEG from raw pictures. One thread at a time per object. Failures throw std::runtime_error.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace zephyl {

/// The quality at which nothing but rounding is left out.
inline constexpr int kFullColour = 100;

using JpegBytes = std::span<const std::uint8_t>;

/// Keeps the codec's state and one output buffer between pictures, so that a video frame allocates nothing.
/// Quality is 1..100. Sides are 1..8192 and a picture has at most 16 Mpx: no receiver takes more.
class JpegEncoder {
public:
    JpegEncoder();
    ~JpegEncoder();
    JpegEncoder(const JpegEncoder&) = delete;
    JpegEncoder& operator=(const JpegEncoder&) = delete;

    /// 32 bits a pixel, 0xffRRGGBB in the machine's byte order, rows from the top. Colour at half the
    /// resolution like the frames, because at the full one a desktop costs 1.9 times as much; at quality 100
    /// it is kept whole. The result is good until the next call.
    JpegBytes EncodeRgb32(const std::uint8_t* pixels, int width, int height, std::size_t bytesPerLine,
                          int quality);
    /// 24 bits a pixel, blue first, rows from the top without padding.
    JpegBytes EncodeBgr24(std::span<const std::uint8_t> frame, int width, int height, int quality);
    /// One I420 frame without padding, BT.601 and all of 0 to 255; compressed straight from its planes.
    JpegBytes EncodeI420(std::span<const std::uint8_t> frame, int width, int height, int quality);
    /// Gives the output buffer back.
    void Clear();

private:
    void Check(int width, int height, int quality) const;
    void Reserve(int width, int height, int sampling);
    JpegBytes Finish(int status, unsigned long size);

    struct Codec;
    std::unique_ptr<Codec> mCodec;
};

/// Bytes of one frame without padding; 64-bit arithmetic.
std::uint64_t I420Bytes(int width, int height);
std::uint64_t Bgr24Bytes(int width, int height);

}  // namespace zephyl
