#include "platform/linux/stream_picture.h"

#include <QImage>
#include <QTransform>
#include <memory>
#include <utility>

namespace {

constexpr qint64 kMostBytes = 256 * 1024 * 1024;
constexpr int kPixel = 4;  // bytes

void SwapRedAndBlue(uchar* bytes, qsizetype count)
{
    for (qsizetype i = 0; i + 2 < count; i += kPixel) std::swap(bytes[i], bytes[i + 2]);
}

Pixels Turned(const Pixels& picture, quint32 transform)
{
    if (transform == 0) return picture;
    const QImage lying(picture.data, picture.width, picture.height, picture.bytesPerLine,
                       QImage::Format_RGB32);
    const QImage standing = lying.transformed(QTransform().rotate(90.0 * (transform & 3)));
    const auto upright = std::make_shared<const QImage>(
        standing.mirrored(transform & 4, false).convertToFormat(QImage::Format_RGB32));
    return {upright->width(), upright->height(), upright->bytesPerLine(), upright->constBits(), upright};
}

}  // namespace

Pixels PictureOf(const StreamFrame& frame, const ReadBytes& read)
{
    if (frame.width == 0 || frame.height == 0 || frame.width > kLongestStreamSide ||
        frame.height > kLongestStreamSide)
        return {};
    const QRect whole(0, 0, int(frame.width), int(frame.height));
    const QRect part = frame.crop.isNull() ? whole : frame.crop;
    if (part.isEmpty() || !whole.contains(part) || frame.transform > 7) return {};
    const qint64 row = qint64(frame.width) * kPixel;
    const qint64 stride = frame.stride == 0 ? row : frame.stride;
    if (stride < row || stride > kMostBytes) return {};
    const qint64 first = part.top() * stride + part.left() * kPixel;
    const qint64 bytes = (part.height() - 1) * stride + qint64(part.width()) * kPixel;
    if (bytes > kMostBytes || quint64(first + bytes) > frame.size) return {};
    if (frame.offset > ~quint64(0) / 2) return {};

    const std::shared_ptr<uchar[]> copy(new uchar[std::size_t(bytes)]);
    if (!read(frame.offset + quint64(first), copy.get(), std::size_t(bytes))) return {};
    if (frame.redFirst) SwapRedAndBlue(copy.get(), bytes);
    return Turned({part.width(), part.height(), qsizetype(stride), copy.get(), copy}, frame.transform);
}
