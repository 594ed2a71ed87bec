#include "ui/qt_clipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

void QtClipboard::Clear()
{
    QGuiApplication::clipboard()->clear();
}

QImage QtClipboard::Picture()
{
    const QMimeData* held = QGuiApplication::clipboard()->mimeData();
    if (!held) return QImage();
    // One question first: each one that an owner in trouble leaves unanswered costs seconds.
    const QStringList formats = held->formats();
    if (formats.isEmpty()) return QImage();
    if (held->hasImage()) return QGuiApplication::clipboard()->image();
    // Some programs put an image type that the toolkit does not offer as "image" by itself.
    for (const QString& format : formats) {
        if (!format.startsWith(QLatin1String("image/"))) continue;
        const QImage image = QImage::fromData(held->data(format));
        if (!image.isNull()) return image;
    }
    return QImage();
}

void QtClipboard::SetPicture(const QImage& picture)
{
    QGuiApplication::clipboard()->setImage(picture);
}
