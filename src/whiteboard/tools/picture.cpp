#include "whiteboard/tools/picture.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>
#include <stdexcept>

#include "whiteboard/board.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kMostPixels = 16'000'000;

[[noreturn]] void Refuse(const QString& file, const QString& why)
{
    throw std::runtime_error(u"%1: %2"_s.arg(file, why).toStdString());
}

QImage ReadWithin(QImageReader& reader, const QString& file, PictureKinds kinds)
{
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);  // photographs stand upright
    const QByteArray format = reader.format();
    const bool usual = format == "jpeg" || format == "bmp";
    const bool any = kinds == PictureKinds::Any && (format == "png" || format == "gif");
    if (!usual && !any)
        Refuse(file, kinds == PictureKinds::Any ? u"no JPEG, BMP, PNG or GIF picture"_s
                                                : u"no JPEG or BMP picture"_s);
    const QSize size = reader.size();
    if (qint64(size.width()) * size.height() > kMostPixels)
        Refuse(file, u"%1 x %2 pixels are more than 16 million"_s.arg(size.width()).arg(size.height()));
    const QImage picture = reader.read();
    if (picture.isNull()) Refuse(file, reader.errorString());
    return picture;
}

}  // namespace

QImage LoadBoardPicture(const QString& file, PictureKinds kinds)
{
    // Opening a named pipe would wait for its other end.
    if (QFileInfo(file).exists() && !QFileInfo(file).isFile()) Refuse(file, u"no file"_s);
    QImageReader reader(file);
    return ReadWithin(reader, file, kinds);
}

QImage ReadBoardPicture(const QByteArray& bytes, const QString& name)
{
    QBuffer buffer;
    buffer.setData(bytes);
    QImageReader reader(&buffer);
    return ReadWithin(reader, name, PictureKinds::Any);
}

QImage CutToBoard(const QImage& picture, QPoint at)
{
    const QRect seen = QRect(at, picture.size()) & QRect(0, 0, kBoardWidth, kBoardHeight);
    return seen.isEmpty() ? QImage() : picture.copy(seen.translated(-at));
}

QImage OnWhite(const QImage& picture)
{
    if (!picture.hasAlphaChannel()) return picture;
    QImage opaque(picture.size(), QImage::Format_RGB32);
    opaque.fill(Qt::white);
    QPainter(&opaque).drawImage(opaque.rect(), picture);
    return opaque;
}

Pixels PixelsOf(const QImage& image)
{
    const auto kept = std::make_shared<const QImage>(OnWhite(image).convertToFormat(QImage::Format_RGB32));
    return {kept->width(), kept->height(), kept->bytesPerLine(), kept->constBits(), kept};
}
