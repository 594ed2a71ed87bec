#include "media/incoming_frames.h"

#include <QImage>
#include <optional>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "messaging/record_kinds.h"
#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/ink_above.h"
#include "whiteboard/own_work.h"

using namespace Qt::StringLiterals;

namespace {

std::map<QString, CRect>* RectsFor(ProcessState& state, qint32 frameType)
{
    if (frameType == kFrameVideo) return &state.gVideoRects;
    if (frameType == kFrameApplication) return &state.gAppRects;
    return nullptr;
}

QRect ToQRect(const CRect& rect)
{
    return {rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top};
}

/// What of the last one is to be wiped; nothing to see of it where the new one covers all.
std::optional<QRect> NoteRect(std::map<QString, CRect>& rects, const QString& handle, const CRect& now)
{
    const auto [entry, isNew] = rects.try_emplace(handle);
    const QRect last = ToQRect(entry->second);
    entry->second = now;
    return isNew || ToQRect(now).contains(last) ? std::nullopt : std::optional(last);
}

void TraceFrame(ProcessState& state, const QString& handle, const CRect& rect, qint32 frameType)
{
    if (!state.ports.trace) return;
    TraceEvent(state, "frame",
               {{u"from"_s, handle},
                {u"type"_s, frameType},
                {u"x"_s, rect.left},
                {u"y"_s, rect.top},
                {u"width"_s, rect.right - rect.left},
                {u"height"_s, rect.bottom - rect.top}});
}

/// An own picture may still be on its way back when it has been stopped.
bool GoesOn(const ProcessState& state, const QString& handle, qint32 frameType)
{
    if (!state.gMessenger || handle != state.gMessenger->Handle()) return true;
    if (frameType == kFrameApplication) return state.gAppShareOn && state.gShareWindow != 0;
    return frameType != kFrameVideo || state.gVideoOn;
}

void ShowFrame(ProcessState& state, const QString& handle, const PicturePtr& frame, int x, int y,
               qint32 frameType)
{
    const Pixels& pixels = frame->pixels;
    BoardScreen& screen = state.gMeetingForm->Board();
    SharedBoard& shared = SharedOf(state);
    const CRect rect{x, x + pixels.width, y, y + pixels.height};
    if (frameType == kFrameWhiteboard) {
        const MarkPtr mark = MarkOf(state, handle, {}, frame, {x, y});
        NoteChange(state, handle, mark->when);
        shared.Take(mark);
        ShowSteps(state);
        if (shared.Due()) screen.SettleSoon();
    } else {
        auto* rects = RectsFor(state, frameType);
        const auto wiped = rects ? NoteRect(*rects, handle, rect) : std::nullopt;
        shared.PaintLive([&](Board& board) {
            if (wiped) board.Fill(*wiped, kWhite);
            board.PaintLive(AsImage(pixels), {x, y});
        });
        if (GoesOn(state, handle, frameType)) PutLive(state, {handle, frameType}, pixels, {x, y});
    }
    screen.RefreshPicture(pixels, {x, y});
    TraceFrame(state, handle, rect, frameType);
}

}  // namespace

QString WithoutWhiteboardPrefix(const QString& fromHandle)
{
    const QStringView prefix(kWhiteboardHandle);
    return fromHandle.startsWith(prefix) ? fromHandle.sliced(prefix.size()) : fromHandle;
}

void mZUM_VideoFrame(ProcessState& state, const QString& fromHandle, const PicturePtr& frame, int x, int y,
                     qint32 frameType)
{
    if (!frame || frame->pixels.IsNull() || !state.gMeetingForm) return;
    TrappedFromAfar(state, "mZUM_VideoFrame",
                    [&] { ShowFrame(state, WithoutWhiteboardPrefix(fromHandle), frame, x, y, frameType); });
}
