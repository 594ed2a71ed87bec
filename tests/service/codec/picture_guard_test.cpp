#include "service/codec/picture_guard.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include <jpeglib.h>

#include "service/codec/jpeg_encoder.h"

namespace zephyl {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// A picture by the plain library, so that hostile shapes can be made. `shape` may change the parameters.
Bytes Jpeg(int width, int height, int components, std::function<void(jpeg_compress_struct&)> shape = {})
{
    jpeg_compress_struct codec{};
    jpeg_error_mgr errors{};
    codec.err = jpeg_std_error(&errors);
    jpeg_create_compress(&codec);
    unsigned char* out = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&codec, &out, &size);
    codec.image_width = JDIMENSION(width);
    codec.image_height = JDIMENSION(height);
    codec.input_components = components;
    codec.in_color_space = components == 1 ? JCS_GRAYSCALE : components == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&codec);
    if (shape) shape(codec);
    jpeg_start_compress(&codec, TRUE);
    Bytes row(std::size_t(width) * std::size_t(components));
    while (codec.next_scanline < codec.image_height) {
        for (std::size_t i = 0; i < row.size(); ++i) row[i] = std::uint8_t(i * 7 + codec.next_scanline * 3);
        JSAMPROW line = row.data();
        jpeg_write_scanlines(&codec, &line, 1);
    }
    jpeg_finish_compress(&codec);
    Bytes bytes(out, out + size);
    jpeg_destroy_compress(&codec);
    std::free(out);
    return bytes;
}

/// One scan for each coefficient: 190 in all, every one valid.
Bytes ManyScans()
{
    std::vector<jpeg_scan_info> script(1, {3, {0, 1, 2, 0}, 0, 0, 0, 0});
    for (int component = 0; component < 3; ++component)
        for (int k = 1; k < 64; ++k) script.push_back({1, {component, 0, 0, 0}, k, k, 0, 0});
    return Jpeg(64, 64, 3, [&](jpeg_compress_struct& codec) {
        codec.scan_info = script.data();
        codec.num_scans = int(script.size());
    });
}

/// Overwrites the frame header's height and width.
Bytes WithHeader(Bytes jpeg, int height, int width)
{
    for (std::size_t i = 0; i + 9 < jpeg.size(); ++i) {
        if (jpeg[i] != 0xff || jpeg[i + 1] != 0xc0) continue;
        const int values[] = {height >> 8, height & 255, width >> 8, width & 255};
        for (int v = 0; v < 4; ++v) jpeg[i + 5 + std::size_t(v)] = std::uint8_t(values[v]);
        return jpeg;
    }
    ADD_FAILURE() << "no frame header";
    return jpeg;
}

Bytes Cut(Bytes jpeg, std::size_t left)
{
    jpeg.resize(std::min(left, jpeg.size()));
    return jpeg;
}

