#include "whiteboard/scaled_board.h"

#include <QPaintEngine>
#include <QPainter>
#include <cmath>

#include "whiteboard/board.h"

namespace {

constexpr int kSmoothReach = 2;  // board pixels that a scaled pixel may depend on

/// Straight into the window's buffer, where the painter only shifts: asked for several rectangles, the
/// painter would hand each to its thread pool. False: it does more than that.
bool Copy(QPainter& painter, const Board& board, const QRegion& region)
{
    const QTransform& way = painter.deviceTransform();
    auto* buffer = dynamic_cast<QImage*>(painter.paintEngine()->paintDevice());
    if (!buffer || way.type() > QTransform::TxTranslate) return false;
    if (buffer->format() != QImage::Format_RGB32 && buffer->format() != QImage::Format_ARGB32_Premultiplied)
        return false;
    const QPoint shift(qRound(way.dx()), qRound(way.dy()));
    board.CopyTo(*buffer, shift, region);
    return true;
}

}  // namespace

void ScaledBoard::Paint(QPainter& painter, const Board& board, const QRegion& region, qreal scale)
{
    if (scale == 1 && Copy(painter, board, region)) return;
    const QImage& image = board.Image();
    if (scale == std::floor(scale)) {
        for (const QRect& rect : region) painter.drawImage(QRectF(rect), image, QRectF(rect));
        return;
    }
    Renew(image, region, scale);
    painter.save();
    painter.setClipRegion(region, Qt::IntersectClip);
    painter.drawImage(QPointF(0, 0), mScaled);
    painter.restore();
}

void ScaledBoard::Renew(const QImage& image, const QRegion& region, qreal scale)
{
    if (scale != mScale) {
        mScale = scale;
        mScaled = QImage((QSizeF(image.size()) * scale).toSize(), QImage::Format_RGB32);
        mScaled.setDevicePixelRatio(scale);
        mStale = image.rect();
    }
    const QRegion wanted = mStale & region;
    if (wanted.isEmpty()) return;
    QPainter painter(&mScaled);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (const QRect& rect : wanted) {
        const QRect part =
            rect.adjusted(-kSmoothReach, -kSmoothReach, kSmoothReach, kSmoothReach) & image.rect();
        painter.drawImage(QRectF(part), image, QRectF(part));
    }
    mStale -= wanted;
}
