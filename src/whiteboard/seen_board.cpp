#include "whiteboard/seen_board.h"

#include <algorithm>
#include <cstring>
#include <system_error>
#include <utility>

#include "contract/pixel_memory.h"
#include "whiteboard/apply_mark.h"

namespace {

/// Without memory for the display it is the toolkit that shows everything.
Pixels Room()
{
    Pixels room{kBoardWidth, kBoardHeight, kBoardWidth * qsizetype(sizeof(QRgb)), nullptr, {}};
    try {
        const auto memory = std::make_shared<PixelMemory>(std::size_t(room.bytesPerLine) * kBoardHeight);
        room.data = static_cast<const uchar*>(memory->Data());
        room.memory = memory.get();
        room.owner = memory;
    } catch (const std::system_error&) {
        return room;
    }
    return room;
}

QImage Around(const Pixels& room)
{
    if (!room.memory) return QImage(room.width, room.height, QImage::Format_RGB32);
    return QImage(static_cast<uchar*>(room.memory->Data()), room.width, room.height, room.bytesPerLine,
                  QImage::Format_RGB32);
}

}  // namespace

SeenBoard::SeenBoard(Board& board, LivePictures& live)
    : mBoard(board), mLive(live), mMemory(Room()), mSeen(Board::Within(Around(mMemory)))
{
    mStale.set();
}

QRegion SeenBoard::TakeChanged()
{
    Follow();
    return std::exchange(mChanged, {});
}

void SeenBoard::Follow()
{
    const TileSet ink = mBoard.TakeInkChanged();
    const QRegion moved = mLive.TakeChanged();
    if (ink.any()) {
        for (int tile = 0; tile < kTileCount; ++tile)
            if (ink[std::size_t(tile)]) FindInk(tile);
        mChanged += RegionOf(ink);
    }
    mStale |= ink | TilesOf(moved);
    mChanged += moved;
}

void SeenBoard::FindInk(int tile)
{
    const QPoint corner = TileRect(tile).topLeft();
    for (int strip = 0; strip < kStrips; ++strip) {
        QRgb any[kTileSide] = {};
        for (int y = 0; y < kStripHeight; ++y) {
            const QRgb* row = RowOf(mBoard.Ink(), corner.x(), corner.y() + strip * kStripHeight + y);
            for (int x = 0; x < kTileSide; ++x) any[x] |= row[x];
        }
        const auto inked = [](QRgb pixels) { return pixels != 0; };
        const auto first = std::find_if(std::begin(any), std::end(any), inked);
        auto end = std::end(any);
        while (end != first && !inked(*(end - 1))) --end;
        mInk[std::size_t(tile)][std::size_t(strip)] = {int(first - any), int(end - any)};
    }
}

const Board& SeenBoard::At(const QRegion& area)
{
    Follow();
    const TileSet wanted = mStale & TilesOf(area);
    if (wanted.none()) return mSeen;
    for (int tile = 0; tile < kTileCount; ++tile)
        if (wanted[std::size_t(tile)]) Make(tile);
    mStale &= ~wanted;
    return mSeen;
}

void SeenBoard::Make(int tile)
{
    QRgb pixels[kTileSide * kTileSide];
    Lay(pixels, TileRect(tile));
    mSeen.PutTile(tile, pixels);
}

void SeenBoard::Lay(QRgb* pixels, const QRect& area) const
{
    mLive.CopyTo(pixels, area);
    for (int y = area.top(); y <= area.bottom(); ++y, pixels += area.width())
        LayOver(pixels, RowOf(mBoard.Ink(), area.left(), y), area.width());
}

const Pixels& SeenBoard::Laid(const QRegion& area)
{
    if (!mMemory.memory) return mMemory;
    for (const QRect& rect : area& QRect(0, 0, kBoardWidth, kBoardHeight))
        for (int y = rect.top(); y <= rect.bottom(); y += kStripHeight)
            LayStrip(rect & QRect(rect.left(), y, rect.width(), kStripHeight));
    return mMemory;
}

/// The display may be reading: it sees rows of before or of now.
void SeenBoard::LayStrip(const QRect& area)
{
    QRgb pixels[kStripHeight * kBoardWidth];
    QRgb* to = static_cast<QRgb*>(mMemory.memory->Data()) + area.top() * kBoardWidth + area.left();
    for (int row = 0; row < area.height(); ++row) {  // none of it is in the caches
        __builtin_prefetch(RowOf(mBoard.Ink(), area.left(), area.top() + row));
        __builtin_prefetch(to + row * kBoardWidth, 1);
    }
    Lay(pixels, area);
    for (int row = 0; row < area.height(); ++row)
        std::memcpy(to + row * kBoardWidth, pixels + row * area.width(),
                    std::size_t(area.width()) * sizeof(QRgb));
}

QRegion SeenBoard::Hidden(const Pixels& picture, const QRegion& area) const
{
    return InkIn(area.boundingRect() & QRect(0, 0, kBoardWidth, kBoardHeight)) + mLive.Above(picture);
}

/// The strips that have ink, row by row as a region keeps them.
QRegion SeenBoard::InkIn(const QRect& area) const
{
    if (area.isEmpty()) return {};
    std::vector<QRect> rects;
    const int left = area.left() / kTileSide, right = area.right() / kTileSide;
    for (int y = area.top() / kStripHeight * kStripHeight; y <= area.bottom(); y += kStripHeight) {
        for (int column = left; column <= right; ++column) {
            const Span span = mInk[std::size_t(y / kTileSide * kTilesAcross + column)]
                                  [std::size_t(y % kTileSide / kStripHeight)];
            if (span.from >= span.to) continue;
            const int from = column * kTileSide + span.from, to = column * kTileSide + span.to;
            if (!rects.empty() && rects.back().top() == y && rects.back().right() + 1 == from)
                rects.back().setRight(to - 1);
            else
                rects.emplace_back(from, y, to - from, kStripHeight);
        }
    }
    QRegion region;
    region.setRects(rects.data(), int(rects.size()));
    return region;
}
