#include "platform/linux/i420.h"

#include <algorithm>
#include <cstring>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

struct Rgb {
    int red = 0, green = 0, blue = 0;
};

/// `fixed`: with 16 binary digits behind the point, and as many more as make up for the sum of several
/// pixels.
uchar Level(int fixed, int bits)
{
    return uchar(std::clamp((fixed + (1 << (bits - 1))) >> bits, 0, 255));
}

uchar Luma(QRgb pixel)
{
    return Level(19595 * qRed(pixel) + 38470 * qGreen(pixel) + 7471 * qBlue(pixel), 16);
}

Rgb SumOfFour(const QImage& picture, int x, int y)
{
    const int right = std::min(x + 1, picture.width() - 1), below = std::min(y + 1, picture.height() - 1);
    Rgb sum;
    for (const QRgb pixel : {picture.pixel(x, y), picture.pixel(right, y), picture.pixel(x, below),
                             picture.pixel(right, below)}) {
        sum.red += qRed(pixel);
        sum.green += qGreen(pixel);
        sum.blue += qBlue(pixel);
    }
    return sum;
}

void ScalePlane(const uchar* from, QSize fromSize, uchar* to, QSize toSize)
{
    const QImage plane(from, fromSize.width(), fromSize.height(), fromSize.width(),
                       QImage::Format_Grayscale8);
    const QImage scaled = plane.scaled(toSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                              .convertToFormat(QImage::Format_Grayscale8);
    for (int row = 0; row < toSize.height(); ++row)
        std::memcpy(to + qsizetype(row) * toSize.width(), scaled.constScanLine(row), size_t(toSize.width()));
}

QSize Half(QSize size)
{
    return {(size.width() + 1) / 2, (size.height() + 1) / 2};
}

qsizetype Area(QSize size)
{
    return qsizetype(size.width()) * size.height();
}

}  // namespace

qsizetype I420Size(int width, int height)
{
    return Area({width, height}) + 2 * Area(Half({width, height}));
}

CameraFormat I420Format(int width, int height)
{
    return {width, height, kI420, 12, qint32(I420Size(width, height))};
}

I420Picture ToI420(const QImage& source)
{
    const QImage picture = source.convertToFormat(QImage::Format_RGB32);
    const int width = picture.width(), height = picture.height();
    I420Picture planes{width, height, QByteArray(I420Size(width, height), Qt::Uninitialized)};
    auto* luma = reinterpret_cast<uchar*>(planes.bytes.data());
    for (int y = 0; y < height; ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
        luma = std::transform(row, row + width, luma, Luma);
    }
    uchar* u = luma;
    uchar* v = u + Area(Half({width, height}));
    for (int y = 0; y < height; y += 2)
        for (int x = 0; x < width; x += 2) {
            const auto [red, green, blue] = SumOfFour(picture, x, y);
            *u++ = Level(-11058 * red - 21710 * green + 32768 * blue + (128 << 18), 18);
            *v++ = Level(32768 * red - 27439 * green - 5329 * blue + (128 << 18), 18);
        }
    return planes;
}

I420Picture Scaled(const I420Picture& picture, int width, int height)
{
    if (picture.width == width && picture.height == height) return picture;
    const QSize from(picture.width, picture.height), to(width, height);
    I420Picture scaled{width, height, QByteArray(I420Size(width, height), Qt::Uninitialized)};
    const auto* source = reinterpret_cast<const uchar*>(picture.bytes.constData());
    auto* target = reinterpret_cast<uchar*>(scaled.bytes.data());
    ScalePlane(source, from, target, to);
    for (int plane = 0; plane < 2; ++plane)
        ScalePlane(source + Area(from) + plane * Area(Half(from)), Half(from),
                   target + Area(to) + plane * Area(Half(to)), Half(to));
    return scaled;
}

std::vector<CameraFormat> ScaledFormats(const CameraFormat& native)
{
    std::vector<std::pair<int, int>> sizes{{160, 120}, {176, 144}, {240, 180}, {320, 240},
                                           {352, 288}, {640, 480}, {800, 600}, {1280, 720}};
    const std::pair own(native.width, native.height);
    if (std::ranges::find(sizes, own) == sizes.end()) sizes.push_back(own);
    std::ranges::sort(sizes, {}, [](const auto& size) { return size.first * size.second; });
    std::vector<CameraFormat> formats;
    formats.reserve(sizes.size());
    for (const auto& [width, height] : sizes) formats.push_back(I420Format(width, height));
    return formats;
}

QString RefusalOf(const CameraFormat& format)
{
    if (format.compression != kI420 && format.compression != kIYUV)
        return u"This video source delivers I420 only."_s;
    if (std::min(format.width, format.height) < kLeastSide ||
        std::max(format.width, format.height) > kMostSide)
        return u"A picture of %1 x %2 pixels is outside %3 to %4 a side."_s.arg(format.width)
            .arg(format.height)
            .arg(kLeastSide)
            .arg(kMostSide);
    return {};
}
