#include "whiteboard/sending.h"

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "messaging/record_kinds.h"
#include "text/words.h"
#include "whiteboard/apply_mark.h"
#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/history.h"
#include "whiteboard/mark_sink.h"
#include "whiteboard/toolbar_screen.h"
#include "whiteboard/tools/picture.h"
#include "whiteboard/tools/text.h"
#include "whiteboard/whiteboard_tools.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint16 kUsualQuality = 65;

std::vector<std::shared_ptr<UserItem>> Others(ProcessState& state)
{
    std::vector<std::shared_ptr<UserItem>> others;
    if (!state.gUsers) return others;
    const QString own = state.gMessenger->Handle();
    for (auto& item : state.gUsers->Items())
        if (item->Handle() != own) others.push_back(item);
    return others;
}

/// What the tools have drawn, for the entry that is saved next.
void NoteOwn(ProcessState& state, const QString& record, const PicturePtr& picture = nullptr, QPoint at = {})
{
    const auto mark =
        std::make_shared<Mark>(Mark{record, picture, at, state.gMessenger->Handle(), Now(state)});
    NoteDrawn(HistoryOf(state), state.gMeetingForm->Board().Image(), mark);
}

/// One record for each line, each below the one before.
void SendText(ProcessState& state, qint16 x, qint16 y)
{
    BoardScreen& screen = state.gMeetingForm->Board();
    WhiteboardTools& tools = state.gMeetingForm->Toolbar().Tools();
    screen.Image().SetFontName(tools.TextFont().fontName);
    if (screen.TypedText().contains(QStringView(kFieldSeparator))) {
        state.gMeetingForm->Panels().Note(
            Ours::tr("The others see this text only up to \"%1\", which separates fields on the way to them.")
                .arg(QStringView(kFieldSeparator)));
    }
    for (const TextRecord& line :
         TextLines(screen.Image(), screen.TypedText(), {x, y}, tools.TextFont(), CurrentColor(tools))) {
        screen.Image().Draw(line);
        const QString record = WriteText(line);
        NoteOwn(state, record);
        SendWBMessage(state, record);
    }
}

/// Returns the JPEG bytes; none of a null picture, and when it could not be sent.
QByteArray EncodeAndSend(ProcessState& state, const QImage& picture, qint16 x, qint16 y)
{
    if (picture.isNull()) return {};
    return Trapped(state, "SendWBPic", [&] {
        const auto encoder = state.gMessenger->MakeFrameEncoder();
        encoder->EncodePicture(PixelsOf(picture));
        encoder->SetQuality(state.gFrameEncoder ? state.gFrameEncoder->Quality() : kUsualQuality);
        const QString handle = QString::fromUtf16(kWhiteboardHandle) + state.gMessenger->Handle();
        const QByteArray jpeg = encoder->GetBytes();
        const auto others = Others(state);
        if (others.empty()) state.gMessenger->KeepPicture(jpeg, x, y, encoder->Quality());
        for (const auto& item : others)
            item->SendVideoFrame(jpeg, handle, x, y, kFrameWhiteboard, encoder->Quality());
        if (state.gMarkSink)
            state.gMarkSink->Took({{},
                                   std::make_shared<Picture>(Picture{jpeg, {}}),
                                   {x, y},
                                   state.gMessenger->Handle(),
                                   Now(state),
                                   0});
        return jpeg;
    });
}

void SendPicture(ProcessState& state, const QImage& inserted, qint16 x, qint16 y)
{
    const QImage picture = OnWhite(inserted);
    const QPoint at(x, y);
    state.gMeetingForm->Board().Image().Paint(picture, at);
    const QRect seen = QRect(at, picture.size()) & QRect(0, 0, kBoardWidth, kBoardHeight);
    const QByteArray jpeg = EncodeAndSend(state, CutToBoard(picture, at), qint16(seen.x()), qint16(seen.y()));
    if (!jpeg.isEmpty()) NoteOwn(state, {}, std::make_shared<Picture>(Picture{jpeg, {}}), seen.topLeft());
}

/// The record of the action in progress. Returns the name for the trace, "" when there was nothing to send.
QString SendRecord(ProcessState& state, WhiteboardTools& tools, qint16 x1, qint16 y1, qint16 x2, qint16 y2)
{
    const QString record = tools.action->Record(x1, y1, x2, y2, SelectedInk(tools));
    if (record.isEmpty()) return {};
    NoteOwn(state, record);
    SendWBMessage(state, record);
    return RecordName(FindRecord(record)->kind);
}

/// Sends what the selected tool made; an action in progress belongs to the tool that began it.
QString SendAction(ProcessState& state, qint16 x1, qint16 y1, qint16 x2, qint16 y2)
{
    WhiteboardTools& tools = state.gMeetingForm->Toolbar().Tools();
    if (tools.action) return SendRecord(state, tools, x1, y1, x2, y2);
    switch (tools.mSelectedTool) {
        case ToolKey::Text: SendText(state, x1, y1); return u"TEXT"_s;
        case ToolKey::File:
        case ToolKey::Paste: SendPicture(state, tools.mInsertPicture, x1, y1); return u"PICTURE"_s;
        default: return {};
    }
}

/// What every change of the board is: sent, told in the status bar, shown, and remembered if it drew.
template <class Act>
void Change(ProcessState& state, bool draws, Act act)
{
    const QString own = state.gMessenger->Handle();
    const QString sent = act();
    ShowLastModified(state, own, Now(state));
    state.gMeetingForm->Board().Refresh();
    if (draws) SaveWBBuffer(state, own, Now(state));
    if (!sent.isEmpty()) TraceRecord(state, sent, own);
}

}  // namespace

void SendWhiteboard(ProcessState& state, qint16 x1, qint16 y1, qint16 x2, qint16 y2)
{
    Trapped(state, "SendWhiteboard", [&] {
        const WhiteboardTools& tools = state.gMeetingForm->Toolbar().Tools();
        const bool draws = !tools.action || tools.action->Draws();
        Change(state, draws, [&] { return SendAction(state, x1, y1, x2, y2); });
    });
}

void PlacePicture(ProcessState& state, const QImage& picture, qint16 x, qint16 y)
{
    Trapped(state, "SendWhiteboard", [&] {
        Change(state, true, [&] {
            SendPicture(state, picture, x, y);
            return u"PICTURE"_s;
        });
    });
}

void SendWBMessage(ProcessState& state, const QString& message)
{
    Trapped(state, "SendWBMessage", [&] {
        const QString own = state.gMessenger->Handle();
        const auto others = Others(state);
        if (others.empty()) state.gMessenger->Keep(message);
        for (const auto& item : others) item->Deliver(own, QString(), message, 0);
        if (state.gMarkSink && IsMark(message))
            state.gMarkSink->Took({message, nullptr, {}, own, Now(state), 0});
    });
}

void SendWBPic(ProcessState& state, const QImage& picture, qint16 x, qint16 y)
{
    EncodeAndSend(state, picture, x, y);
}

void TraceRecord(ProcessState& state, const QString& tag, const QString& from)
{
    if (!state.ports.trace) return;  // the checksum reads the whole board
    TraceEvent(
        state, "record",
        {{u"tag"_s, tag}, {u"from"_s, from}, {u"board"_s, state.gMeetingForm->Board().Image().Checksum()}});
}
