#include "service/wire/content.h"

#include <algorithm>
#include <array>

namespace zephyl {
namespace {

constexpr std::array kBoardTags{
    BoardTag{"[[ZUM_WB_HSCROLL]]", BoardEffect::None},
    BoardTag{"[[ZUM_WB_VSCROLL]]", BoardEffect::None},
    BoardTag{"[[ZUM_WB_RESIZE]]", BoardEffect::None},
    BoardTag{"[[ZUM_WB_POINTER]]", BoardEffect::None},
    BoardTag{"[[ZUM_WB_UNDO]]", BoardEffect::Undo},
    BoardTag{"[[ZUM_WB_REDO]]", BoardEffect::Redo},
    BoardTag{kClearRecord, BoardEffect::Clear},
    BoardTag{"[[ZUM_WB_TEXT]]", BoardEffect::Change, "nnbbtwbbnt"},
    BoardTag{"[[ZUM_WB_PEN]]", BoardEffect::Change, "w", "nnnnn"},
    BoardTag{"[[ZUM_WB_BOX]]", BoardEffect::Change, "wnnnnn"},
    BoardTag{"[[ZUM_WB_CIRCLE]]", BoardEffect::Change, "wnnnnn"},
};
constexpr std::string_view kSeparator = "|\xC2\xA5|";

const BoardTag* TagOf(std::string_view text)
{
    if (!text.starts_with("[[ZUM_WB_")) return nullptr;
    for (const BoardTag& known : kBoardTags)
        if (text.starts_with(known.tag)) return &known;
    return nullptr;
}

bool IsNumber(std::string_view field, std::size_t digits, bool fraction)
{
    const auto takeDigits = [&field](std::size_t most) {
        const std::size_t count = std::min(field.find_first_not_of("0123456789"), field.size());
        field.remove_prefix(count);
        return count > 0 && count <= most;
    };
    if (field.starts_with('-')) field.remove_prefix(1);
    if (!takeDigits(digits)) return false;
    if (field.empty()) return true;
    const bool point = fraction && field.starts_with('.');
    field.remove_prefix(1);
    return point && takeDigits(6) && field.empty();
}

bool Fits(std::string_view field, char kind)
{
    switch (kind) {
        case 'w': return IsNumber(field, 4, false);
        case 'n': return IsNumber(field, 8, true);
        case 'b': return field == "True" || field == "False";
        default: return true;
    }
}

bool IsWhole(const BoardTag& tag, std::string_view payload)
{
    for (std::string_view kinds = tag.fields;;) {
        const std::size_t end = payload.find(kSeparator);
        if (!Fits(payload.substr(0, end), kinds.front())) return false;
        kinds.remove_prefix(1);
        if (end == std::string_view::npos) return kinds.empty();
        payload.remove_prefix(end + kSeparator.size());
        if (!kinds.empty()) continue;
        if (tag.group.empty()) return true;
        kinds = tag.group;
    }
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

BoardEffect StepOf(std::string_view text)
{
    const BoardTag* tag = TagOf(text);
    if (!tag) return BoardEffect::None;
    const bool step = tag->effect != BoardEffect::Change || IsWhole(*tag, text.substr(tag->tag.size()));
    return step ? tag->effect : BoardEffect::None;
}

BoardEffect StepIn(const Item& item, std::string_view body)
{
    if (item.has_text()) return body.size() == item.total() ? StepOf(body) : BoardEffect::None;
    return item.has_take_back() ? BoardEffect::Change : BoardEffect::None;
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
