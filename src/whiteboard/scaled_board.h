#pragma once
// The board's image at the screen's scale. Whole scales are drawn straight from the image; for the others a
// smoothly scaled copy is kept, of which only what changed is made anew. A pixel of the copy depends on the
// image and the scale alone, never on how much was made at a time: so who painted, who saw it painted and
// who came later look at the same picture. Much enlarged, board pixels are squares and no copy is kept.

#include <QImage>
#include <QRegion>

#include "whiteboard/board.h"

class QPainter;

class ScaledBoard {
public:
    /// What becomes of scales above 2 that are not whole.
    enum class Large { Smooth, Squares };

    /// Board pixels that no longer show what the image holds. Returns what is to be painted for them: at a
    /// scale that is smoothed, their neighbours too.
    QRegion Outdate(const QRegion& region);
    /// Paints `region` (board pixels) of `board`; the painter works in board pixels, `scale` device pixels
    /// each.
    void Paint(QPainter& painter, const Board& board, const QRegion& region, qreal scale,
               Large large = Large::Smooth);

private:
    void Renew(const QImage& image, const QRegion& region);
    void RenewTile(const QImage& image, int tile);

    QImage mScaled;
    qreal mScale = 1;  // of the copy; none is kept at a whole one
    TileSet mStale;
};
