#pragma once
// The tags in front of messages and the whiteboard's prefix, as they stand on the wire.

namespace tags {

inline constexpr char16_t kLocalEncrypt[] = u"[[ZUM_LOCAL_ENCRYPT]]";
inline constexpr char16_t kServerEncrypt[] = u"[[ZUM_SERVER_ENCRYPT]]";
inline constexpr char16_t kMessageReceived[] = u"[[ZUM_MESSAGE_RECEIVIED]]";  // spelt so
inline constexpr char16_t kInvitation[] = u"[[ZUM_INVITATION]]";
inline constexpr char16_t kAppShareOff[] = u"[[ZUM_APP_SHARE_OFF]]";
inline constexpr char16_t kVideoOn[] = u"[[ZUM_VIDEO_ON]]";
inline constexpr char16_t kVideoOff[] = u"[[ZUM_VIDEO_OFF]]";
inline constexpr char16_t kVideoFps[] = u"[[ZUM_VIDEO_FPS]]";

inline constexpr char16_t kWBHScroll[] = u"[[ZUM_WB_HSCROLL]]";
inline constexpr char16_t kWBVScroll[] = u"[[ZUM_WB_VSCROLL]]";
inline constexpr char16_t kWBResize[] = u"[[ZUM_WB_RESIZE]]";
inline constexpr char16_t kWBPointer[] = u"[[ZUM_WB_POINTER]]";
inline constexpr char16_t kWBText[] = u"[[ZUM_WB_TEXT]]";
inline constexpr char16_t kWBPen[] = u"[[ZUM_WB_PEN]]";
inline constexpr char16_t kWBBox[] = u"[[ZUM_WB_BOX]]";
inline constexpr char16_t kWBCircle[] = u"[[ZUM_WB_CIRCLE]]";
inline constexpr char16_t kWBUndo[] = u"[[ZUM_WB_UNDO]]";
inline constexpr char16_t kWBRedo[] = u"[[ZUM_WB_REDO]]";
inline constexpr char16_t kWBClear[] = u"[[ZUM_WB_CLEAR]]";

/// In front of the own handle on the picture channel: a picture for the whiteboard.
inline constexpr char16_t kWhiteboardHandle[] = u"[[ZUM_RESERVED_HANDLE_WHITEBOARD]]";
inline constexpr char16_t kFieldSeparator[] = u"|\u00A5|";

}  // namespace tags
