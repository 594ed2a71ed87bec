#include "platform/linux/pattern_driver.h"

#include <QPainter>
#include <cmath>
#include <string_view>

#include "platform/linux/i420.h"

namespace {

constexpr int kDigitWidth = 5, kDigitHeight = 9;  // in strokes

/// The seven strokes of a digit: top, upper left, upper right, middle, lower left, lower right, bottom.
constexpr std::string_view kStrokes[10] = {"1110111", "0010010", "1011101", "1011011", "0111010",
                                           "1101011", "1101111", "1010010", "1111111", "1111011"};
constexpr QRect kPlaces[7] = {{0, 0, 5, 1}, {0, 0, 1, 5}, {4, 0, 1, 5}, {0, 4, 5, 1},
                              {0, 4, 1, 5}, {4, 4, 1, 5}, {0, 8, 5, 1}};

void DrawBars(QPainter& painter, QSize size)
{
    constexpr QRgb bars[] = {0xffc0c0c0, 0xffc0c000, 0xff00c0c0, 0xff00c000,
                             0xffc000c0, 0xffc00000, 0xff0000c0};
    for (int i = 0; i < 7; ++i) {
        const int left = size.width() * i / 7, right = size.width() * (i + 1) / 7;
        painter.fillRect(left, 0, right - left, size.height(), QColor(bars[i]));
    }
}

/// Once round in four seconds.
void DrawBall(QPainter& painter, QSize size, int milliseconds)
{
    const double angle = milliseconds % 4000 * (2 * M_PI / 4000),
                 side = std::min(size.width(), size.height());
    const QPointF middle(size.width() / 2.0 + std::cos(angle) * side * 0.36,
                         size.height() / 2.0 + std::sin(angle) * side * 0.36);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawEllipse(middle, side * 0.09, side * 0.09);
}

/// Strokes, not a font: the picture must not depend on what is installed, nor need a window system.
void DrawClock(QPainter& painter, QSize size, const QTime& time)
{
    const QString text = time.toString(QStringLiteral("hh:mm:ss"));
    const int stroke = std::max(1, size.width() / 80), pitch = (kDigitWidth + 2) * stroke;
    QPoint at((size.width() - int(text.size()) * pitch) / 2 + stroke,
              (size.height() - kDigitHeight * stroke) / 2);
    painter.fillRect(at.x() - 2 * stroke, at.y() - 2 * stroke, int(text.size()) * pitch + 2 * stroke,
                     (kDigitHeight + 4) * stroke, Qt::black);
    const auto fill = [&](const QRect& place) {
        painter.fillRect(QRect(at + place.topLeft() * stroke, place.size() * stroke), Qt::green);
    };
    for (const QChar character : text) {
        if (!character.isDigit()) {
            fill({2, 2, 1, 1});
            fill({2, 6, 1, 1});
        } else {
            for (int i = 0; i < 7; ++i)
                if (kStrokes[character.digitValue()][std::size_t(i)] == '1') fill(kPlaces[i]);
        }
        at.rx() += pitch;
    }
}

}  // namespace

PatternDriver::PatternDriver(const Clock& clock) : mClock(clock), mFormat(I420Format(320, 240)) {}

std::vector<CameraFormat> PatternDriver::Offered()
{
    return ScaledFormats(mFormat);
}

bool PatternDriver::SetFormat(const CameraFormat& format)
{
    mTrouble = RefusalOf(format);
    if (!mTrouble.isEmpty()) return false;
    mFormat = I420Format(format.width, format.height);
    mFormat.compression = format.compression;
    return true;
}

QByteArray PatternDriver::Newest()
{
    QImage picture(mFormat.width, mFormat.height, QImage::Format_RGB32);
    const QTime time = mClock.Now().time();
    QPainter painter(&picture);
    DrawBars(painter, picture.size());
    DrawBall(painter, picture.size(), time.msecsSinceStartOfDay());
    DrawClock(painter, picture.size(), time);
    painter.end();
    return ToI420(picture).bytes;
}
