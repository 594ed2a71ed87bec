#include "whiteboard/tools/line.h"

#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"

void LineTool::Press(BoardScreen& screen, BoardPoint at, const Ink& ink)
{
    mFrom = mTo = at;
    mBandWidth = ink.Width();
    mBandColour = ink.Colour();
    Move(screen, at, ink);
}

void LineTool::Move(BoardScreen& screen, BoardPoint at, const Ink&)
{
    mTo = at;
    screen.ShowBand({RubberBand::Kind::Line, mFrom.x, mFrom.y, mTo.x, mTo.y, mBandWidth, mBandColour});
}

void LineTool::Release(BoardScreen& screen, BoardPoint, const Ink& ink)
{
    Cancel(screen);
    const Segment line{mFrom.x, mFrom.y, mTo.x, mTo.y, ink.Colour()};
    screen.Image().Draw({&line, 1}, ink.Width());
    screen.Refresh();
}

void LineTool::Cancel(BoardScreen& screen)
{
    screen.ShowBand({});
}

QString LineTool::Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, const Ink& ink)
{
    return WritePen({ink.Width(), {{float(x1), float(y1), float(x2), float(y2), ink.Colour()}}});
}
