#include "media/incoming_frames.h"

#include <QImage>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "messaging/record_kinds.h"
#include "whiteboard/apply_mark.h"
#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/history.h"

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

void WipeAndNote(Board& board, std::map<QString, CRect>& rects, const QString& handle, const CRect& now)
{
    const auto [entry, isNew] = rects.try_emplace(handle);
    const QRect last = ToQRect(entry->second);  // nothing to see of the wiping where the new one covers all
    if (!isNew && !ToQRect(now).contains(last)) board.Fill(last, kWhite);
    entry->second = now;
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

void ShowFrame(ProcessState& state, const QString& handle, const PicturePtr& frame, int x, int y,
               qint32 frameType)
{
    const Pixels& pixels = frame->pixels;
    BoardScreen& screen = state.gMeetingForm->Board();
    Board& board = screen.Image();
    const CRect rect{x, x + pixels.width, y, y + pixels.height};
    if (auto* rects = RectsFor(state, frameType)) WipeAndNote(board, *rects, handle, rect);
    if (frameType == kFrameWhiteboard) {
        const QDateTime when = EventTime(state);
        ShowLastModified(state, handle, when);
        ApplyMark(board, HistoryOf(state), std::make_shared<Mark>(Mark{{}, frame, {x, y}, handle, when}));
        ShowSteps(state);
    } else {
        board.Paint(AsImage(pixels), {x, y});
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
