#pragma once
// The one table of what a message may be: each tag as it stands on the wire, and what such messages do.
// Reading, dispatch, the envelope and the chat log go by it. The service has a list of its own, without Qt
// (service/wire/content.cpp), which a test holds against this one. Pure; any thread.

#include <QString>
#include <QStringView>
#include <array>

enum class RecordKind {
    // of the board: whiteboard/remote_apply.cpp
    HScroll,
    VScroll,
    Resize,
    Pointer,
    Text,
    Pen,
    Box,
    Circle,
    Undo,
    Redo,
    Clear,
    // of the talk: messaging/dispatch.cpp
    LocalEncrypt,
    ServerEncrypt,
    MessageReceived,
    Invitation,
    AppShareOff,
    VideoOn,
    VideoOff,
    VideoFps,
};

/// What is done to the picture that everybody sees, and that a newcomer gets. No record takes back: that is
/// said by who may alone, in a way of its own (MessengerEvents::TakenBack).
enum class Draws { Nothing, Change, Clear, Undo, Redo, TakeBack };
/// Whether the chat log keeps it when somebody sends it as a line.
enum class Logged { No, Yes };
/// The service's channel that it must take.
enum class Road { Talk, Board };

struct RecordRow {
    RecordKind kind{};
    QStringView tag;  // directly in front of the payload
    Draws draws = Draws::Nothing;
    Logged logged = Logged::Yes;
    Road channel = Road::Talk;
};

/// A kind without a row does not compile.
constexpr RecordRow RowOf(RecordKind kind)
{
    using enum RecordKind;
    switch (kind) {
        case HScroll: return {kind, u"[[ZUM_WB_HSCROLL]]", Draws::Nothing, Logged::No, Road::Board};
        case VScroll: return {kind, u"[[ZUM_WB_VSCROLL]]", Draws::Nothing, Logged::No, Road::Board};
        case Resize: return {kind, u"[[ZUM_WB_RESIZE]]", Draws::Nothing, Logged::No, Road::Board};
        case Pointer: return {kind, u"[[ZUM_WB_POINTER]]", Draws::Nothing, Logged::No, Road::Board};
        case Text: return {kind, u"[[ZUM_WB_TEXT]]", Draws::Change, Logged::No, Road::Board};
        case Pen: return {kind, u"[[ZUM_WB_PEN]]", Draws::Change, Logged::No, Road::Board};
        case Box: return {kind, u"[[ZUM_WB_BOX]]", Draws::Change, Logged::No, Road::Board};
        case Circle: return {kind, u"[[ZUM_WB_CIRCLE]]", Draws::Change, Logged::No, Road::Board};
        // Undo and redo are logged; they are short and say nothing of the picture.
        case Undo: return {kind, u"[[ZUM_WB_UNDO]]", Draws::Undo, Logged::Yes, Road::Board};
        case Redo: return {kind, u"[[ZUM_WB_REDO]]", Draws::Redo, Logged::Yes, Road::Board};
        case Clear: return {kind, u"[[ZUM_WB_CLEAR]]", Draws::Clear, Logged::No, Road::Board};
        case LocalEncrypt: return {kind, u"[[ZUM_LOCAL_ENCRYPT]]"};
        case ServerEncrypt: return {kind, u"[[ZUM_SERVER_ENCRYPT]]"};
        case MessageReceived: return {kind, u"[[ZUM_MESSAGE_RECEIVIED]]"};  // spelt so
        case Invitation: return {kind, u"[[ZUM_INVITATION]]"};
        case AppShareOff: return {kind, u"[[ZUM_APP_SHARE_OFF]]"};
        case VideoOn: return {kind, u"[[ZUM_VIDEO_ON]]"};
        case VideoOff: return {kind, u"[[ZUM_VIDEO_OFF]]"};
        case VideoFps: return {kind, u"[[ZUM_VIDEO_FPS]]"};
    }
    return {};  // behind the last one
}

/// All rows, in the order of the kinds.
inline constexpr auto kRecordRows = [] {
    constexpr std::size_t kCount = [] {
        std::size_t count = 0;
        while (!RowOf(RecordKind(count)).tag.empty()) ++count;
        return count;
    }();
    std::array<RecordRow, kCount> rows;
    for (std::size_t i = 0; i < kCount; ++i) rows[i] = RowOf(RecordKind(i));
    return rows;
}();

/// The row of the tag that `message` begins with (exact spelling); null: it is a chat line.
const RecordRow* RowOf(QStringView message);
bool IsBoardRecord(QStringView message);
/// The tag as text: a whole record where nothing follows it.
inline QString TagOf(RecordKind kind)
{
    return RowOf(kind).tag.toString();
}

/// In front of the own handle on the picture channel: a picture for the whiteboard.
inline constexpr char16_t kWhiteboardHandle[] = u"[[ZUM_RESERVED_HANDLE_WHITEBOARD]]";
inline constexpr char16_t kFieldSeparator[] = u"|\u00A5|";
