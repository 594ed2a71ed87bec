#pragma once
// What is seen of a board whose ink lies above live pictures: white, the pictures, the ink. Made tile by tile
// when somebody looks, in memory that the display can be shown. User-interface thread only.

#include "whiteboard/board.h"
#include "whiteboard/live_pictures.h"

class SeenBoard {
public:
    /// The board keeps its ink for as long as this looks at it. Both outlive this.
    SeenBoard(Board& board, LivePictures& live);

    /// What looks different since the last call, board pixels.
    QRegion TakeChanged();
    /// As it looks now in `area`; elsewhere, as it once did.
    const Board& At(const QRegion& area);
    /// All of what At gives. Its memory is null where the display cannot be shown it.
    const Pixels& Memory() const { return mMemory; }
    /// Where one does not see the picture with these pixels alone.
    QRegion Hidden(const Pixels& picture) const;

private:
    void Follow();
    void Make(int tile);

    Board& mBoard;
    LivePictures& mLive;
    Pixels mMemory;
    Board mSeen;
    QRegion mChanged;
    TileSet mStale;
    TileSet mInked;
    QRegion mInk;  // all of those tiles
};
