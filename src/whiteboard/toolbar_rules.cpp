#include "whiteboard/toolbar_rules.h"

namespace {

constexpr ToolKey kPlainTools[] = {ToolKey::Erase, ToolKey::Draw,  ToolKey::Shape,
                                   ToolKey::Text,  ToolKey::Paste, ToolKey::File};
constexpr int kStepsThatWait = 4;  // three of their own, and one for all that follow
constexpr std::chrono::milliseconds kInARow{250};

}  // namespace

CursorChoice CursorFor(ToolKey key, DrawTool drawTool)
{
    switch (key) {
        case ToolKey::Draw:
            if (drawTool == DrawTool::Point) return {BoardCursor::Icon, DrawToolName(drawTool)};
            return {BoardCursor::Cross, {}};
        case ToolKey::Shape: return {BoardCursor::Cross, {}};
        case ToolKey::Text: return {BoardCursor::IBeam, {}};
        case ToolKey::Erase:
        case ToolKey::Paste:
        case ToolKey::File:
        case ToolKey::App:
        case ToolKey::Video: return {BoardCursor::Icon, ToolName(key)};
        default: return {};
    }
}

void ReleasePlainButtons(WhiteboardTools& tools)
{
    for (const ToolKey key : kPlainTools) tools.Press(key, false);
}

void BeginPlainTool(WhiteboardTools& tools, bool videoOn, bool appShareOn)
{
    ReleasePlainButtons(tools);
    tools.Press(ToolKey::Video, videoOn);
    tools.Press(ToolKey::App, appShareOn);
    for (const ToolKey key : kPlainTools) tools.Check(key, false);
}

void FinishTool(WhiteboardTools& tools, ToolKey key)
{
    tools.mSelectedTool = key;
    tools.Press(key);
    tools.Check(key);
}

bool DropMode(WhiteboardTools& tools, ToolKey mode)
{
    tools.Press(mode, false);
    tools.Check(mode, false);
    if (tools.mSelectedTool != mode) return false;
    tools.mSelectedTool = ToolKey::None;
    return true;
}

void SetSteps(WhiteboardTools& tools, int index, int count)
{
    tools.undoEnabled = index >= 2;
    tools.redoEnabled = index < count;
}

bool RemoteStepWaits(WhiteboardTools& tools, std::chrono::steady_clock::time_point now)
{
    if (tools.catchingUp) return false;
    tools.remoteSteps = now - tools.remoteStepEnd < kInARow ? tools.remoteSteps + 1 : 1;
    return tools.remoteSteps <= kStepsThatWait;
}
