#include "whiteboard/board.h"

#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <ranges>
#include <stdexcept>

#include "text/text_rules.h"
#include "whiteboard/board_fonts.h"
#include "whiteboard/shapes.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kDotsPerMeter = 3780;  // 96 dots an inch
constexpr int kMarkStep = 2 * kTileSide;

constexpr qsizetype kLaidBytes = 16 * 1024 * 1024;  // pictures that are kept beside the image
constexpr std::size_t kMostLaid = 16;

/// Copies what `area` of `to` shows of `from`, whose top left corner lies at `at`. Both have 32 bits a pixel.
void CopyRows(QImage& to, const QImage& from, QPoint at, const QRect& area)
{
    const QRect part = area & to.rect() & QRect(at, from.size());
    if (part.isEmpty()) return;
    const std::size_t bytes = std::size_t(part.width()) * sizeof(QRgb);
    const std::size_t toLeft = std::size_t(part.left()) * sizeof(QRgb);
    const std::size_t fromLeft = std::size_t(part.left() - at.x()) * sizeof(QRgb);
    for (int y = part.top(); y <= part.bottom(); ++y)
        std::memcpy(to.scanLine(y) + toLeft, from.constScanLine(y - at.y()) + fromLeft, bytes);
}

/// Memory of a board that costs nothing before it is drawn on.
QImage SeeThrough()
{
    void* const zeroes = std::calloc(std::size_t(kBoardWidth) * kBoardHeight, sizeof(QRgb));
    if (!zeroes) throw std::bad_alloc();
    QImage image(static_cast<uchar*>(zeroes), kBoardWidth, kBoardHeight, QImage::Format_ARGB32_Premultiplied,
                 std::free, zeroes);
    image.setDotsPerMeterX(kDotsPerMeter);
    image.setDotsPerMeterY(kDotsPerMeter);
    return image;
}

/// Premultiplied pixels over others. `covers`: how much of those they hide, Erase included.
void LayInkOver(QRgb* row, const QRgb* ink, const QRgb* covers, int count)
{
    for (int x = 0; x < count; ++x) {
        const int through = 255 - qAlpha(covers[x]);
        if (through == 255) continue;
        const auto mix = [through](int over, int under) { return over + (under * through + 127) / 255; };
        row[x] = through == 0 ? ink[x]
                              : qRgba(mix(qRed(ink[x]), qRed(row[x])), mix(qGreen(ink[x]), qGreen(row[x])),
                                      mix(qBlue(ink[x]), qBlue(row[x])), mix(qAlpha(ink[x]), qAlpha(row[x])));
    }
}

}  // namespace

void LayOver(QRgb* row, const QRgb* top, int count)
{
    QRgb partly = 0;  // ink covers or it does not, but for text: without a branch
    for (int x = 0; x < count; ++x) partly |= ((top[x] >> 24) + 1) & 0xfe;
    if (partly) return LayInkOver(row, top, top, count);
    for (int x = 0; x < count; ++x) {
        const QRgb covers = 0u - (top[x] >> 31);
        row[x] = (top[x] & covers) | (row[x] & ~covers);
    }
}

QRect TileRect(int tile)
{
    return QRect(tile % kTilesAcross * kTileSide, tile / kTilesAcross * kTileSide, kTileSide, kTileSide);
}

QRegion RegionOf(const TileSet& tiles)
{
    QRegion region;
    for (int row = 0; row < kTilesDown; ++row) {
        for (int column = 0; column < kTilesAcross; ++column) {
            int end = column;
            while (end < kTilesAcross && tiles[std::size_t(row * kTilesAcross + end)]) ++end;
            if (end == column) continue;
            region += QRect(column * kTileSide, row * kTileSide, (end - column) * kTileSide, kTileSide);
            column = end;
        }
    }
    return region;
}

TileSet TilesOf(const QRegion& area)
{
    TileSet tiles;
    for (const QRect& part : area) {
        const QRect inside = part & QRect(0, 0, kBoardWidth, kBoardHeight);
        if (inside.isEmpty()) continue;
        for (int row = inside.top() / kTileSide; row <= inside.bottom() / kTileSide; ++row)
            for (int column = inside.left() / kTileSide; column <= inside.right() / kTileSide; ++column)
                tiles.set(std::size_t(row * kTilesAcross + column));
    }
    return tiles;
}

