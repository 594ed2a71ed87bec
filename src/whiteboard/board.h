#pragma once
// The board: one image of 2048 x 1536 pixels, white where nothing was drawn, and the few ways to draw on it.
// The same call gives the same pixels on every machine: shapes have no antialiasing, round caps and joins;
// text is greyscale, without hinting, at 96 dots an inch. User-interface thread only.

#include <QImage>
#include <QRegion>
#include <bitset>
#include <span>
#include <vector>

#include "contract/picture.h"
#include "whiteboard/ink.h"

struct ShapeRecord;

inline constexpr int kTileSide = 64;
inline constexpr int kTilesAcross = kBoardWidth / kTileSide;
inline constexpr int kTilesDown = kBoardHeight / kTileSide;
inline constexpr int kTileCount = kTilesAcross * kTilesDown;
/// Whatever draws for long lets others have their turn after this.
inline constexpr int kSliceMilliseconds = 8;

/// One bit a tile, row by row.
using TileSet = std::bitset<kTileCount>;

class QPainter;

class Board {
public:
    Board();
    /// One to draw ink on that lies over another board: nothing on it, and Clear makes it white. Its pixels
    /// are premultiplied.
    static Board Transparent();
    /// A white one in the memory of `image`, which has the board's size and 32 bits a pixel.
    static Board Within(QImage image);

    const QImage& Image() const { return Settled(); }
    QRgb Pixel(int x, int y) const { return Image().pixel(x, y); }
    /// Copies `area` into `to`, which has 32 bits a pixel and its corner where the board has `-shift`.
    void CopyTo(QImage& to, QPoint shift, const QRegion& area) const;
    /// Of all pixels, as 16 hexadecimal digits; equal boards have equal sums.
    QString Checksum() const;

    /// From now on the ink is kept by itself, too: what is drawn, without live pictures. None at first.
    void KeepInk();
    void ForgetInk() { mInk = {}; }
    bool KeepsInk() const { return !mInk.isNull(); }
    /// While it is kept. Premultiplied; one sees through where nothing was drawn since the board was cleared,
    /// and where Erase has been.
    const QImage& Ink() const { return mInk; }

    /// Segment by segment, each with round ends; one of no length is a dot. Widths below 1 draw as 1, those
    /// above the board's diagonal as the diagonal.
    void Draw(std::span<const Segment> segments, int width);
    void Draw(const ShapeRecord& shape);
    /// One line of text, as much of it as the board has room for; control characters show as blanks. The font
    /// is the one named (or its stand-in), and becomes FontName().
    void Draw(const TextRecord& text);
    /// Every pixel the background's.
    void Clear();
    /// `rect` in one colour, 0x00BBGGRR; no ink.
    void Fill(const QRect& rect, quint32 colour);
    /// `picture` at its own size with its top left corner at `at`. A null one throws. Its pixels are taken
    /// when somebody asks for the image or draws on it: of a video, most frames are covered by the next
    /// before that.
    void Paint(const QImage& picture, QPoint at);
    /// The same of a live picture: no ink.
    void PaintLive(const QImage& picture, QPoint at);
    /// `pixels` of one tile, row by row. Counts as shown later, not as unsaved: for the history alone.
    void PutTile(int tile, const QRgb* pixels);
    /// The same of the ink, where it is kept; null: none there.
    void PutInk(int tile, const QRgb* pixels);
    /// All ink as `from` has it; both keep theirs.
    void TakeInk(const Board& from);

    /// Board pixels from the top of a line in that look to the top of the next.
    int LineHeight(const TextLook& look) const;
    /// The font that a record keeps when it names one that is not installed.
    const QString& FontName() const { return mFontName; }
    void SetFontName(const QString& name) { mFontName = name; }

    /// The tile as `from` has it, or with `ink`, a transparent board, over it. Counts as shown later, not as
    /// unsaved; false: it was so before. Likewise the ink, where all of them keep theirs.
    bool TakeTile(int tile, const Board& from, const Board* ink = nullptr);
    /// Takes every tile that differs from `other`: these have been drawn on then.
    void Become(const Board& other);
    /// Of a transparent board: takes away what is on these tiles.
    void Erase(const TileSet& tiles);
    /// Until it is called with an empty region, nothing else is drawn on.
    void SetClip(const QRegion& clip) { mClip = clip; }

    /// Tiles drawn on since the last call; all of them at first.
    TileSet TakeUnsaved();
    const TileSet& Unsaved() const { return mUnsaved; }
    void SetUnsaved(const TileSet& tiles) { mUnsaved = tiles; }
    /// Tiles that anything has changed since the last call, TakeTile aside.
    TileSet TakeTouched();
    /// The same for showing, as a region of board pixels.
    QRegion TakeUnshown();
    /// Tiles whose ink may have changed since the last call; all of them at first.
    TileSet TakeInkChanged();

private:
    template <class Act>
    void OnBoth(Act act);
    bool TakeInkTile(int tile, const Board& from, const Board* ink);
    void Mark(const QRect& rect);
    void Clip(QPainter& painter) const;
    void MarkArea(const QRect& area);
    void MarkSegment(const Segment& segment, int margin);

    struct Laid {
        QImage picture;
        QPoint at;
        QRect Place() const { return {at, picture.size()}; }
    };
    void Lay(const QImage& picture, QPoint at);
    QImage& Settled() const;

    mutable QImage mImage;            // without what is laid on it
    mutable std::vector<Laid> mLaid;  // the last is on top
    QImage mInk;                      // null: not kept
    TileSet mUnsaved, mUnshown, mTouched, mInkChanged;
    QRegion mClip;
    QRegion mUnshownAreas;  // of pictures, to the pixel: a tile more on each side is a fifth of a video
    QString mFontName;
};

QRect TileRect(int tile);
/// Of an image with 32 bits a pixel, from (x, y) on.
inline const QRgb* RowOf(const QImage& image, int x, int y)
{
    return reinterpret_cast<const QRgb*>(image.constScanLine(y)) + x;
}
/// Lays `count` pixels, premultiplied, over others.
void LayOver(QRgb* row, const QRgb* top, int count);
/// All pixels of these tiles.
QRegion RegionOf(const TileSet& tiles);
/// The tiles that `area` touches; what of it lies outside the board counts nothing.
TileSet TilesOf(const QRegion& area);
