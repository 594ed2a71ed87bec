#include "whiteboard/tool_settings.h"

#include <cmath>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "settings/settings.h"
#include "text/text_rules.h"
#include "whiteboard/board_input.h"
#include "whiteboard/history.h"
#include "whiteboard/ink_above.h"
#include "whiteboard/own_work.h"
#include "whiteboard/shapes.h"
#include "whiteboard/tool_commands.h"
#include "whiteboard/toolbar_screen.h"
#include "whiteboard/whiteboard_tools.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

void LogStrange(ProcessState& state, const SettingKey& key, const QString& value)
{
    LogEvent(state, EventType::Warning,
             u"setting \"%1\" is \"%2\", which means nothing; \"%3\" is used"_s.arg(
                 QLatin1String(key.key), value, QLatin1String(key.fallback)));
}

/// What `named` makes of the stored text, or of the default when that means nothing.
template <class Named>
auto Chosen(ProcessState& state, const SettingKey& key, Named named)
{
    const QString value = GetSetting(state, key);
    if (const auto chosen = named(value)) return *chosen;
    LogStrange(state, key, value);
    return *named(QLatin1String(key.fallback));
}

/// The stored number when it is within 0..highest, else the default.
int Index(ProcessState& state, const SettingKey& key, int highest)
{
    const QString value = GetSetting(state, key);
    const auto number = WholeNumber(value);
    const double whole = number ? RoundHalfEven(*number) : -1;
    if (whole >= 0 && whole <= highest) return int(whole);
    LogStrange(state, key, value);
    return QString::fromLatin1(key.fallback).toInt();
}

float FontSize(ProcessState& state)
{
    const QString value = GetSetting(state, keys::kFontSize);
    const auto size = WholeNumber(value);
    if (size && *size >= 1 && *size <= 1024) return float(*size);
    LogStrange(state, keys::kFontSize, value);
    return TextLook().points;
}

/// What of the font `wanted` says.
template <class Wanted>
void LoadFont(ProcessState& state, Wanted&& wanted)
{
    TextLook& look = ToolsOf(state).TextFont();
    const auto flag = [&](bool& place, const FlagKey& key) {
        if (wanted(key)) place = FlagSetting(state, key);
    };
    if (wanted(keys::kFontName)) look.fontName = GetSetting(state, keys::kFontName);
    if (wanted(keys::kFontSize)) look.points = FontSize(state);
    flag(look.bold, keys::kFontBold);
    flag(look.italic, keys::kFontItalic);
    flag(look.strikethrough, keys::kFontStrikethrough);
    flag(look.underline, keys::kFontUnderline);
    state.gMeetingForm->Board().SetTextLook(look);
}

void LoadColour(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    tools.mColorIndex = Index(state, keys::kSelectedColor, int(kPalette.size()) - 1);
    picSelColor_Click(state, tools.mColorIndex);
}

void LoadWidth(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    tools.mWidthIndex = Index(state, keys::kSelectedWidth, int(kLineWidths.size()) - 1);
    picLineWidth_Click(state, tools.mWidthIndex);
}

/// What of the store may be chosen at an activation: the tools without those that need preparing.
bool IsStored(ToolKey key)
{
    return key != ToolKey::File && key != ToolKey::App && key != ToolKey::Paste;
}

}  // namespace

void TakeTools(ProcessState& state, const std::set<const SettingKey*>& changed)
{
    WhiteboardTools& tools = ToolsOf(state);
    if (changed.contains(&keys::kSelectedDrawTool)) {
        tools.mDrawTool = Chosen(state, keys::kSelectedDrawTool, DrawToolNamed);
        if (tools.mSelectedTool == ToolKey::Draw)
            tool_ButtonMenuClick(state, ToolKey::Draw, DrawToolName(tools.mDrawTool));
    }
    if (changed.contains(&keys::kSelectedShapeTool))
        tools.mShapeTool = Chosen(state, keys::kSelectedShapeTool, ShapeNamed).kind;
    if (changed.contains(&keys::kSelectedColor)) LoadColour(state);
    if (changed.contains(&keys::kSelectedWidth)) LoadWidth(state);
    LoadFont(state, [&](const SettingKey& key) { return changed.contains(&key); });
    state.gMeetingForm->Toolbar().ShowTools();
}

void LoadTools(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    tools.mDrawTool = Chosen(state, keys::kSelectedDrawTool, DrawToolNamed);
    tool_ButtonMenuClick(state, ToolKey::Draw, DrawToolName(tools.mDrawTool));
    const Shape shape = Chosen(state, keys::kSelectedShapeTool, ShapeNamed);
    tools.mShapeTool = shape.kind;
    tool_ButtonMenuClick(state, ToolKey::Shape, QLatin1String(shape.name));
    LoadColour(state);
    LoadWidth(state);
    LoadFont(state, [](const SettingKey&) { return true; });
    SaveWBBuffer(state, state.gMessenger->Handle(), Now(state));
    TakeInkSetting(state);
}

void ActivateTools(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    const auto step = [&](auto&& body) { Silently(state, "Form_Activate", body); };
    step([&] { ShowSteps(state); });
    ToolKey key = ToolKey::None;
    step([&] {
        const QString stored = GetSetting(state, keys::kSelectedTool);
        key = ToolFromName(stored);
        if (IsTool(key) || stored.isEmpty()) return;
        LogStrange(state, keys::kSelectedTool, stored);
        key = ToolFromName(QLatin1String(keys::kSelectedTool.fallback));
    });
    tools.mSelectedTool = IsStored(key) ? key : ToolKey::None;
    if (tools.mSelectedTool == ToolKey::None) return;
    step([&] { tool_ButtonClick(state, key); });
    step([&] { state.gMeetingForm->Show(); });
    step([&] {
        state.ports.waits->Pause(100ms);
        state.ports.waits->LetEventsRun();
    });
    step([&] {
        tools.Press(key);
        state.gMeetingForm->Toolbar().ShowTools();
        state.gMeetingForm->Toolbar().Refresh();
    });
    step([&] { state.ports.waits->Pause(100ms); });
}

void SaveTools(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    const TextLook& look = tools.TextFont();
    const auto save = [&](const SettingKey& key, const QString& value) {
        Silently(state, "Form_QueryUnload", [&] { SaveSetting(state, key, value); });
    };
    if (IsStored(tools.mSelectedTool)) save(keys::kSelectedTool, ToolName(tools.mSelectedTool));
    save(keys::kSelectedDrawTool, DrawToolName(tools.mDrawTool));
    save(keys::kSelectedShapeTool, QLatin1String(ShapeOf(tools.mShapeTool).name));
    save(keys::kSelectedColor, QString::number(tools.mColorIndex));
    save(keys::kSelectedWidth, QString::number(tools.mWidthIndex));
    save(keys::kFontName, look.fontName);
    save(keys::kFontSize, SingleText(look.points));
    save(keys::kFontBold, BooleanText(look.bold));
    save(keys::kFontItalic, BooleanText(look.italic));
    save(keys::kFontStrikethrough, BooleanText(look.strikethrough));
    save(keys::kFontUnderline, BooleanText(look.underline));
}