Board::Board() : mImage(kBoardWidth, kBoardHeight, QImage::Format_RGB32), mFontName(TextLook().fontName)
{
    mImage.setDotsPerMeterX(kDotsPerMeter);
    mImage.setDotsPerMeterY(kDotsPerMeter);
    Clear();
}

Board Board::Transparent()
{
    Board board;
    board.mImage = SeeThrough();
    board.mTouched.reset();
    return board;
}

Board Board::Within(QImage image)
{
    Board board;
    board.mImage = std::move(image);
    board.Clear();
    return board;
}

void Board::KeepInk()
{
    mInk = SeeThrough();
    mInkChanged.set();
}

/// `act` draws on the board, and once more where the ink is kept by itself.
template <class Act>
void Board::OnBoth(Act act)
{
    {
        QPainter painter(&Settled());
        Clip(painter);
        act(painter, false);
    }
    if (!KeepsInk()) return;
    QPainter painter(&mInk);
    Clip(painter);
    act(painter, true);
}

void Board::Clip(QPainter& painter) const
{
    if (!mClip.isEmpty()) painter.setClipRegion(mClip, Qt::IntersectClip);
}

QString Board::Checksum() const
{
    constexpr quint64 kStart = 0xcbf29ce484222325u, kPrime = 0x100000001b3u;
    constexpr std::size_t kLanes = 4;  // multiplications that need not wait for each other
    const auto* pair = reinterpret_cast<const quint64*>(Image().constBits());
    quint64 lanes[kLanes] = {kStart, kStart, kStart, kStart};
    for (std::size_t i = 0; i < std::size_t(mImage.sizeInBytes()) / sizeof(quint64); i += kLanes)
        for (std::size_t lane = 0; lane < kLanes; ++lane)
            lanes[lane] = std::rotl((lanes[lane] ^ pair[i + lane]) * kPrime, 23);
    quint64 sum = kStart;
    for (const quint64 lane : lanes) sum = std::rotl((sum ^ lane) * kPrime, 23);
    return u"%1"_s.arg(sum, 16, 16, QChar(u'0'));
}

void Board::Draw(std::span<const Segment> segments, int width)
{
    if (segments.empty()) return;
    const int drawn = DrawnWidth(width);
    OnBoth([&](QPainter& painter, bool ink) {
        const auto take = [&](quint32 colour) {
            if (ink)
                painter.setCompositionMode(RubsOut(width, colour) ? QPainter::CompositionMode_Clear
                                                                  : QPainter::CompositionMode_SourceOver);
            painter.setPen(BoardPen(colour, drawn));
            return colour;
        };
        quint32 colour = take(segments.front().colour);
        for (Segment s : segments) {
            if (!BringNear(s)) continue;
            if (s.colour != colour) colour = take(s.colour);
            if (s.x1 == s.x2 && s.y1 == s.y2)
                painter.drawPoint(QPointF(s.x1, s.y1));
            else
                painter.drawLine(QPointF(s.x1, s.y1), QPointF(s.x2, s.y2));
            if (!ink) MarkSegment(s, drawn / 2 + 2);
        }
    });
}

void Board::Draw(const ShapeRecord& shape)
{
    const int width = DrawnWidth(shape.width);
    const int margin = width / 2 + 2;
    OnBoth([&](QPainter& painter, bool ink) {
        painter.setPen(BoardPen(shape.colour, width));
        for (const QRectF& part : ShapeOf(shape.kind).draw(painter, shape))
            if (!ink) Mark(part.toAlignedRect().adjusted(-margin, -margin, margin, margin));
    });
}

void Board::Draw(const TextRecord& text)
{
    mFontName = text.look.fontName;
    OnBoth([&](QPainter& painter, bool ink) {
        painter.setRenderHint(QPainter::TextAntialiasing);
        const TextPlace place = SetText(painter, text);
        painter.setClipRect(place.area, Qt::IntersectClip);
        painter.drawText(place.base, place.line);
        if (!ink) Mark(place.area);
    });
}

