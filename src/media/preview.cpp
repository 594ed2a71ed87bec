#include "media/preview.h"

#include <algorithm>

#include "platform/camera.h"

namespace {

uchar Clamped(int value)
{
    return uchar(std::clamp(value, 0, 255));
}

// As JPEG means them, in 16-bit fixed point.
QRgb Rgb(int y, int u, int v)
{
    const int c = (y << 16) + (1 << 15), d = u - 128, e = v - 128;
    return qRgb(Clamped((c + 91881 * e) >> 16), Clamped((c - 22554 * d - 46802 * e) >> 16),
                Clamped((c + 116130 * d) >> 16));
}

}  // namespace

QImage PreviewPicture(const CameraFrame& frame)
{
    const auto& [width, height, compression, bits, size] = frame.format;
    if ((compression != kI420 && compression != kIYUV) || width <= 0 || height <= 0) return {};
    const qsizetype chromaWidth = (width + 1) / 2, chromaHeight = (height + 1) / 2;
    const qsizetype lumaSize = qsizetype(width) * height, chromaSize = chromaWidth * chromaHeight;
    if (frame.bytes.size() < lumaSize + 2 * chromaSize) return {};

    QImage picture(width, height, QImage::Format_RGB32);
    const auto* luma = reinterpret_cast<const uchar*>(frame.bytes.constData());
    for (int row = 0; row < height; ++row) {
        const uchar* y = luma + qsizetype(row) * width;
        const uchar* u = luma + lumaSize + (row / 2) * chromaWidth;
        const uchar* v = u + chromaSize;
        auto* out = reinterpret_cast<QRgb*>(picture.scanLine(row));
        for (int column = 0; column < width; ++column)
            out[column] = Rgb(y[column], u[column / 2], v[column / 2]);
    }
    return picture;
}
