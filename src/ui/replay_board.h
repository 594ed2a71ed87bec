#pragma once
// A board to look at: scrolled, and zoomed as the meeting window's is, by Ctrl and the wheel.

#include <QAbstractScrollArea>

#include "whiteboard/scaled_board.h"
#include "whiteboard/zoom.h"

class ReplayBoard final : public QAbstractScrollArea {
public:
    explicit ReplayBoard(QWidget* parent);

    /// Borrowed; shown until another one is.
    void ShowBoard(const Board& board, const QRegion& changed);
    void SetZoom(Zoom zoom);
    Zoom CurrentZoom() const { return mZoom; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    QPoint Scrolled() const;
    void SetRanges();

    const Board* mBoard = nullptr;
    ScaledBoard mScaled;
    Zoom mZoom;
    int mTurned = 0;  // of the wheel, not yet a step
};
