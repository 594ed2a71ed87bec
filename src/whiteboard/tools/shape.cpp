#include "whiteboard/tools/shape.h"

#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/shapes.h"

void ShapeTool::Press(BoardScreen& screen, BoardPoint at, const Ink& ink)
{
    mFrom = at;
    Move(screen, at, ink);
}

void ShapeTool::Move(BoardScreen& screen, BoardPoint at, const Ink& ink)
{
    mTo = at;
    screen.ShowBand({ShapeOf(mKind).band, mFrom.x, mFrom.y, mTo.x, mTo.y, 1, ink.Colour()});
}

void ShapeTool::Release(BoardScreen& screen, BoardPoint at, const Ink& ink)
{
    Cancel(screen);
    mTo = at;
    DrawShape(screen.Image(), ink);
    screen.Refresh();
}

void ShapeTool::Cancel(BoardScreen& screen)
{
    screen.ShowBand({});
}

QString ShapeTool::Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, const Ink& ink)
{
    return WriteShape({mKind, ink.Width(), float(x1), float(y1), float(x2), float(y2), ink.Colour()});
}

std::array<qint16, 4> ShapeTool::Ends(BoardPoint16, BoardPoint) const
{
    return {ToPixel(mFrom.x), ToPixel(mFrom.y), ToPixel(mTo.x), ToPixel(mTo.y)};
}

void ShapeTool::DrawShape(Board& board, const Ink& ink) const
{
    const bool whole = ShapeOf(mKind).corners == Corners::Whole;
    const auto corner = [whole](float value) { return whole ? float(ToPixel(value)) : value; };
    board.Draw(ShapeRecord{mKind, ink.Width(), corner(mFrom.x), corner(mFrom.y), corner(mTo.x), corner(mTo.y),
                           ink.Colour()});
}
