#include "whiteboard/seen_board.h"

#include <algorithm>
#include <cstring>
#include <system_error>
#include <utility>

#include "contract/pixel_memory.h"

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
    mLive.BeginShowing(mBoard);
}

SeenBoard::~SeenBoard()
{
    mLive.EndShowing();
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
        mStrips.clear();
    }
    mStale |= ink | TilesOf(moved);
    mChanged += moved;
}

void SeenBoard::FindInk(int tile)
{
    const QPoint corner = TileRect(tile).topLeft();
    TileInk& ink = mInk[std::size_t(tile)];
    ink.pixels.clear();
    for (int strip = 0; strip < kStrips; ++strip) {
        const auto row = [&](int y) {
            return RowOf(mBoard.Ink(), corner.x(), corner.y() + strip * kStripHeight + y);
        };
        QRgb any[kTileSide] = {};
        for (int y = 0; y < kStripHeight; ++y)
            for (int x = 0; x < kTileSide; ++x) any[x] |= row(y)[x];
        const auto inked = [](QRgb pixels) { return pixels != 0; };
        const auto* first = std::find_if(std::begin(any), std::end(any), inked);
        const auto* end = std::end(any);
        while (end != first && !inked(*(end - 1))) --end;
        const Span span{int(first - any), int(end - any), ink.pixels.size()};
        for (int y = 0; y < kStripHeight; ++y)
            ink.pixels.insert(ink.pixels.end(), row(y) + span.from, row(y) + span.to);
        ink.spans[std::size_t(strip)] = span;
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
    const QRect place = TileRect(tile);
    QRgb pixels[kTileSide * kTileSide];
    mLive.CopyTo(pixels, place);
    for (int y = 0; y < kTileSide; y += kStripHeight)
        LayInk(pixels + y * kTileSide, {place.left(), place.top() + y, kTileSide, kStripHeight});
    mSeen.PutTile(tile, pixels);
}

/// `pixels` are those of `part`, which lies in one row of strips.
void SeenBoard::LayInk(QRgb* pixels, const QRect& part) const
{
    for (int column = part.left() / kTileSide; column <= part.right() / kTileSide; ++column) {
        const TileInk& ink = mInk[std::size_t(part.top() / kTileSide * kTilesAcross + column)];
        const Span span = ink.spans[std::size_t(part.top() % kTileSide / kStripHeight)];
        const int left = column * kTileSide + span.from, width = span.to - span.from;
        const int from = std::max(left, part.left()), to = std::min(left + width, part.right() + 1);
        if (from >= to) continue;
        const QRgb* row = ink.pixels.data() + span.first + part.top() % kStripHeight * width + from - left;
        for (int y = 0; y < part.height(); ++y, row += width)
            LayOver(pixels + y * part.width() + from - part.left(), row, to - from);
    }
}

const Pixels& SeenBoard::Laid(const QRegion& area)
{
    if (!mMemory.memory) return mMemory;
    const QRegion inside = area & QRect(0, 0, kBoardWidth, kBoardHeight);
    for (const QRect& rect : inside)
        for (int y = rect.top() / kStripHeight * kStripHeight; y <= rect.bottom(); y += kStripHeight)
            LayStrip(rect & QRect(rect.left(), y, rect.width(), kStripHeight));
    return mMemory;
}

/// The display may be reading: it sees rows of before or of now.
void SeenBoard::LayStrip(const QRect& part)
{
    QRgb pixels[kStripHeight * kBoardWidth];
    QRgb* to = static_cast<QRgb*>(mMemory.memory->Data()) + part.top() * kBoardWidth + part.left();
    for (int row = 0; row < part.height(); ++row) __builtin_prefetch(to + row * kBoardWidth, 1);
    mLive.CopyTo(pixels, part);
    LayInk(pixels, part);
    for (int row = 0; row < part.height(); ++row)
        std::memcpy(to + row * kBoardWidth, pixels + row * part.width(),
                    std::size_t(part.width()) * sizeof(QRgb));
}

QRegion SeenBoard::Hidden(const Pixels& picture, const QRegion& area) const
{
    return InkIn(area.boundingRect() & QRect(0, 0, kBoardWidth, kBoardHeight)) + mLive.Above(picture);
}

/// The strips that have ink, row by row as a region keeps them.
QRegion SeenBoard::InkIn(const QRect& area) const
{
    if (area.isEmpty()) return {};
    const auto known = std::ranges::find(mStrips, area, &Strips::area);
    if (known != mStrips.end()) return known->ink;
    std::vector<QRect> rects;
    const int left = area.left() / kTileSide, right = area.right() / kTileSide;
    for (int y = area.top() / kStripHeight * kStripHeight; y <= area.bottom(); y += kStripHeight) {
        for (int column = left; column <= right; ++column) {
            const Span span = mInk[std::size_t(y / kTileSide * kTilesAcross + column)]
                                  .spans[std::size_t(y % kTileSide / kStripHeight)];
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
    if (mStrips.size() == kMostPlaces) mStrips.erase(mStrips.begin());
    mStrips.push_back({area, region});
    return region;
}
