#include "whiteboard/tools/tool.h"

#include <algorithm>

#include "base/text_rules.h"
#include "whiteboard/tools/line.h"
#include "whiteboard/tools/pen.h"
#include "whiteboard/tools/point.h"
#include "whiteboard/tools/shape.h"
#include "whiteboard/whiteboard_tools.h"

using namespace Qt::StringLiterals;

qint16 ToPixel(float value)
{
    return qint16(std::clamp(RoundHalfEven(double(value)), -32768.0, 32767.0));
}

std::array<qint16, 4> Tool::Ends(BoardPoint16 last, BoardPoint at) const
{
    return {last.x, last.y, ToPixel(at.x), ToPixel(at.y)};
}

std::unique_ptr<Tool> MakeTool(const WhiteboardTools& tools)
{
    if (tools.mSelectedTool == ToolKey::Erase) return std::make_unique<EraseTool>();
    if (tools.mSelectedTool == ToolKey::Shape) return std::make_unique<ShapeTool>(tools.mShapeTool);
    if (tools.mSelectedTool != ToolKey::Draw) return nullptr;
    if (tools.mDrawTool == u"Pen"_s) return std::make_unique<PenTool>();
    if (tools.mDrawTool == u"Line"_s) return std::make_unique<LineTool>();
    if (tools.mDrawTool == u"Point"_s) return std::make_unique<PointTool>();
    return nullptr;
}

quint32 Ink::Colour() const
{
    return CurrentColor(mTools);
}

int Ink::Width() const
{
    return CurrentLineWidth(mTools);
}
