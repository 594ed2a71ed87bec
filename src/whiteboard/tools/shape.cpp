#include "whiteboard/tools/shape.h"

#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"

using namespace Qt::StringLiterals;

namespace {

RubberBand::Kind BandOf(const QString& shape)
{
    if (shape == u"Box"_s) return RubberBand::Kind::Box;
    return shape == u"Circle"_s ? RubberBand::Kind::Ellipse : RubberBand::Kind::None;
}

}  // namespace

void ShapeTool::Press(BoardScreen& screen, BoardPoint at, Ink ink)
{
    mFrom = at;
    Move(screen, at, ink);
}

void ShapeTool::Move(BoardScreen& screen, BoardPoint at, Ink ink)
{
    mTo = at;
    screen.ShowBand({BandOf(mShape), mFrom.x, mFrom.y, mTo.x, mTo.y, 1, ink.Colour()});
}

void ShapeTool::Release(BoardScreen& screen, BoardPoint at, Ink ink)
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

QString ShapeTool::Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, Ink ink)
{
    if (mShape == u"Box"_s)
        return WriteBox({ink.Width(), float(x1), float(y1), float(x2), float(y2), ink.Colour()});
    if (mShape == u"Circle"_s) return WriteCircle({ink.Width(), x1, y1, x2, y2, ink.Colour()});
    return {};
}

std::array<qint16, 4> ShapeTool::Ends(BoardPoint16, BoardPoint) const
{
    return {ToPixel(mFrom.x), ToPixel(mFrom.y), ToPixel(mTo.x), ToPixel(mTo.y)};
}

void ShapeTool::DrawShape(Board& board, Ink ink) const
{
    if (mShape == u"Box"_s)
        board.Draw(BoxRecord{ink.Width(), mFrom.x, mFrom.y, mTo.x, mTo.y, ink.Colour()});
    else if (mShape == u"Circle"_s)
        board.Draw(CircleRecord{ink.Width(), ToPixel(mFrom.x), ToPixel(mFrom.y), ToPixel(mTo.x),
                                ToPixel(mTo.y), ink.Colour()});
}
