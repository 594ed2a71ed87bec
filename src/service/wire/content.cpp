#include "service/wire/content.h"

#include <array>

namespace zephyl {
namespace {

constexpr std::array kBoardTags{
    BoardTag{"[[ZUM_WB_HSCROLL]]", BoardEffect::None}, BoardTag{"[[ZUM_WB_VSCROLL]]", BoardEffect::None},
    BoardTag{"[[ZUM_WB_RESIZE]]", BoardEffect::None},  BoardTag{"[[ZUM_WB_POINTER]]", BoardEffect::None},
    BoardTag{"[[ZUM_WB_TEXT]]", BoardEffect::Change},  BoardTag{"[[ZUM_WB_PEN]]", BoardEffect::Change},
    BoardTag{"[[ZUM_WB_BOX]]", BoardEffect::Change},   BoardTag{"[[ZUM_WB_CIRCLE]]", BoardEffect::Change},
    BoardTag{"[[ZUM_WB_UNDO]]", BoardEffect::Undo},    BoardTag{"[[ZUM_WB_REDO]]", BoardEffect::Redo},
    BoardTag{kClearRecord, BoardEffect::Clear},
};

const BoardTag* TagOf(std::string_view text)
{
    if (!text.starts_with("[[ZUM_WB_")) return nullptr;
    for (const BoardTag& known : kBoardTags)
        if (text.starts_with(known.tag)) return &known;
    return nullptr;
}

}  // namespace

std::span<const BoardTag> BoardTags()
{
    return kBoardTags;
}

bool IsBoardText(std::string_view text)
{
    return TagOf(text) != nullptr;
}

BoardEffect EffectOf(std::string_view text)
{
    const BoardTag* tag = TagOf(text);
    return tag ? tag->effect : BoardEffect::None;
}

bool IsLiveType(int type)
{
    return type == kVideoFrame || type == kApplicationImage;
}

bool IsReceipt(std::string_view text)
{
    return text.starts_with("[[ZUM_MESSAGE_RECEIVIED]]");
}

Channel ChannelOfText(std::string_view text)
{
    return IsBoardText(text) ? CHANNEL_BOARD : CHANNEL_TALK;
}

Channel ChannelOfPicture(int type)
{
    return type == kWhiteboardPicture ? CHANNEL_BOARD : CHANNEL_UNSPECIFIED;
}

}  // namespace zephyl
