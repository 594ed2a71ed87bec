#pragma once
// The JPEG encoder that the messaging service supplies.

#include <QByteArray>

#include "contract/picture.h"

/// EncodePicture takes the image, GetBytes encodes it with the quality of that moment and keeps the bytes
/// until image or quality change; a lower quality where they would be more than can be sent (512 KiB of a
/// frame, 4 MiB of a picture). User-interface thread only.
/// Every failing call throws std::runtime_error.
class FrameEncoder {
public:
    virtual ~FrameEncoder() = default;

    /// JPEG quality, 1..100; a fresh encoder has 65. Values outside are refused.
    virtual void SetQuality(qint16 quality) = 0;
    virtual qint16 Quality() const = 0;

    /// Size of the raw frames that EncodeFrame will be given, in pixels.
    virtual void PrepareFrameFormat(int width, int height) = 0;
    /// Releases the held image. GetBytes throws until another one is given.
    virtual void Clear() = 0;
    /// What lies beyond 8192 pixels or 16 Mpx is left out at the right and at the bottom.
    virtual void EncodePicture(const Pixels& picture) = 0;
    /// JPEG bytes of the last image given. The array is shared, not copied.
    virtual QByteArray GetBytes() = 0;
    /// `frame`: one I420 frame of the prepared size when `isYUV`, its numbers as JPEG means them (ITU-R
    /// BT.601, all of 0 to 255), else 24-bit BGR rows from the top. Encodes at once and returns the quality
    /// it took, which callers pass on as SendVideoFrame's Quality.
    virtual qint32 EncodeFrame(const QByteArray& frame, bool isYUV) = 0;
};
