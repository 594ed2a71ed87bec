#pragma once
// Pictures as three planes: luminance, then both colour planes at half the size. Rows without padding, odd
// sizes rounded up. The numbers mean what they mean in JPEG: ITU-R BT.601, all of 0 to 255. Pure; any thread.

#include <QByteArray>
#include <QImage>
#include <vector>

#include "platform/camera.h"

struct I420Picture {
    int width = 0;
    int height = 0;
    QByteArray bytes;

    bool IsNull() const { return bytes.isEmpty(); }
};

inline constexpr int kLeastSide = 16;
inline constexpr int kMostSide = 4096;

/// Bytes of one picture.
qsizetype I420Size(int width, int height);
CameraFormat I420Format(int width, int height);
/// Each colour sample is the mean of its four pixels.
I420Picture ToI420(const QImage& picture);
/// Smoothly to another size; the aspect may change.
I420Picture Scaled(const I420Picture& picture, int width, int height);

/// For sources that scale: the usual sizes and `native`, smallest first.
std::vector<CameraFormat> ScaledFormats(const CameraFormat& native);
/// What such a source says to `format`: "" when it takes it, else one sentence.
QString RefusalOf(const CameraFormat& format);