TEST(PictureGuard, TakesWholePicturesAndRefusesHostileOnes)
{
    const Bytes good = Jpeg(70, 50, 3);
    const auto progressive = [](jpeg_compress_struct& codec) { jpeg_simple_progression(&codec); };
    const struct {
        const char* what;
        Bytes jpeg;
        bool taken;
    } rows[] = {
        {"three colours", good, true},
        {"grey", Jpeg(70, 50, 1), true},
        {"usual progressive", Jpeg(70, 50, 3, progressive), true},
        {"longest side", Jpeg(8192, 8, 1), true},
        {"one pixel too long", Jpeg(8193, 8, 1), false},
        {"claims 65500 x 65500", WithHeader(good, 65500, 65500), false},
        {"16 Mpx and a row", WithHeader(good, 4097, 4096), false},
        {"four components", Jpeg(70, 50, 4), false},
        {"190 scans", ManyScans(), false},
        {"progressive, board size", Jpeg(2048, 1536, 3, progressive), true},
        {"progressive, more memory than a decoder may have", Jpeg(3072, 3072, 3, progressive), false},
        {"without its end", Cut(good, good.size() - 40), false},
        {"header only", Cut(good, 20), false},
        {"text", Bytes(300, 'x'), false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const DecodedPicture picture = DecodeGuarded(row.jpeg);
        EXPECT_EQ(picture.pixels != nullptr, row.taken) << picture.refusal;
        EXPECT_EQ(picture.refusal.empty(), row.taken);
    }
    // Before a pixel is asked for, not because the claimed ones are missing.
    EXPECT_EQ(DecodeGuarded(WithHeader(good, 4097, 4096)).refusal, "too large");
}

TEST(PictureGuard, EndsAtItsTime)
{
    PictureLimits limits;
    limits.time = std::chrono::milliseconds(0);
    EXPECT_EQ(DecodeGuarded(Jpeg(600, 600, 3), limits).refusal, "takes too long to decode");
}

TEST(PictureGuard, ReadsOnlyThePartThatIsLookedAt)
{
    const Bytes jpeg = Jpeg(61, 37, 3);
    const DecodedPicture whole = DecodeGuarded(jpeg);
    ASSERT_TRUE(whole.pixels);
    const PicturePart parts[] = {
        {10, 5, 50, 30}, {-9, -9, 20, 20}, {40, 20, 900, 900}, {70, 50, 90, 90}, {5, 5, 2, 2}};
    for (const PicturePart& part : parts) {
        PictureLimits limits;
        limits.part = part;
        const DecodedPicture some = DecodeGuarded(jpeg, limits);
        ASSERT_TRUE(some.pixels) << some.refusal;
        EXPECT_EQ(some.width * 100 + some.height, 61 * 100 + 37);
        for (int i = 0; i < 61 * 37; ++i) {
            if (i % 61 >= part.left && i % 61 < part.right && i / 61 >= part.top && i / 61 < part.bottom) {
                ASSERT_EQ(some.pixels[std::size_t(i)], whole.pixels[std::size_t(i)]) << i;
            }
        }
    }
}

TEST(JpegEncoder, PicturesComeBackInTheirColours)
{
    constexpr int kWidth = 33, kHeight = 17;  // odd: chroma planes round up
    JpegEncoder encoder;
    const std::vector<std::uint32_t> rgb(kWidth * kHeight, 0xff2040c0);
    Bytes bgr;
    for (int i = 0; i < kWidth * kHeight; ++i) bgr.insert(bgr.end(), {0xc0, 0x40, 0x20});
    Bytes yuv(kWidth * kHeight, 69);  // luma of that colour
    yuv.insert(yuv.end(), 17 * 9, 197);
    yuv.insert(yuv.end(), 17 * 9, 102);
    ASSERT_EQ(yuv.size(), I420Bytes(kWidth, kHeight));

    const auto check = [&](JpegBytes jpeg) {
        const DecodedPicture picture = DecodeGuarded(jpeg);
        ASSERT_TRUE(picture.pixels) << picture.refusal;
        EXPECT_EQ(picture.width, kWidth);
        EXPECT_EQ(picture.height, kHeight);
        for (const int at : {0, kWidth * kHeight - 1})
            for (const int shift : {0, 8, 16, 24})
                EXPECT_NEAR(int(picture.pixels[std::size_t(at)] >> shift & 255),
                            int(0xff2040c0u >> shift & 255), 6);
    };
    check(encoder.EncodeRgb32(reinterpret_cast<const std::uint8_t*>(rgb.data()), kWidth, kHeight, kWidth * 4,
                              90));
    check(encoder.EncodeBgr24(bgr, kWidth, kHeight, 90));
    check(encoder.EncodeI420(yuv, kWidth, kHeight, 90));

    EXPECT_THROW(encoder.EncodeI420(Bytes(10), kWidth, kHeight, 90), std::runtime_error);
    EXPECT_THROW(encoder.EncodeBgr24(bgr, kWidth, kHeight, 0), std::runtime_error);
    EXPECT_THROW(encoder.EncodeBgr24(bgr, kWidth, kHeight, 101), std::runtime_error);
}

}  // namespace
}  // namespace zephyl
