#pragma once
// What is seen of a board whose ink lies above live pictures: white, the pictures, the ink. Made tile by tile
// when somebody looks, in memory that the display can be shown. User-interface thread only.

#include <array>
#include <vector>

#include "whiteboard/board.h"
#include "whiteboard/live_pictures.h"

class SeenBoard {
public:
    /// The board keeps its ink for as long as this looks at it. Both outlive this.
    SeenBoard(Board& board, LivePictures& live);
    ~SeenBoard();
    SeenBoard(const SeenBoard&) = delete;
    SeenBoard& operator=(const SeenBoard&) = delete;

    /// What looks different since the last call, board pixels.
    QRegion TakeChanged();
    /// As it looks now in `area`; elsewhere, as it once did.
    const Board& At(const QRegion& area);
    /// The same for the display, by the pixel; the picture is the whole board's. Without memory to be had,
    /// null.
    const Pixels& Laid(const QRegion& area);
    /// Where in `area` one does not see the picture with these pixels alone.
    QRegion Hidden(const Pixels& picture, const QRegion& area) const;

private:
    static constexpr int kStripHeight = 8, kStrips = kTileSide / kStripHeight;
    static constexpr std::size_t kMostPlaces = 16;

    void Follow();
    void FindInk(int tile);
    void Make(int tile);
    void LayInk(QRgb* pixels, const QRect& part) const;
    void LayStrip(const QRect& part);
    QRegion InkIn(const QRect& area) const;

    Board& mBoard;
    LivePictures& mLive;
    Pixels mMemory;
    Board mSeen;
    QRegion mChanged;
    TileSet mStale;
    /// Where a strip of a tile has ink, in pixels of the tile; empty: `from` is not before `to`.
    struct Span {
        int from = 0, to = 0;
        std::size_t first = 0;  // where its rows begin in `pixels`
    };
    /// One behind the other, where the board has them far apart: a frame finds few of them in the caches.
    struct TileInk {
        std::array<Span, kStrips> spans;
        std::vector<QRgb> pixels;
    };
    std::array<TileInk, kTileCount> mInk;
    struct Strips {
        QRect area;
        QRegion ink;
    };
    mutable std::vector<Strips>
        mStrips;  // of the places of live pictures, until the ink changes; the newest last
};