void Board::Clear()
{
    if (mClip.isEmpty()) {
        mLaid.clear();
        mImage.fill(ToRgb(kWhite));
        if (KeepsInk()) mInk = SeeThrough();
    } else {
        OnBoth([&](QPainter& painter, bool ink) {
            if (ink) painter.setCompositionMode(QPainter::CompositionMode_Clear);
            painter.fillRect(mImage.rect(), QColor(ToRgb(kWhite)));
        });
    }
    mUnsaved.set();
    mUnshown.set();
    mTouched.set();
    mInkChanged.set();
}

void Board::Fill(const QRect& rect, quint32 colour)
{
    const QRect area = rect & mImage.rect();
    QPainter(&Settled()).fillRect(area, QColor(ToRgb(colour)));
    MarkArea(area);
}

void Board::Paint(const QImage& picture, QPoint at)
{
    PaintLive(picture, at);
    const QRect place(at, picture.size());
    mInkChanged |= TilesOf(place);
    if (!KeepsInk()) return;
    QPainter painter(&mInk);
    Clip(painter);
    painter.drawImage(place, picture);
}

void Board::PaintLive(const QImage& picture, QPoint at)
{
    if (picture.isNull()) throw std::runtime_error("there is no picture to paint");
    const QRect place(at, picture.size());
    if (picture.format() == mImage.format()) {
        Lay(picture, at);
    } else {
        QPainter painter(&Settled());
        Clip(painter);
        painter.drawImage(place, picture);  // a rectangle: own size at any scale
    }
    MarkArea(place & mImage.rect());
}

void Board::PutTile(int tile, const QRgb* pixels)
{
    const QRect place = TileRect(tile);
    QImage& image = Settled();
    for (int row = 0; row < kTileSide; ++row) {
        uchar* to = image.scanLine(place.top() + row) + std::size_t(place.left()) * sizeof(QRgb);
        std::memcpy(to, pixels + row * kTileSide, kTileSide * sizeof(QRgb));
    }
    mUnshown.set(std::size_t(tile));
    mTouched.set(std::size_t(tile));
}

void Board::PutInk(int tile, const QRgb* pixels)
{
    if (!KeepsInk()) return;
    const QRect place = TileRect(tile);
    for (int row = 0; row < kTileSide; ++row) {
        uchar* to = mInk.scanLine(place.top() + row) + std::size_t(place.left()) * sizeof(QRgb);
        if (pixels)
            std::memcpy(to, pixels + row * kTileSide, kTileSide * sizeof(QRgb));
        else
            std::memset(to, 0, kTileSide * sizeof(QRgb));
    }
    mInkChanged.set(std::size_t(tile));
}

void Board::TakeInk(const Board& from)
{
    mInk = from.mInk;
    mInkChanged.set();
}

bool Board::TakeTile(int tile, const Board& from, const Board* ink)
{
    const QRect place = TileRect(tile);
    QImage& image = Settled();
    const QImage &source = from.Settled(), *over = ink ? &ink->Settled() : nullptr;
    const std::size_t left = std::size_t(place.left()) * sizeof(QRgb), bytes = kTileSide * sizeof(QRgb);
    bool differs = TakeInkTile(tile, from, ink);
    for (int y = place.top(); y <= place.bottom(); ++y) {
        QRgb row[kTileSide];
        std::memcpy(row, source.constScanLine(y) + left, bytes);
        if (over) LayOver(row, reinterpret_cast<const QRgb*>(over->constScanLine(y) + left), kTileSide);
        uchar* const to = image.scanLine(y) + left;
        if (std::memcmp(to, row, bytes) == 0) continue;
        std::memcpy(to, row, bytes);
        differs = true;
    }
    if (differs) mUnshown.set(std::size_t(tile));
    return differs;
}

void Board::Become(const Board& other)
{
    for (int tile = 0; tile < kTileCount; ++tile) {
        if (!TakeTile(tile, other)) continue;
        mUnsaved.set(std::size_t(tile));
        mTouched.set(std::size_t(tile));
    }
}

