#include "whiteboard/scaled_board.h"

#include <QPaintEngine>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

/// How many board pixels, each way, are made one before anything is smoothed, which looks at two by two and
/// would pass over the lines between them. Tiles are whole numbers of it.
int Joined(qreal scale)
{
    return scale <= 0.25 ? 4 : scale <= 0.5 ? 2 : 1;
}

QRect Around(const QRect& rect, qreal scale)
{
    const int reach = 2 * Joined(scale);  // board pixels that a scaled pixel may depend on
    return rect.adjusted(-reach, -reach, reach, reach);
}

QRegion Grown(const QRegion& region, qreal scale)
{
    QRegion grown;
    for (const QRect& rect : region) grown += Around(rect, scale);
    return grown;
}

/// `part` of the image, `side` pixels each way made their mean.
QImage Means(const QImage& image, const QRect& part, int side)
{
    QImage means(part.size() / side, QImage::Format_RGB32);
    const int count = side * side;
    for (int y = 0; y < means.height(); ++y) {
        auto* to = reinterpret_cast<QRgb*>(means.scanLine(y));
        for (int x = 0; x < means.width(); ++x) {
            int red = count / 2, green = count / 2, blue = count / 2;
            for (int i = 0; i < count; ++i) {
                const uchar* row = image.constScanLine(part.top() + y * side + i / side);
                const QRgb from = reinterpret_cast<const QRgb*>(row)[part.left() + x * side + i % side];
                red += qRed(from), green += qGreen(from), blue += qBlue(from);
            }
            to[x] = qRgb(red / count, green / count, blue / count);
        }
    }
    return means;
}

/// Each device pixel is the board pixel that its middle lies in.
void PaintSquares(QPainter& painter, const QImage& image, const QRect& part, qreal scale)
{
    const auto edge = [scale](int boardPixel) { return int(std::ceil(boardPixel * scale - 0.5)); };
    const QPoint from(edge(part.left()), edge(part.top()));
    QImage squares(edge(part.right() + 1) - from.x(), edge(part.bottom() + 1) - from.y(),
                   QImage::Format_RGB32);
    for (int boardY = part.top(); boardY <= part.bottom(); ++boardY) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(boardY));
        const int top = edge(boardY) - from.y(), bottom = edge(boardY + 1) - from.y();
        auto* first = reinterpret_cast<QRgb*>(squares.scanLine(top));
        for (int boardX = part.left(); boardX <= part.right(); ++boardX)
            std::fill(first + edge(boardX) - from.x(), first + edge(boardX + 1) - from.x(), row[boardX]);
        for (int y = top + 1; y < bottom; ++y)
            std::memcpy(squares.scanLine(y), first, std::size_t(squares.width()) * sizeof(QRgb));
    }
    painter.save();
    painter.scale(1 / scale, 1 / scale);
    painter.drawImage(from, squares);
    painter.restore();
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
    const QRegion touched = Grown(region, mScale);
    mStale |= TilesOf(touched);
    return touched;
}

void ScaledBoard::Paint(QPainter& painter, const Board& board, const QRegion& region, qreal scale,
                        Large large)
{
    if (scale == 1 && Copy(painter, board, region)) return;
    const QImage& image = board.Image();
    const bool squares = large == Large::Squares && scale > 2;
    if (squares || scale == std::floor(scale)) {
        mScaled = QImage();
        for (const QRect& rect : region)
            squares ? PaintSquares(painter, image, rect, scale)
                    : painter.drawImage(QRectF(rect), image, QRectF(rect));
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
    const TileSet wanted = mStale & TilesOf(Grown(region, mScale));
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
    const QRect from = Around(place, mScale) & image.rect();
    if (const int joined = Joined(mScale); joined > 1)
        painter.drawImage(QRectF(from), Means(image, from, joined));
    else
        painter.drawImage(QRectF(from), image, QRectF(from));
}
