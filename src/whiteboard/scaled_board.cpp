#include "whiteboard/scaled_board.h"

#include <QPainter>
#include <cmath>

namespace {

constexpr int kSmoothReach = 2;  // board pixels that a scaled pixel may depend on

}  // namespace

void ScaledBoard::Paint(QPainter& painter, const QImage& image, const QRegion& region, qreal scale)
{
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