bool Board::TakeInkTile(int tile, const Board& from, const Board* ink)
{
    if (!KeepsInk() || !from.KeepsInk() || (ink && !ink->KeepsInk())) return false;
    const QRect place = TileRect(tile);
    const std::size_t left = std::size_t(place.left()) * sizeof(QRgb), bytes = kTileSide * sizeof(QRgb);
    const auto at = [left](const QImage& image, int y) {
        return reinterpret_cast<const QRgb*>(image.constScanLine(y) + left);
    };
    bool differs = false;
    for (int y = place.top(); y <= place.bottom(); ++y) {
        QRgb row[kTileSide];
        std::memcpy(row, at(from.mInk, y), bytes);
        if (ink) LayInkOver(row, at(ink->mInk, y), at(ink->mImage, y), kTileSide);
        if (std::memcmp(at(mInk, y), row, bytes) == 0) continue;
        std::memcpy(mInk.scanLine(y) + left, row, bytes);
        differs = true;
    }
    if (differs) mInkChanged.set(std::size_t(tile));
    return differs;
}

void Board::Erase(const TileSet& tiles)
{
    OnBoth([&](QPainter& painter, bool) {
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        for (const QRect& part : RegionOf(tiles)) painter.fillRect(part, Qt::transparent);
    });
}

void Board::Lay(const QImage& picture, QPoint at)
{
    const Laid top{picture, at};
    std::erase_if(mLaid, [&](const Laid& one) { return top.Place().contains(one.Place()); });
    qsizetype bytes = picture.sizeInBytes();
    for (const Laid& one : mLaid) bytes += one.picture.sizeInBytes();
    mLaid.push_back(top);
    if (bytes > kLaidBytes || mLaid.size() > kMostLaid) Settled();
}

QImage& Board::Settled() const
{
    for (const Laid& one : mLaid) CopyRows(mImage, one.picture, one.at, one.Place());
    mLaid.clear();
    return mImage;
}

void Board::CopyTo(QImage& to, QPoint shift, const QRegion& area) const
{
    QRegion rest = area;
    for (const Laid& one : std::views::reverse(mLaid)) {
        const QRegion seen = rest & one.Place();
        for (const QRect& part : seen) CopyRows(to, one.picture, one.at + shift, part.translated(shift));
        rest -= one.Place();
    }
    for (const QRect& part : rest) CopyRows(to, mImage, shift, part.translated(shift));
}

int Board::LineHeight(const TextLook& look) const
{
    return int(RoundHalfEven(QFontMetricsF(BoardFont(look), &mImage).height()));
}

TileSet Board::TakeUnsaved()
{
    return std::exchange(mUnsaved, {});
}

TileSet Board::TakeTouched()
{
    return std::exchange(mTouched, {});
}

QRegion Board::TakeUnshown()
{
    const QRegion region = std::exchange(mUnshownAreas, {}) + RegionOf(mUnshown);
    mUnshown.reset();
    return region;
}

TileSet Board::TakeInkChanged()
{
    return std::exchange(mInkChanged, {});
}

void Board::Mark(const QRect& rect)
{
    const TileSet touched = TilesOf(rect);
    mInkChanged |= touched;
    mUnsaved |= touched;
    mUnshown |= touched;
    mTouched |= touched;
}

void Board::MarkArea(const QRect& area)
{
    const TileSet touched = TilesOf(area);
    mUnsaved |= touched;
    mTouched |= touched;
    mUnshownAreas += area;
}

void Board::MarkSegment(const Segment& s, int margin)
{
    const float reach = std::max(std::abs(s.x2 - s.x1), std::abs(s.y2 - s.y1));
    const int pieces = 1 + int(reach) / kMarkStep;  // a long diagonal touches few tiles of its bounding box
    for (int i = 0; i < pieces; ++i) {
        const float from = float(i) / float(pieces), to = float(i + 1) / float(pieces);
        const QPointF a(s.x1 + from * (s.x2 - s.x1), s.y1 + from * (s.y2 - s.y1));
        const QPointF b(s.x1 + to * (s.x2 - s.x1), s.y1 + to * (s.y2 - s.y1));
        Mark(QRectF(a, b).normalized().toAlignedRect().adjusted(-margin, -margin, margin, margin));
    }
}
