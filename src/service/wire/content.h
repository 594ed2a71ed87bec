#pragma once
// What the wire has to know of content, and nothing more: what belongs to the board, and what changes
// its picture for everybody.

#include <span>
#include <string_view>

#include "service/wire/zephyl.pb.h"

namespace zephyl {

/// Picture types on the wire.
inline constexpr int kVideoFrame = 0;
inline constexpr int kApplicationImage = 1;
inline constexpr int kWhiteboardPicture = 2;

/// In front of a handle: a picture for the whiteboard. The wire carries only a flag for it.
inline constexpr std::string_view kWhiteboardHandle = "[[ZUM_RESERVED_HANDLE_WHITEBOARD]]";

/// What a board item does, as far as the kept history needs to know.
enum class BoardEffect { None, Change, Clear, Undo, Redo };

/// What the service knows of a record; the client's table (messaging/record_kinds.h) says the same. Of a
/// Change also what stands behind the tag: 'w' a whole number, 'n' a number, 'b' True or False, 't' anything.
struct BoardTag {
    std::string_view tag;
    BoardEffect effect;
    std::string_view fields = {};  // at least
    std::string_view group = {};   // then as many of these as there are; none: whatever there is
};
std::span<const BoardTag> BoardTags();
inline constexpr std::string_view kClearRecord = "[[ZUM_WB_CLEAR]]";

/// True when the text starts with a whiteboard tag: it goes by the board's channel.
bool IsBoardText(std::string_view text);
/// None for texts that change no picture (scroll, size, pointer) and for those that are no records.
BoardEffect EffectOf(std::string_view text);
/// EffectOf, but of a Change None unless it is surely a step of everybody's history: who reads a damaged
/// record draws what can be read of it and saves nothing. Asks more than a reader, who takes longer numbers,
/// too.
BoardEffect StepOf(std::string_view text);
/// The same of an item whose body, or the beginning of it, this is. None where that does not tell: of a
/// picture only who decodes it knows whether it can be.
BoardEffect StepIn(const Item& item, std::string_view body);

/// A picture that is shown as it comes, and kept by nobody.
bool IsLiveType(int type);
/// Consumed by the client that gets it: it answers a line.
bool IsReceipt(std::string_view text);

/// The channel that a text, or a picture of this type, must take. Live pictures have none.
Channel ChannelOfText(std::string_view text);
Channel ChannelOfPicture(int type);

}  // namespace zephyl
