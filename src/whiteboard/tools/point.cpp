#include "whiteboard/tools/point.h"

#include "whiteboard/board_screen.h"

using namespace Qt::StringLiterals;

void PointTool::Press(BoardScreen& screen, BoardPoint at, const Ink&)
{
    mHalfWidth = float(screen.PointerSize().width()) / 2;
    mHalfHeight = float(screen.PointerSize().height()) / 2;
    mPath.push_back(Corner(at));
    screen.SetCursor(BoardCursor::PointerImage);
    screen.ShowPointer(false);
}

void PointTool::Move(BoardScreen&, BoardPoint at, const Ink&)
{
    mPath.push_back(Corner(at));
}

void PointTool::Release(BoardScreen& screen, BoardPoint at, const Ink&)
{
    screen.MovePointer(Corner(at));
    screen.ShowPointer(true);
    screen.SetCursor(BoardCursor::Icon, u"Point"_s);
}

void PointTool::Cancel(BoardScreen& screen)
{
    screen.ShowPointer(true);
    screen.SetCursor(BoardCursor::Icon, u"Point"_s);
}

QString PointTool::Record(qint16, qint16, qint16 x2, qint16 y2, const Ink&)
{
    mPath.push_back(Corner({float(x2), float(y2)}));
    return WritePointer(mPath);
}
