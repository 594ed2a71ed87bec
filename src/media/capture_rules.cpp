#include "media/capture_rules.h"

#include <limits>
#include <stdexcept>

#include "text/text_rules.h"
#include "text/words.h"

using namespace Qt::StringLiterals;

qint32 RoundedNumber(double value, const char* what)
{
    const double rounded = RoundHalfEven(value);
    if (rounded >= std::numeric_limits<qint32>::min() && rounded <= std::numeric_limits<qint32>::max())
        return qint32(rounded);
    throw std::runtime_error(u"%1 %2 is outside 32 bits"_s.arg(QLatin1String(what)).arg(value).toStdString());
}

std::chrono::milliseconds FrameInterval(qint32 rate, qint32 minimum)
{
    return std::chrono::milliseconds(rate == 0 ? minimum : 1000 / rate);
}

CameraFormat WithSize(CameraFormat format, qint32 width, qint32 height)
{
    qint32 size = 0;
    if (__builtin_mul_overflow(width, height, &size) ||
        __builtin_mul_overflow(size, format.bitsPerPixel, &size))
        throw std::runtime_error(u"Overflow: %1 x %2 pixels of %3 bits"_s.arg(width)
                                     .arg(height)
                                     .arg(format.bitsPerPixel)
                                     .toStdString());
    format.width = width;
    format.height = height;
    format.imageSize = size / 8;
    return format;
}

CameraFormat AsYuv(CameraFormat format)
{
    if (format.compression == kI420 || format.compression == kIYUV) return format;
    format.compression = kI420;
    format.bitsPerPixel = 12;
    return WithSize(format, format.width, format.height);
}

QString ResolutionCaption(const CameraFormat& format)
{
    return Defined::tr("Res:%1x%2", "width, height").arg(format.width).arg(format.height);
}
