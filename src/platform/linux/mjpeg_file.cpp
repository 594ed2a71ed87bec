#include "platform/linux/mjpeg_file.h"

namespace {

constexpr uchar kStartOfImage = 0xD8, kEndOfImage = 0xD9, kStartOfScan = 0xDA, kTemporary = 0x01;

bool StandsAlone(uchar marker)
{
    return marker == kTemporary || (marker >= 0xD0 && marker <= 0xD7);
}

/// Behind the compressed data that begins at `at`: the place of the next marker that ends it, or -1.
qsizetype EndOfScan(QByteArrayView bytes, qsizetype at)
{
    for (; at + 1 < bytes.size(); ++at)
        if (uchar(bytes[at]) == 0xFF && bytes[at + 1] != 0 && uchar(bytes[at + 1]) != 0xFF &&
            !StandsAlone(uchar(bytes[at + 1])))
            return at;
    return -1;
}

/// The end of the picture that begins at `begin`; -1 when it is cut off or no picture.
qsizetype EndOfJpeg(QByteArrayView bytes, qsizetype begin)
{
    qsizetype at = begin + 2;
    while (at + 1 < bytes.size() && uchar(bytes[at]) == 0xFF) {
        const auto marker = uchar(bytes[at + 1]);
        if (marker == kEndOfImage) return at + 2;
        if (marker == kStartOfImage) return -1;
        if (marker == 0xFF) {  // a fill byte
            ++at;
            continue;
        }
        if (StandsAlone(marker)) {
            at += 2;
            continue;
        }
        if (at + 3 >= bytes.size()) return -1;
        at += 2 + (uchar(bytes[at + 2]) << 8 | uchar(bytes[at + 3]));
        if (marker == kStartOfScan) at = EndOfScan(bytes, at);
        if (at < 0) return -1;
    }
    return -1;
}

}  // namespace

std::optional<JpegSpan> NextJpeg(QByteArrayView bytes, qsizetype from)
{
    static constexpr QByteArrayView kStart("\xFF\xD8\xFF");
    for (qsizetype begin = bytes.indexOf(kStart, from); begin >= 0; begin = bytes.indexOf(kStart, begin + 1))
        if (const qsizetype end = EndOfJpeg(bytes, begin); end > 0) return JpegSpan{begin, end};
    return std::nullopt;
}

MjpegFile::MjpegFile(std::unique_ptr<QFile> file) : mFile(std::move(file))
{
    mFile->seek(0);
    mBytes = mFile->readAll();
}

I420Picture MjpegFile::Next()
{
    if (I420Picture picture = NextOnThisRound(); !picture.IsNull()) return picture;
    mAt = 0;
    return NextOnThisRound();
}

I420Picture MjpegFile::NextOnThisRound()
{
    while (const auto span = NextJpeg(mBytes, mAt)) {
        mAt = span->end;
        const QImage picture =
            QImage::fromData(QByteArrayView(mBytes).sliced(span->begin, span->end - span->begin), "JPG");
        if (!picture.isNull() && std::min(picture.width(), picture.height()) >= kLeastSide &&
            std::max(picture.width(), picture.height()) <= kMostSide)
            return ToI420(picture);
    }
    return {};
}
