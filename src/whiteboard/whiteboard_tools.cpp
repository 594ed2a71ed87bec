#include "whiteboard/whiteboard_tools.h"

#include "base/meeting_screens.h"
#include "base/process_state.h"
#include "whiteboard/toolbar_screen.h"
#include "whiteboard/tools/line.h"
#include "whiteboard/tools/pen.h"
#include "whiteboard/tools/point.h"
#include "whiteboard/tools/shape.h"

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<Tool> MakeDrawTool(DrawTool tool)
{
    switch (tool) {
        case DrawTool::Pen: return std::make_unique<PenTool>();
        case DrawTool::Line: return std::make_unique<LineTool>();
        case DrawTool::Point: return std::make_unique<PointTool>();
    }
    return nullptr;
}

constexpr const char* kNames[kToolKeys] = {"",    "Erase", "Draw", "Shape", "Text",  "Paste", "File",
                                           "App", "Video", "Undo", "Redo",  "Clear", "Exit"};

}  // namespace

WhiteboardTools& ToolsOf(ProcessState& state)
{
    return state.gMeetingForm->Toolbar().Tools();
}

QString ToolName(ToolKey key)
{
    return QLatin1String(kNames[std::size_t(key)]);
}

ToolKey ToolFromName(const QString& name)
{
    for (std::size_t key = 1; key < kToolKeys; ++key)
        if (name == QLatin1String(kNames[key])) return ToolKey(key);
    return ToolKey::None;
}

bool IsTool(ToolKey key)
{
    return key >= ToolKey::Erase && key <= ToolKey::Video;
}

QString DrawToolName(DrawTool tool)
{
    switch (tool) {
        case DrawTool::Pen: return u"Pen"_s;
        case DrawTool::Line: return u"Line"_s;
        case DrawTool::Point: return u"Point"_s;
    }
    return {};
}

std::optional<DrawTool> DrawToolNamed(const QString& name)
{
    for (const DrawTool tool : kDrawTools)
        if (name == DrawToolName(tool)) return tool;
    return std::nullopt;
}

TextLook& WhiteboardTools::TextFont()
{
    if (!mTextFont) mTextFont.emplace();
    return *mTextFont;
}

quint32 CurrentColor(WhiteboardTools& tools)
{
    if (tools.colourBox == kNoBox) return 0;
    tools.mColorIndex = tools.colourBox;
    return kPalette[std::size_t(tools.colourBox)];
}

int CurrentLineWidth(WhiteboardTools& tools)
{
    if (tools.widthBox == kNoBox) return 0;
    tools.mWidthIndex = tools.widthBox;
    return kLineWidths[std::size_t(tools.widthBox)];
}

std::unique_ptr<Tool> MakeTool(const WhiteboardTools& tools)
{
    switch (tools.mSelectedTool) {
        case ToolKey::Erase: return std::make_unique<EraseTool>();
        case ToolKey::Draw: return MakeDrawTool(tools.mDrawTool);
        case ToolKey::Shape: return std::make_unique<ShapeTool>(tools.mShapeTool);
        default: return nullptr;
    }
}
