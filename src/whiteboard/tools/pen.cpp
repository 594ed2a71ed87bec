#include "whiteboard/tools/pen.h"

#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"

void PenTool::Press(BoardScreen& screen, BoardPoint at, const Ink& ink)
{
    mStroke.width = Width(ink);
    const Segment dot{at.x, at.y, at.x, at.y, Colour(ink)};
    mStroke.segments.push_back(dot);
    Draw(screen, dot);
    mLast = {float(ToPixel(at.x)), float(ToPixel(at.y))};
}

void PenTool::Move(BoardScreen& screen, BoardPoint at, const Ink& ink)
{
    const Segment piece{mLast.x, mLast.y, at.x, at.y, Colour(ink)};
    mStroke.segments.push_back(piece);
    Draw(screen, piece);
    mLast = {float(ToPixel(at.x)), float(ToPixel(at.y))};
}

void PenTool::Release(BoardScreen& screen, BoardPoint at, const Ink& ink)
{
    // The receivers draw this piece too, so the boards agree to the pixel.
    Draw(screen, {mLast.x, mLast.y, float(ToPixel(at.x)), float(ToPixel(at.y)), Colour(ink)});
}

QString PenTool::Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, const Ink& ink)
{
    mStroke.segments.push_back({float(x1), float(y1), float(x2), float(y2), Colour(ink)});
    return WritePen(mStroke);
}

void PenTool::Draw(BoardScreen& screen, const Segment& segment)
{
    screen.Image().Draw({&segment, 1}, mStroke.width);
    screen.Refresh();
}

quint32 EraseTool::Colour(const Ink&) const
{
    return kWhite;
}
