#include "whiteboard/whiteboard_tools.h"

namespace {

constexpr const char* kNames[kToolKeys] = {"",    "Erase", "Draw", "Shape", "Text",  "Paste", "File",
                                           "App", "Video", "Undo", "Redo",  "Clear", "Exit"};

}  // namespace

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

bool IsPlainTool(ToolKey key)
{
    return key >= ToolKey::Erase && key <= ToolKey::File;
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
