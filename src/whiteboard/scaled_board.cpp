#include "whiteboard/scaled_board.h"

#include <QPaintEngine>
#include <QPainter>
#include <cmath>

namespace {

constexpr int kSmoothReach = 2;  // board pixels that a scaled pixel may depend on

QRect Around(const QRect& rect)
{
    return rect.adjusted(-kSmoothReach, -kSmoothReach, kSmoothReach, kSmoothReach);
}

QRegion Grown(const QRegion& region)
{
    QRegion grown;
    for (const QRect& rect : region) grown += Around(rect);
    return grown;
}

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

QRegion ScaledBoard::Outdate(const QRegion& region)
{
    if (mScaled.isNull()) return region;
    const QRegion touched = Grown(region);
    mStale |= TilesOf(touched);
    return touched;
}

void ScaledBoard::Paint(QPainter& painter, const Board& board, const QRegion& region, qreal scale)
{
    if (scale == 1 && Copy(painter, board, region)) return;
    const QImage& image = board.Image();
    if (scale == std::floor(scale)) {
        mScaled = QImage();
        for (const QRect& rect : region) painter.drawImage(QRectF(rect), image, QRectF(rect));
        return;
    }
    if (mScaled.isNull() || scale != mScale) {
        mScale = scale;
        mScaled = QImage((QSizeF(image.size()) * scale).toSize(), QImage::Format_RGB32);
        mScaled.setDevicePixelRatio(scale);
        mStale.set();
    }
    Renew(image, region);
    painter.save();
    painter.setClipRegion(region, Qt::IntersectClip);
    painter.drawImage(QPointF(0, 0), mScaled);
    painter.restore();
}

void ScaledBoard::Renew(const QImage& image, const QRegion& region)
{
    const TileSet wanted = mStale & TilesOf(Grown(region));
    for (int tile = 0; tile < kTileCount; ++tile)
        if (wanted[std::size_t(tile)]) RenewTile(image, tile);
    mStale &= ~wanted;
}

/// Always whole tiles, each in a picture of its own: what lies around it changes nothing.
void ScaledBoard::RenewTile(const QImage& image, int tile)
{
    const auto edge = [this](int boardPixel) { return int(std::ceil(boardPixel * mScale)); };
    const QRect place = TileRect(tile);
    const QRect part = QRect(QPoint(edge(place.left()), edge(place.top())),
                             QPoint(edge(place.right() + 1) - 1, edge(place.bottom() + 1) - 1)) &
                       mScaled.rect();
    uchar* pixels = mScaled.scanLine(part.top()) + std::size_t(part.left()) * sizeof(QRgb);
    QImage to(pixels, part.width(), part.height(), mScaled.bytesPerLine(), mScaled.format());
    QPainter painter(&to);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.translate(-part.topLeft());
    painter.scale(mScale, mScale);
    const QRectF from(Around(place) & image.rect());
    painter.drawImage(from, image, from);
}
