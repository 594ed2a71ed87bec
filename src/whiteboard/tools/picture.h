#pragma once
// Pictures for the board, from files and from the clipboard.

#include <QImage>
#include <QString>

#include "contract/picture.h"

/// Usual: JPEG and BMP, as the File tool's dialog says. Any: PNG and GIF as well.
enum class PictureKinds { Usual, Any };

/// Reads the picture in a file, whatever its name ends in; at most 16 million pixels. Throws
/// std::runtime_error that names the file and what is wrong.
QImage LoadBoardPicture(const QString& file, PictureKinds kinds = PictureKinds::Usual);
/// The same, of any kind, from a file's bytes; `name` is what an error calls them.
QImage ReadBoardPicture(const QByteArray& bytes, const QString& name);
/// What the board shows of `picture` with its top left corner at `at`; null when that is nothing.
QImage CutToBoard(const QImage& picture, QPoint at);
/// `picture` without transparency: white shines through. The same here and at all who receive it.
QImage OnWhite(const QImage& picture);
/// The same pixels as plain data, kept alive by it.
Pixels PixelsOf(const QImage& image);
