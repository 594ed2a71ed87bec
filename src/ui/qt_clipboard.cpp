#include "ui/qt_clipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>
#include <stdexcept>

#include "platform/linux/x11_clipboard_manager.h"
#include "whiteboard/handed_files.h"
#include "whiteboard/tools/picture.h"

namespace {

/// A file manager copies the file's address and leaves the reading to others.
QImage PictureOfFile(const HandedFiles& handed)
{
    if (handed.files.size() != 1 || handed.elsewhere != 0) return QImage();
    try {
        return LoadBoardPicture(handed.files.first(), PictureKinds::Any);
    } catch (const std::runtime_error&) {
        return QImage();  // as nothing: the Paste tool says so
    }
}

}  // namespace

using namespace Qt::StringLiterals;

void QtClipboard::Clear()
{
    QGuiApplication::clipboard()->clear();
}

QImage QtClipboard::Picture()
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    // Elsewhere the toolkit waits a second, and a Wayland desktop's X server answers for others only.
    const bool x11 = QGuiApplication::platformName() == u"xcb"_s;
    if (x11 && !clipboard->ownsClipboard() && !ClipboardAnswers()) return QImage();
    const QMimeData* held = clipboard->mimeData();
    if (!held) return QImage();
    // One question first: each one that an owner in trouble leaves unanswered costs seconds.
    const QStringList formats = held->formats();
    if (formats.isEmpty()) return QImage();
    if (held->hasImage()) return clipboard->image();
    // Some programs put an image type that the toolkit does not offer as "image" by itself.
    for (const QString& format : formats) {
        if (!format.startsWith(QLatin1String("image/"))) continue;
        const QImage image = QImage::fromData(held->data(format));
        if (!image.isNull()) return image;
    }
    return PictureOfFile(FilesIn(*held));
}

void QtClipboard::SetPicture(const QImage& picture)
{
    QGuiApplication::clipboard()->setImage(picture);
}

void QtClipboard::SetText(const QString& text)
{
    QGuiApplication::clipboard()->setText(text);
}
