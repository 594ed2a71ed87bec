#include "service/link/jpeg_frame_encoder.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "service/codec/picture_guard.h"
#include "service/wire/limits.h"

namespace zephyl::link {

namespace {

JpegBytes BytesOf(const QByteArray& array)
{
    return {reinterpret_cast<const std::uint8_t*>(array.constData()), std::size_t(array.size())};
}

}  // namespace

void JpegFrameEncoder::SetQuality(qint16 quality)
{
    if (quality < 1 || quality > 100)
        throw std::runtime_error("JPEG quality " + std::to_string(quality) + " is outside 1..100");
    if (quality != mQuality) mBytes.clear();
    mQuality = quality;
}

void JpegFrameEncoder::PrepareFrameFormat(int width, int height)
{
    if (width < 1 || height < 1)
        throw std::runtime_error("a frame of " + std::to_string(width) + " x " + std::to_string(height));
    mWidth = width;
    mHeight = height;
}

void JpegFrameEncoder::Clear()
{
    Hold(Held::Nothing);
    mPicture = {};
    mFrame.clear();
    mEncoder.Clear();
}

void JpegFrameEncoder::Hold(Held what)
{
    mHeld = what;
    mBytes.clear();
}

void JpegFrameEncoder::EncodePicture(const Pixels& picture)
{
    if (picture.IsNull() || picture.width < 1) throw std::runtime_error("there is no picture to encode");
    Hold(Held::Picture);
    mFrame.clear();
    mPicture = picture;
    const PictureLimits limits;
    mPicture.width = std::min(picture.width, limits.side);
    const auto rows = limits.pixels / std::uint64_t(mPicture.width);
    mPicture.height =
        int(std::min<std::uint64_t>({std::uint64_t(picture.height), std::uint64_t(limits.side), rows}));
}

qint32 JpegFrameEncoder::EncodeFrame(const QByteArray& frame, bool isYUV)
{
    if (mWidth == 0) throw std::runtime_error("the size of the frames is not prepared");
    const std::uint64_t expected = isYUV ? I420Bytes(mWidth, mHeight) : Bgr24Bytes(mWidth, mHeight);
    if (std::uint64_t(frame.size()) != expected)
        throw std::runtime_error("a frame has " + std::to_string(frame.size()) + " bytes instead of " +
                                 std::to_string(expected));
    Hold(isYUV ? Held::Yuv : Held::Bgr);
    mPicture = {};
    mFrame = frame;
    EncodeToFit();
    return mUsed;
}

JpegBytes JpegFrameEncoder::Encode(int quality)
{
    switch (mHeld) {
        case Held::Picture:
            return mEncoder.EncodeRgb32(mPicture.data, mPicture.width, mPicture.height,
                                        std::size_t(mPicture.bytesPerLine), quality);
        case Held::Yuv: return mEncoder.EncodeI420(BytesOf(mFrame), mWidth, mHeight, quality);
        case Held::Bgr: return mEncoder.EncodeBgr24(BytesOf(mFrame), mWidth, mHeight, quality);
        case Held::Nothing: break;
    }
    throw std::runtime_error("the encoder holds no image");
}

/// A camera with many pixels, or a slider at its end, would otherwise make frames that cannot be sent.
void JpegFrameEncoder::EncodeToFit()
{
    const std::size_t most = mHeld == Held::Picture ? kPictureBytes : kLiveFrameBytes;
    mUsed = mQuality;
    JpegBytes jpeg = Encode(mUsed);
    while (jpeg.size() > most && mUsed > 1) {
        mUsed = qint16(mUsed * 2 / 3);
        jpeg = Encode(mUsed);
    }
    mBytes = QByteArray(reinterpret_cast<const char*>(jpeg.data()), qsizetype(jpeg.size()));
}

QByteArray JpegFrameEncoder::GetBytes()
{
    if (mBytes.isEmpty()) EncodeToFit();
    return mBytes;
}

}  // namespace zephyl::link
