#pragma once
// Eight bars of known colours, as every kind of source has them, and how far a picture of them is off.

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <algorithm>
#include <array>
#include <cmath>

namespace bars {

inline constexpr QRgb kColours[] = {0xff000000, 0xffffffff, 0xffff0000, 0xff00ff00,
                                    0xff0000ff, 0xff20c0e0, 0xffb040c0, 0xffe0d020};
inline constexpr int kWidth = 320, kHeight = 240, kBar = kWidth / 8;

/// What a source's numbers mean: the weights of red and blue in its luminance, 0.299 and 0.114 in BT.601.
struct Meaning {
    bool studio = true;  // 16 to 235, not 0 to 255
    double red = 0.299, blue = 0.114;
};

inline std::array<char, 3> Yuv(QRgb colour, const Meaning& meaning)
{
    const double r = qRed(colour), b = qBlue(colour);
    const double y = meaning.red * r + meaning.blue * b + (1 - meaning.red - meaning.blue) * qGreen(colour);
    const auto level = [](double value) { return char(uchar(std::clamp(std::lround(value), 0l, 255l))); };
    const double chroma = meaning.studio ? 224.0 / 255 : 1;
    return {level(meaning.studio ? 16 + y * 219 / 255 : y),
            level(128 + chroma * (b - y) / (2 - 2 * meaning.blue)),
            level(128 + chroma * (r - y) / (2 - 2 * meaning.red))};
}

inline QByteArray I420(const Meaning& meaning)
{
    QByteArray bytes;
    for (int plane = 0; plane < 3; ++plane) {
        const int half = plane > 0 ? 2 : 1;
        for (int row = 0; row < kHeight / half; ++row)
            for (const QRgb colour : kColours) bytes.append(kBar / half, Yuv(colour, meaning)[size_t(plane)]);
    }
    return bytes;
}

inline QByteArray Yuyv(const Meaning& meaning)
{
    QByteArray row;
    for (const QRgb colour : kColours)
        for (int pair = 0; pair < kBar / 2; ++pair) {
            const auto [y, u, v] = Yuv(colour, meaning);
            row.append(y).append(u).append(y).append(v);
        }
    return row.repeated(kHeight);
}

inline QByteArray Bgr()
{
    QByteArray row;
    for (const QRgb colour : kColours)
        for (int pixel = 0; pixel < kBar; ++pixel)
            row.append(char(qBlue(colour))).append(char(qGreen(colour))).append(char(qRed(colour)));
    return row.repeated(kHeight);
}

inline QByteArray Jpeg()
{
    QImage picture(kWidth, kHeight, QImage::Format_RGB32);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) picture.setPixel(x, y, kColours[x / kBar]);
    QBuffer buffer;
    picture.save(&buffer, "JPG", 98);
    return buffer.data();
}

inline QByteArray Y4m(const QByteArray& fields, const Meaning& meaning)
{
    return "YUV4MPEG2 W320 H240 F25:1 " + fields + "\nFRAME\n" + I420(meaning);
}

/// The largest difference of a colour in the middle of its bar; 255 without a picture.
inline int Off(const QImage& picture)
{
    int most = picture.isNull() ? 255 : 0;
    for (int bar = 0; bar < 8 && most < 255; ++bar) {
        const QRgb seen = picture.pixel((2 * bar + 1) * picture.width() / 16, picture.height() / 2);
        const QRgb sent = kColours[bar];
        most = std::max({most, std::abs(qRed(seen) - qRed(sent)), std::abs(qGreen(seen) - qGreen(sent)),
                         std::abs(qBlue(seen) - qBlue(sent))});
    }
    return most;
}

}  // namespace bars
