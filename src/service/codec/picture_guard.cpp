#include "service/codec/picture_guard.h"

#include <algorithm>
#include <array>
#include <bit>
#include <csetjmp>
#include <cstdio>
#include <string_view>
#include <vector>

#include <jerror.h>
#include <jpeglib.h>

namespace zephyl {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr J_COLOR_SPACE kColours = std::endian::native == std::endian::little ? JCS_EXT_BGRA : JCS_EXT_ARGB;
constexpr JDIMENSION kRowsAtOnce = 16;             // an asking of the clock for each took 2 % of the time
constexpr long kDecoderBytes = 24L * 1024 * 1024;  // coefficients of progressive pictures, and the rest

/// Everything one decoding needs. The library's error handlers leave it by longjmp, so no object with a
/// destructor may live in the functions between setjmp and the library.
struct Decoding {
    jpeg_decompress_struct codec{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};
    std::jmp_buf leave{};
    std::array<char, JMSG_LENGTH_MAX> reason{};
    SteadyClock::time_point deadline{};
    int scans = 0;

    ~Decoding() { jpeg_destroy_decompress(&codec); }
};

Decoding& Of(j_common_ptr codec)
{
    return *static_cast<Decoding*>(codec->client_data);
}

[[noreturn]] void Refuse(Decoding& decoding, std::string_view reason)
{
    std::snprintf(decoding.reason.data(), decoding.reason.size(), "%.*s", int(reason.size()), reason.data());
    std::longjmp(decoding.leave, 1);
}

[[noreturn]] void OnError(j_common_ptr codec)
{
    Decoding& decoding = Of(codec);
    codec->err->format_message(codec, decoding.reason.data());
    std::longjmp(decoding.leave, 1);
}

/// Damage that the library would paint over in grey is a refusal; mere oddities are not.
void OnMessage(j_common_ptr codec, int level)
{
    if (level >= 0) return;
    switch (codec->err->msg_code) {
        case JWRN_JPEG_EOF:
        case JWRN_HIT_MARKER:
        case JWRN_HUFF_BAD_CODE:
        case JWRN_BOGUS_PROGRESSION:
        case JWRN_MUST_RESYNC: OnError(codec);
        default: ++codec->err->num_warnings;
    }
}

void OnProgress(j_common_ptr codec)
{
    Decoding& decoding = Of(codec);
    if (decoding.codec.input_scan_number > decoding.scans) Refuse(decoding, "too many scans");
    if (SteadyClock::now() >= decoding.deadline) Refuse(decoding, "takes too long to decode");
}

void CheckHeader(Decoding& decoding, const PictureLimits& limits)
{
    const jpeg_decompress_struct& codec = decoding.codec;
    if (codec.data_precision != 8) Refuse(decoding, "not 8 bits a sample");
    if (codec.num_components != 1 && codec.num_components != 3)
        Refuse(decoding, "neither grey nor three colours");
    const std::uint64_t width = codec.image_width, height = codec.image_height;
    const std::uint64_t side = std::uint64_t(limits.side);
    if (width == 0 || height == 0 || width > side || height > side || width * height > limits.pixels)
        Refuse(decoding, "too large");
}

/// True when the header is good; the decoder then stands in front of the picture.
bool Open(Decoding& decoding, std::span<const std::uint8_t> jpeg, const PictureLimits& limits)
{
    if (setjmp(decoding.leave)) return false;
    jpeg_create_decompress(&decoding.codec);
    decoding.codec.client_data = &decoding;
    decoding.codec.mem->max_memory_to_use = kDecoderBytes;
    jpeg_mem_src(&decoding.codec, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
    jpeg_read_header(&decoding.codec, TRUE);
    CheckHeader(decoding, limits);
    decoding.codec.progress = &decoding.progress;
    decoding.codec.out_color_space = kColours;
    return true;
}

void ReadAll(jpeg_decompress_struct& codec, std::uint32_t* pixels)
{
    JSAMPROW rows[kRowsAtOnce];
    while (codec.output_scanline < codec.output_height) {
        const JDIMENSION count = std::min(kRowsAtOnce, codec.output_height - codec.output_scanline);
        for (JDIMENSION i = 0; i < count; ++i)
            rows[i] = reinterpret_cast<JSAMPROW>(pixels +
                                                 std::size_t(codec.output_scanline + i) * codec.output_width);
        jpeg_read_scanlines(&codec, rows, count);
    }
}

void ReadPart(jpeg_decompress_struct& codec, std::uint32_t* pixels, const PicturePart& part,
              std::uint32_t* row)
{
    auto line = reinterpret_cast<JSAMPROW>(row);
    while (codec.output_scanline < codec.output_height) {
        const std::int64_t y = codec.output_scanline;
        if (jpeg_read_scanlines(&codec, &line, 1) == 0 || y < part.top || y >= part.bottom) continue;
        std::copy(row + part.left, row + part.right,
                  pixels + std::size_t(y) * codec.output_width + std::size_t(part.left));
    }
}

/// `part` lies within the picture; `row` has room for one and is null when all of the picture is wanted.
bool ReadPixels(Decoding& decoding, std::uint32_t* pixels, const PicturePart& part, std::uint32_t* row)
{
    if (setjmp(decoding.leave)) return false;
    jpeg_start_decompress(&decoding.codec);
    if (row)
        ReadPart(decoding.codec, pixels, part, row);
    else
        ReadAll(decoding.codec, pixels);
    jpeg_finish_decompress(&decoding.codec);
    return true;
}

PicturePart Within(const PicturePart& part, std::int64_t width, std::int64_t height)
{
    const auto side = [](std::int64_t at, std::int64_t most) {
        return std::clamp<std::int64_t>(at, 0, most);
    };
    const std::int64_t left = side(part.left, width), top = side(part.top, height);
    return {left, top, std::max(left, side(part.right, width)), std::max(top, side(part.bottom, height))};
}

}  // namespace

std::shared_ptr<std::uint32_t[]> FreshPixels(std::size_t count)
{
    return std::make_shared_for_overwrite<std::uint32_t[]>(count);
}

DecodedPicture DecodeGuarded(std::span<const std::uint8_t> jpeg, const PictureLimits& limits,
                             const PixelRoom& room)
{
    if (jpeg.empty()) return {0, 0, nullptr, "empty"};
    Decoding decoding;
    decoding.codec.err = jpeg_std_error(&decoding.errors);
    decoding.codec.client_data = &decoding;
    decoding.errors.error_exit = OnError;
    decoding.errors.emit_message = OnMessage;
    decoding.progress.progress_monitor = OnProgress;
    decoding.deadline = SteadyClock::now() + limits.time;
    decoding.scans = limits.scans;

    DecodedPicture picture;
    if (!Open(decoding, jpeg, limits)) return {0, 0, nullptr, decoding.reason.data()};
    picture.width = int(decoding.codec.image_width);
    picture.height = int(decoding.codec.image_height);
    const auto pixels = room(std::size_t(picture.width) * std::size_t(picture.height));
    const PicturePart part = Within(limits.part, picture.width, picture.height);
    const bool whole = part.right - part.left == picture.width && part.bottom - part.top == picture.height;
    std::vector<std::uint32_t> row(whole ? 0 : std::size_t(picture.width));
    if (ReadPixels(decoding, pixels.get(), part, whole ? nullptr : row.data()))
        picture.pixels = pixels;
    else
        picture.refusal = decoding.reason.data();
    return picture;
}

}  // namespace zephyl
