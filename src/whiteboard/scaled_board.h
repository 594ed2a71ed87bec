#pragma once
// The board's image at the screen's scale. Whole scales are drawn straight from the image; for the others a
// smoothly scaled copy is kept, of which only what changed is made anew.

#include <QImage>
#include <QRegion>

class Board;
class QPainter;

class ScaledBoard {
public:
    /// Board pixels that no longer show what the image holds.
    void Outdate(const QRegion& region) { mStale += region; }
    /// Paints `region` (board pixels) of `board`; the painter works in board pixels, `scale` device pixels
    /// each.
    void Paint(QPainter& painter, const Board& board, const QRegion& region, qreal scale);

private:
    void Renew(const QImage& image, const QRegion& region, qreal scale);

    QImage mScaled;
    qreal mScale = 0;
    QRegion mStale;
};
