#pragma once
// The contract's encoder over the codec.

#include "contract/frame_encoder.h"
#include "service/codec/jpeg_encoder.h"

namespace zephyl::link {

class JpegFrameEncoder final : public FrameEncoder {
public:
    void SetQuality(qint16 quality) override;
    qint16 Quality() const override { return mQuality; }
    void PrepareFrameFormat(int width, int height) override;
    void Clear() override;
    void EncodePicture(const Pixels& picture) override;
    QByteArray GetBytes() override;
    qint32 EncodeFrame(const QByteArray& frame, bool isYUV) override;

private:
    enum class Held { Nothing, Picture, Yuv, Bgr };
    void Hold(Held what);
    JpegBytes Encode(int quality);
    void EncodeToFit();

    JpegEncoder mEncoder;
    qint16 mQuality = 65;
    qint16 mUsed = 65;            // for mBytes
    int mWidth = 0, mHeight = 0;  // of raw frames
    Held mHeld = Held::Nothing;
    Pixels mPicture;
    QByteArray mFrame;
    QByteArray mBytes;  // null: to be encoded
};

}  // namespace zephyl::link
