#include "platform/linux/y4m_file.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kLongestFrameLine = 1024;

int Side(const QByteArray& digits)
{
    bool isNumber = false;
    const int side = digits.toInt(&isNumber);
    return isNumber ? side : 0;
}

bool IsPlain420(const QByteArray& colour)
{
    return colour == "420" || colour == "420jpeg" || colour == "420mpeg2" || colour == "420paldv";
}

}  // namespace

Y4mHeader ReadY4mHeader(const QByteArray& line)
{
    Y4mHeader header;
    QByteArray colour = "420";
    for (const QByteArray& field : line.trimmed().split(' ')) {
        if (field.startsWith('W')) header.width = Side(field.sliced(1));
        if (field.startsWith('H')) header.height = Side(field.sliced(1));
        if (field.startsWith('C')) colour = field.sliced(1);
        if (field == "XCOLORRANGE=FULL") header.meaning.studio = false;
    }
    if (!IsPlain420(colour))
        header.trouble =
            u"its colours are \"%1\", and only 8-bit 4:2:0 can be read"_s.arg(QString::fromLatin1(colour));
    else if (std::min(header.width, header.height) < kLeastSide ||
             std::max(header.width, header.height) > kMostSide)
        header.trouble = u"its picture size of %1 x %2 is outside %3 to %4 a side"_s.arg(header.width)
                             .arg(header.height)
                             .arg(kLeastSide)
                             .arg(kMostSide);
    return header;
}

Y4mFile::Y4mFile(std::unique_ptr<QFile> file, const Y4mHeader& header)
    : mFile(std::move(file)),
      mWidth(header.width),
      mHeight(header.height),
      mMeaning(header.meaning),
      mFirstFrame(mFile->pos())
{
}

I420Picture Y4mFile::Next()
{
    if (I420Picture picture = ReadOne(); !picture.IsNull()) return picture;
    mFile->seek(mFirstFrame);
    return ReadOne();
}

I420Picture Y4mFile::ReadOne()
{
    const QByteArray line = mFile->readLine(kLongestFrameLine);
    if (!line.startsWith("FRAME") || !line.endsWith('\n')) return {};
    const qsizetype size = I420Size(mWidth, mHeight);
    I420Picture picture{mWidth, mHeight, mFile->read(size)};
    if (picture.bytes.size() != size) return {};
    ToJpegMeaning(picture, mMeaning);
    return picture;
}
