#include "service/codec/jpeg_encoder.h"

#include <turbojpeg.h>

#include <bit>
#include <stdexcept>
#include <string>

#include "service/codec/picture_guard.h"

namespace zephyl {

namespace {

constexpr int kPixelFormat32 = std::endian::native == std::endian::little ? TJPF_BGRX : TJPF_XRGB;

std::uint64_t Half(int side)
{
    return (std::uint64_t(side) + 1) / 2;
}

void CheckFrame(std::span<const std::uint8_t> frame, std::uint64_t expected)
{
    if (frame.size() == expected) return;
    throw std::runtime_error("a frame has " + std::to_string(frame.size()) + " bytes instead of " +
                             std::to_string(expected));
}

}  // namespace

struct JpegEncoder::Codec {
    tjhandle handle = tjInitCompress();
    unsigned char* buffer = nullptr;
    unsigned long capacity = 0;

    ~Codec()
    {
        Release();
        if (handle) tjDestroy(handle);
    }
    void Release()
    {
        tjFree(buffer);
        buffer = nullptr;
        capacity = 0;
    }
};

JpegEncoder::JpegEncoder() : mCodec(std::make_unique<Codec>())
{
    if (!mCodec->handle) throw std::runtime_error("the JPEG encoder cannot be started");
}

JpegEncoder::~JpegEncoder() = default;

void JpegEncoder::Clear()
{
    mCodec->Release();
}

void JpegEncoder::Check(int width, int height, int quality) const
{
    const PictureLimits limits;
    if (width < 1 || height < 1 || width > limits.side || height > limits.side ||
        std::uint64_t(width) * std::uint64_t(height) > limits.pixels)
        throw std::runtime_error("a picture of " + std::to_string(width) + " x " + std::to_string(height) +
                                 " cannot be encoded");
    if (quality < 1 || quality > 100)
        throw std::runtime_error("JPEG quality " + std::to_string(quality) + " is outside 1..100");
}

void JpegEncoder::Reserve(int width, int height, int sampling)
{
    const unsigned long needed = tjBufSize(width, height, sampling);
    if (needed <= mCodec->capacity) return;
    mCodec->Release();
    mCodec->buffer = tjAlloc(int(needed));
    if (!mCodec->buffer) throw std::runtime_error("no memory for a JPEG picture");
    mCodec->capacity = needed;
}

JpegBytes JpegEncoder::Finish(int status, unsigned long size)
{
    if (status != 0) throw std::runtime_error(std::string("JPEG: ") + tjGetErrorStr2(mCodec->handle));
    return {mCodec->buffer, size};
}

JpegBytes JpegEncoder::EncodeRgb32(const std::uint8_t* pixels, int width, int height,
                                   std::size_t bytesPerLine, int quality)
{
    Check(width, height, quality);
    if (!pixels || bytesPerLine < std::size_t(width) * 4)
        throw std::runtime_error("a picture has short lines");
    const int sampling = quality == kFullColour ? TJSAMP_444 : TJSAMP_420;
    Reserve(width, height, sampling);
    unsigned long size = mCodec->capacity;
    const int status = tjCompress2(mCodec->handle, pixels, width, int(bytesPerLine), height, kPixelFormat32,
                                   &mCodec->buffer, &size, sampling, quality, TJFLAG_NOREALLOC);
    return Finish(status, size);
}

JpegBytes JpegEncoder::EncodeBgr24(std::span<const std::uint8_t> frame, int width, int height, int quality)
{
    Check(width, height, quality);
    CheckFrame(frame, Bgr24Bytes(width, height));
    Reserve(width, height, TJSAMP_420);
    unsigned long size = mCodec->capacity;
    const int status = tjCompress2(mCodec->handle, frame.data(), width, width * 3, height, TJPF_BGR,
                                   &mCodec->buffer, &size, TJSAMP_420, quality, TJFLAG_NOREALLOC);
    return Finish(status, size);
}

JpegBytes JpegEncoder::EncodeI420(std::span<const std::uint8_t> frame, int width, int height, int quality)
{
    Check(width, height, quality);
    CheckFrame(frame, I420Bytes(width, height));
    Reserve(width, height, TJSAMP_420);
    const std::uint64_t luma = std::uint64_t(width) * std::uint64_t(height);
    const std::uint64_t chroma = Half(width) * Half(height);
    const unsigned char* planes[] = {frame.data(), frame.data() + luma, frame.data() + luma + chroma};
    const int strides[] = {width, int(Half(width)), int(Half(width))};
    unsigned long size = mCodec->capacity;
    const int status = tjCompressFromYUVPlanes(mCodec->handle, planes, width, strides, height, TJSAMP_420,
                                               &mCodec->buffer, &size, quality, TJFLAG_NOREALLOC);
    return Finish(status, size);
}

std::uint64_t I420Bytes(int width, int height)
{
    return std::uint64_t(width) * std::uint64_t(height) + 2 * Half(width) * Half(height);
}

std::uint64_t Bgr24Bytes(int width, int height)
{
    return std::uint64_t(width) * std::uint64_t(height) * 3;
}

}  // namespace zephyl
