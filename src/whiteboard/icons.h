#pragma once
// The whiteboard's pictures: toolbar icons, pointers over the board, and the pointer image. Drawn from
// vectors for the scale and the theme at hand. User-interface thread only.

#include <QCursor>
#include <QIcon>
#include <QPalette>
#include <QPixmap>

inline constexpr int kIconSide = 16;
inline constexpr int kPointerSide = 24;  // of the pointer image, board pixels

enum class Mirrored { No, Yes };

/// Sharp at scales up to 3, and in the colours that stand out on `palette`'s windows.
QIcon ToolIcon(const QString& key, const QPalette& palette, Mirrored mirrored = Mirrored::No);
/// The icon as a pointer; its hot spot is where the tool acts. Stands out on any board.
QCursor ToolCursor(const QString& key, qreal scale);
/// imgSelPointer's picture.
QPixmap PointerPixmap(qreal scale);
/// The same as a pointer, centred.
QCursor PointerCursor(qreal scale);
