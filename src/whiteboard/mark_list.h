#pragma once
// The marks that made a picture of the board, as a list that grows at its end and is shared with every list
// that begins alike: an undo is the earlier list again. One thread at a time.

#include <QString>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "whiteboard/board.h"
#include "whiteboard/mark.h"

struct Tile {
    std::array<QRgb, kTileSide * kTileSide> pixels;
};
/// Ink by itself, as Board::Ink has it. A null tile: none there.
using InkGrid = std::array<std::shared_ptr<const Tile>, kTileCount>;
struct TileGrid : std::array<std::shared_ptr<const Tile>, kTileCount> {
    std::shared_ptr<const InkGrid> ink;  // null: nobody kept it then
};

struct DrawnMark {
    MarkPtr mark;      // a picture without its pixels, where its JPEG bytes are known
    QString fontName;  // the board's behind it: what a line of text was drawn in
};

/// Bounded: the newest 8,192 to 16,384 marks, of 16 to 32 MiB of records and JPEG bytes, stand by themselves;
/// what lies beneath them is a picture. Beside them a list keeps two of those, of shared tiles.
class MarkList {
public:
    static constexpr std::size_t kSpanMarks = 8192;
    static constexpr std::size_t kSpanBytes = 16 * 1024 * 1024;

    MarkList() = default;
    /// Of none so far, that lie on this picture.
    explicit MarkList(std::shared_ptr<const TileGrid> beneath) : mNewest{nullptr, std::move(beneath)} {}

    void Add(DrawnMark drawn);
    /// What was added so far is the older half from now on; the board looks like this.
    void Divide(const std::shared_ptr<const TileGrid>& now);
    /// The board looks like this now. Where the bound is reached, the older half becomes a picture.
    void Bound(const std::shared_ptr<const TileGrid>& now);

    std::size_t Count() const;
    /// How many of them, the first ones, are the older half. 0: there is none.
    std::size_t CountOlder() const;
    /// The one added last; null while there is none.
    const DrawnMark* Last() const;
    /// All of them, the oldest first.
    std::vector<DrawnMark> InOrder() const;
    /// What they lie on; null: the white board.
    const std::shared_ptr<const TileGrid>& Beneath() const;

private:
    struct Node {
        Node(DrawnMark what, std::shared_ptr<Node> before);
        ~Node();
        Node(const Node&) = delete;
        Node& operator=(const Node&) = delete;

        DrawnMark drawn;
        std::shared_ptr<Node> parent;
        std::size_t count, bytes;  // of the span up to here
    };
    /// Marks between two pictures.
    struct Span {
        std::shared_ptr<Node> last;
        std::shared_ptr<const TileGrid> beneath;
    };

    Span mOlder, mNewest;  // nothing is left of spans before these
};
