#pragma once
// A board as what was drawn on it, to be drawn once more on a page. Live pictures are no part of it. No
// window, no process state; any thread that may paint.

#include <QImage>
#include <memory>
#include <vector>

#include "contract/picture_reader.h"
#include "whiteboard/apply_mark.h"

class QPainter;

struct Page {
    std::vector<DrawnMark> marks;             // the oldest first
    std::shared_ptr<const TileGrid> beneath;  // what they lie on; null: white
};

Page PageOf(const MarkList& marks);
/// The entries of the history up to the one that is shown, without the white board that it begins with; that
/// one when there is no other.
std::vector<int> DrawnEntries(const WBHistory& history);
/// One for each of these.
std::vector<Page> PagesOf(const WBHistory& history);

/// In board pixels, white where nothing was drawn. What lies outside the board is drawn, too: the page's edge
/// cuts it. Damaged records draw what they drew on the board.
void DrawPage(QPainter& painter, const Page& page, const PictureReader& pictures);

/// The mark that shows at a place of the board: the topmost that drew within three pixels of it. Null where
/// none did, or where it drew in white, as an eraser does: nothing is to be seen there.
MarkPtr MarkAt(const Page& page, QPoint at, const PictureReader& pictures);

/// The pixels of a board from its tiles.
QImage ImageOf(const TileGrid& tiles);
