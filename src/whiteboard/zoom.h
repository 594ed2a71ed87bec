#pragma once
// How large the board is shown, in percent of its own size. Only the view knows it: records, history and
// files are board pixels at any zoom. Pure.

#include <QPointF>
#include <QRegion>
#include <QSize>

class Zoom {
public:
    static constexpr int kOwnSize = 100, kSmallest = 25, kLargest = 400;

    /// Brought into 25 to 400.
    explicit Zoom(int percent = kOwnSize);
    /// So many of the usual sizes larger, or smaller when `steps` is negative.
    Zoom Stepped(int steps) const;

    int Percent() const { return mPercent; }
    bool IsOwnSize() const { return mPercent == kOwnSize; }
    /// View pixels of one board pixel.
    double Factor() const { return mPercent / 100.0; }

    QPointF ToBoard(const QPointF& view) const;
    QPointF ToView(const QPointF& board) const { return board * Factor(); }
    /// Where the middle of a board pixel lies for a painter that draws lines through whole numbers.
    QPointF MiddleOf(const QPointF& board) const;
    /// Outwards: what has any part of `board`, and the other way round.
    QRegion ToView(const QRegion& board) const;
    QRegion ToBoard(const QRegion& view) const;
    /// The whole board.
    QSize ViewSize() const;

    /// The largest value of a scroll bar, which counts board pixels; `visible` is in view pixels.
    int LastScroll(int boardExtent, int visible) const;

    friend bool operator==(Zoom, Zoom) = default;

private:
    int mPercent;
};
