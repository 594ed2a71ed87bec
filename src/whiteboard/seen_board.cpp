#include "whiteboard/seen_board.h"

#include <algorithm>
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

bool HasInk(const QImage& ink, int tile)
{
    const QRect place = TileRect(tile);
    QRgb any = 0;
    for (int y = place.top(); y <= place.bottom() && any == 0; ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(ink.constScanLine(y)) + place.left();
        for (int x = 0; x < kTileSide; ++x) any |= row[x];
    }
    return any != 0;
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
            if (ink[std::size_t(tile)]) mInked[std::size_t(tile)] = HasInk(mBoard.Ink(), tile);
        mInk = RegionOf(mInked);
        mChanged += RegionOf(ink);
    }
    mStale |= ink | TilesOf(moved);
    mChanged += moved;
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
    std::fill(std::begin(pixels), std::end(pixels), qRgb(255, 255, 255));
    mLive.CopyTo(pixels, tile);
    if (mInked[std::size_t(tile)]) {
        const QRect place = TileRect(tile);
        for (int row = 0; row < kTileSide; ++row)
            LayOver(
                pixels + row * kTileSide,
                reinterpret_cast<const QRgb*>(mBoard.Ink().constScanLine(place.top() + row)) + place.left());
    }
    mSeen.PutTile(tile, pixels);
}

QRegion SeenBoard::Hidden(const Pixels& picture) const
{
    return mInk + mLive.Above(picture);
}
