#pragma once
// What records draw, on any painter that works in board pixels: the board's image, a page, a drawing in a
// file. No state; any thread that may paint.

#include <QPen>
#include <QRect>

#include "whiteboard/records.h"

class QPainter;

inline constexpr float kFar = 16384;         // well outside the board and every pen on it
inline constexpr quint32 kWhite = 0xffffff;  // 0x00BBGGRR
inline constexpr int kEraseWidth = 32;       // no pen is that wide

/// Whether a stroke of that width and colour is one of Erase: white on a board, and nothing on ink by itself.
constexpr bool RubsOut(int width, quint32 colour)
{
    return width == kEraseWidth && colour == kWhite;
}

/// The toolkit's colour of 0x00BBGGRR.
QRgb ToRgb(quint32 colour);
/// A drawing width as the board takes it: 1 to its diagonal.
int DrawnWidth(int width);
/// Round ends and joins. `width` as DrawnWidth gives it.
QPen BoardPen(quint32 colour, int width);

/// Brings a line with ends far outside the board into the range the painter can count in, on the same way.
/// Returns false when no part of it comes near the board.
bool BringNear(Segment& segment);

/// A line of text as it is drawn: what of it, and where.
struct TextPlace {
    QString line;
    QPointF base;  // the left end of its base line
    QRect area;    // nothing is drawn outside: hundreds of accents on one letter are a tower
};
/// Puts the record's font and colour on `painter` and measures with them.
TextPlace SetText(QPainter& painter, const TextRecord& text);
