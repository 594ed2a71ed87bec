#include "ui/replay_board.h"

#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

#include "text/words.h"

namespace {

constexpr int kWheelNotch = 120;

}  // namespace

ReplayBoard::ReplayBoard(QWidget* parent) : QAbstractScrollArea(parent)
{
    setObjectName(QStringLiteral("picReplay"));
    setAccessibleName(Ours::tr("Whiteboard"));
    setLayoutDirection(Qt::LeftToRight);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
}

void ReplayBoard::ShowBoard(const Board& board, const QRegion& changed)
{
    mBoard = &board;
    const QRegion region = mScaled.Outdate(changed);
    viewport()->update(mZoom.ToView(region).translated(-Scrolled()));
}

QPoint ReplayBoard::Scrolled() const
{
    return {horizontalScrollBar()->value(), verticalScrollBar()->value()};
}

void ReplayBoard::SetRanges()
{
    const QSize all = mZoom.ViewSize(), seen = viewport()->size();
    const auto set = [](QScrollBar* bar, int whole, int visible) {
        bar->setRange(0, std::max(0, whole - visible));
        bar->setPageStep(visible);
        bar->setSingleStep(std::max(1, visible / 10));
    };
    set(horizontalScrollBar(), all.width(), seen.width());
    set(verticalScrollBar(), all.height(), seen.height());
}

/// What is in the middle stays there.
void ReplayBoard::SetZoom(Zoom zoom)
{
    const QPointF half(viewport()->width() / 2.0, viewport()->height() / 2.0);
    const QPointF middle = mZoom.ToBoard(QPointF(Scrolled()) + half);
    mZoom = zoom;
    SetRanges();
    const QPoint corner = (mZoom.ToView(middle) - half).toPoint();
    horizontalScrollBar()->setValue(corner.x());
    verticalScrollBar()->setValue(corner.y());
    viewport()->update();
}

void ReplayBoard::resizeEvent(QResizeEvent*)
{
    SetRanges();
}

void ReplayBoard::wheelEvent(QWheelEvent* event)
{
    if (!(event->modifiers() & Qt::ControlModifier)) return QAbstractScrollArea::wheelEvent(event);
    mTurned += event->angleDelta().y();
    const int steps = mTurned / kWheelNotch;
    mTurned %= kWheelNotch;
    if (steps != 0) SetZoom(mZoom.Stepped(steps));
}

void ReplayBoard::paintEvent(QPaintEvent* event)
{
    QPainter painter(viewport());
    const QRect board = QRect(-Scrolled(), mZoom.ViewSize());
    for (const QRect& beside : QRegion(event->rect()) - board) painter.fillRect(beside, palette().dark());
    if (!mBoard) return;
    painter.translate(-Scrolled());
    painter.scale(mZoom.Factor(), mZoom.Factor());
    const QRegion seen = (event->region() & board).translated(Scrolled());
    const auto large = mZoom.IsOwnSize() ? ScaledBoard::Large::Smooth : ScaledBoard::Large::Squares;
    mScaled.Paint(painter, *mBoard, mZoom.ToBoard(seen), devicePixelRatioF() * mZoom.Factor(), large);
}
