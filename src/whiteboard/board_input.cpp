#include "whiteboard/board_input.h"

#include <algorithm>
#include <cmath>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "base/sending_room.h"
#include "text/words.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/own_work.h"
#include "whiteboard/sending.h"
#include "whiteboard/tool_commands.h"
#include "whiteboard/toolbar_screen.h"
#include "whiteboard/whiteboard_tools.h"

using namespace Qt::StringLiterals;

namespace {

BoardScreen& Screen(ProcessState& state)
{
    return state.gMeetingForm->Board();
}
void NoteLast(WhiteboardTools& tools, BoardPoint at)
{
    tools.mLastX = ToPixel(at.x);
    tools.mLastY = ToPixel(at.y);
}

bool PointerTool(const WhiteboardTools& tools)
{
    return tools.mSelectedTool == ToolKey::Draw && tools.mDrawTool == DrawTool::Point;
}

/// Rubber band away, nothing sent.
void DropAction(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    if (!tools.action) return;
    tools.action->Cancel(Screen(state));
    tools.action.reset();
}

/// A press of another button: it abandons a shape, else it opens the menu.
void PressOther(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    if (tools.action && !tools.action->KeepsWhenLost()) return DropAction(state);
    LoseRelease(state);  // the menu takes the release
    Screen(state).ShowToolsMenu();
}

void Move(ProcessState& state, BoardPoint at)
{
    WhiteboardTools& tools = ToolsOf(state);
    tools.action->Move(Screen(state), at, SelectedInk(tools));
    if (tools.action->Follows()) NoteLast(tools, at);
}

/// Ends the action in progress at `at`: what it leaves is drawn, its record sent.
void Finish(ProcessState& state, BoardPoint at)
{
    WhiteboardTools& tools = ToolsOf(state);
    if (tools.action->Draws()) BeginOwn(state);
    tools.action->Release(Screen(state), at, SelectedInk(tools));
    const auto ends = tools.action->Ends({tools.mLastX, tools.mLastY}, at);
    SendWhiteboard(state, ends[0], ends[1], ends[2], ends[3]);
    tools.action.reset();
}

void OpenTextBox(ProcessState& state, BoardPoint at)
{
    WhiteboardTools& tools = ToolsOf(state);
    Screen(state).SetTextLook(tools.TextFont());
    Screen(state).SetTextColour(CurrentColor(tools));
    Screen(state).ShowTextAt(at);
}

}  // namespace

BoardPoint ToBoard(const QPointF& position)
{
    const auto pixel = [](qreal v) { return float(std::clamp(std::floor(v), -32768.0, 32767.0)); };
    return {pixel(position.x()), pixel(position.y())};
}

void picSelColor_Click(ProcessState& state, int index)
{
    WhiteboardTools& tools = ToolsOf(state);
    tools.colourBox = index;
    Screen(state).SetTextColour(kPalette[std::size_t(index)]);  // stored is the colour last used, not this
    state.gMeetingForm->Toolbar().ShowTools();
}

void picLineWidth_Click(ProcessState& state, int index)
{
    ToolsOf(state).widthBox = index;
    state.gMeetingForm->Toolbar().ShowTools();
}

void picDraw_MouseDown(ProcessState& state, MouseButton button, BoardPoint at)
{
    Trapped(state, "picDraw_MouseDown", [&] {
        if (button != MouseButton::Left) return PressOther(state);
        LoseRelease(state);  // of an earlier press, if it is still open
        WhiteboardTools& tools = ToolsOf(state);
        tools.pressRefused = SendingMustWait(state);
        if (tools.pressRefused) return;
        tools.action = MakeTool(tools);
        if (tools.action && tools.action->Stroke()) BeginOwn(state);
        if (tools.action)
            tools.action->Press(Screen(state), at, SelectedInk(tools));
        else if (tools.mSelectedTool == ToolKey::Text)
            OpenTextBox(state, at);
        tools.actionAt = at;
        NoteLast(tools, at);
    });
}

void picDraw_MouseMove(ProcessState& state, MouseButton button, BoardPoint at)
{
    Trapped(state, "picDraw_MouseMove", [&] {
        WhiteboardTools& tools = ToolsOf(state);
        if (button != MouseButton::Left) {
            if (PointerTool(tools)) Screen(state).SetCursor(BoardCursor::Icon, u"Point"_s);
            return;
        }
        if (!tools.action) return;
        Move(state, at);
        tools.actionAt = at;
    });
}

void picDraw_MouseUp(ProcessState& state, BoardPoint at)
{
    Trapped(state, "picDraw_MouseUp", [&] {
        WhiteboardTools& tools = ToolsOf(state);
        if (!tools.action) return;
        if (at.x != tools.actionAt.x || at.y != tools.actionAt.y) Move(state, at);
        Finish(state, at);
    });
}

void picDraw_Click(ProcessState& state)
{
    Trapped(state, "picDraw_Click", [&] {
        WhiteboardTools& tools = ToolsOf(state);
        if (tools.pressRefused) return;
        switch (tools.mSelectedTool) {
            case ToolKey::Paste:
            case ToolKey::File: return SendWhiteboard(state, tools.mLastX, tools.mLastY, 0, 0);
            case ToolKey::Video:
                state.gVideoOn = true;
                state.gVideoX = tools.mLastX;
                state.gVideoY = tools.mLastY;
                if (!state.gCameraReady)
                    state.gMeetingForm->Panels().Note(
                        Ours::tr("There is no camera: nobody sees a video of yours."));
                return;
            case ToolKey::App:
                if (tools.hooks.startSharingAt) tools.hooks.startSharingAt(tools.mLastX, tools.mLastY);
                return;
            default: return;
        }
    });
}

void LoseRelease(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    if (!tools.action) return;
    if (!tools.action->KeepsWhenLost()) return DropAction(state);
    Finish(state, tools.actionAt);
}

bool InAction(ProcessState& state)
{
    return ToolsOf(state).action != nullptr;
}

void imgSelPointer_MouseDown(ProcessState& state, MouseButton button, BoardPoint at)
{
    picDraw_MouseDown(state, button, at);
}

void imgSelPointer_MouseMove(ProcessState& state)
{
    Trapped(state, "imgSelPointer_MouseMove", [&] {
        if (PointerTool(ToolsOf(state))) Screen(state).SetCursor(BoardCursor::Icon, u"Point"_s);
    });
}

void imgSelPointer_MouseUp(ProcessState& state)
{
    DropAction(state);
}

bool txtText_KeyDown(ProcessState& state, TextKey key)
{
    return Trapped(state, "txtText_KeyDown", [&] {
        BoardScreen& screen = Screen(state);
        if (key == TextKey::Escape) {
            screen.ClearText();
            screen.HideText();
            return true;
        }
        if (screen.TypedText().isEmpty()) return false;
        if (SendingMustWait(state)) return true;  // the box keeps its text
        const WhiteboardTools& tools = ToolsOf(state);
        SendWhiteboard(state, tools.mLastX, tools.mLastY, 0, 0);
        screen.HideText();
        if (state.ports.waits) state.ports.waits->LetEventsRun();
        tool_ButtonClick(state, ToolKey::Text);
        return true;
    });
}
