#include "whiteboard/sending.h"

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "contract/picture_reader.h"
#include "messaging/record_kinds.h"
#include "text/words.h"
#include "whiteboard/apply_mark.h"
#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/history.h"
#include "whiteboard/own_work.h"
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

/// As everybody draws it, the sender too.
TextRecord InBoardFont(ProcessState& state, TextRecord line)
{
    if (state.gMessenger->PlacesOwn())
        line.look.fontName = FontFor(state.gMeetingForm->Board().Image(), line.look.fontName);
    return line;
}

/// One record for each line, each below the one before.
void SendText(ProcessState& state, qint16 x, qint16 y)
{
    BoardScreen& screen = state.gMeetingForm->Board();
    WhiteboardTools& tools = state.gMeetingForm->Toolbar().Tools();
    if (!state.gMessenger->PlacesOwn()) screen.Image().SetFontName(tools.TextFont().fontName);
    if (screen.TypedText().contains(QStringView(kFieldSeparator))) {
        state.gMeetingForm->Panels().Note(
            Ours::tr("The others see this text only up to \"%1\", which separates fields on the way to them.")
                .arg(QStringView(kFieldSeparator)));
    }
    for (const TextRecord& line :
         TextLines(screen.Image(), screen.TypedText(), {x, y}, tools.TextFont(), CurrentColor(tools))) {
        const QString record = WriteText(line);
        const quint64 before = state.gMessenger->LastBoardPost();
        BeginOwn(state);
        screen.Image().Draw(InBoardFont(state, line));
        SendWBMessage(state, record);
        AddOwn(state, OwnMark(state, record), before);
    }
}

struct Encoded {
    QByteArray jpeg;
    qint32 quality = 0;
};

Encoded EncodeForOthers(ProcessState& state, const QImage& picture)
{
    const auto encoder = state.gMessenger->MakeFrameEncoder();
    encoder->EncodePicture(PixelsOf(picture));
    encoder->SetQuality(state.gFrameEncoder ? state.gFrameEncoder->Quality() : kUsualQuality);
    return {encoder->GetBytes(), encoder->Quality()};
}

void SendEncoded(ProcessState& state, const Encoded& picture, qint16 x, qint16 y)
{
    const QString handle = QString::fromUtf16(kWhiteboardHandle) + state.gMessenger->Handle();
    const auto others = Others(state);
    if (others.empty()) state.gMessenger->KeepPicture(picture.jpeg, x, y, picture.quality);
    for (const auto& item : others)
        item->SendVideoFrame(picture.jpeg, handle, x, y, kFrameWhiteboard, picture.quality);
    if (!state.gMessenger->PlacesOwn())
        TellSink(state, OwnMark(state, {}, std::make_shared<Picture>(Picture{picture.jpeg, {}}), {x, y}));
}

/// What the others will see of it; null where the service decodes nothing, or nothing would be sent.
PicturePtr AsOthersSee(ProcessState& state, const Encoded& picture, QPoint at)
{
    if (picture.jpeg.isEmpty() || !state.ports.pictures || !state.gMessenger->PlacesOwn()) return nullptr;
    const PicturePtr seen = state.ports.pictures->Read(picture.jpeg, at.x(), at.y());
    return seen && !seen->pixels.IsNull() ? seen : nullptr;
}

/// Where the service gives places, the sender, too, sees what the JPEG made of it: all boards are equal then.
void SendPicture(ProcessState& state, const QImage& inserted, qint16 x, qint16 y)
{
    const QImage picture = OnWhite(inserted);
    const QPoint at(x, y);
    const QPoint seen = (QRect(at, picture.size()) & QRect(0, 0, kBoardWidth, kBoardHeight)).topLeft();
    const QImage part = CutToBoard(picture, at);
    Board& board = state.gMeetingForm->Board().Image();
    Encoded encoded;
    if (!part.isNull()) Trapped(state, "SendWBPic", [&] { encoded = EncodeForOthers(state, part); });
    const PicturePtr shown = AsOthersSee(state, encoded, seen);
    const quint64 before = state.gMessenger->LastBoardPost();
    if (shown) BeginOwn(state);
    shown ? board.Paint(AsImage(shown->pixels), seen) : board.Paint(picture, at);
    if (encoded.jpeg.isEmpty()) return;
    Trapped(state, "SendWBPic", [&] { SendEncoded(state, encoded, qint16(seen.x()), qint16(seen.y())); });
    const PicturePtr kept = shown ? shown : std::make_shared<Picture>(Picture{encoded.jpeg, {}});
    AddOwn(state, OwnMark(state, {}, kept, seen), before);
}

/// The record of the action in progress. Returns the name for the trace, "" when there was nothing to send.
QString SendRecord(ProcessState& state, WhiteboardTools& tools, qint16 x1, qint16 y1, qint16 x2, qint16 y2)
{
    const QString record = tools.action->Record(x1, y1, x2, y2, SelectedInk(tools));
    if (record.isEmpty()) return {};
    const quint64 before = state.gMessenger->LastBoardPost();
    SendWBMessage(state, record);
    if (tools.action->Draws()) AddOwn(state, OwnMark(state, record), before);
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
    if (state.gMessenger->PlacesOwn()) {  // each mark has been remembered by itself, as it is everywhere
        SharedOf(state).EndOwn();
        ShowSteps(state);
    } else if (draws) {
        SaveWBBuffer(state, own, Now(state));
    }
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
        if (IsMark(message) && !state.gMessenger->PlacesOwn()) TellSink(state, OwnMark(state, message));
    });
}

void SendWBPic(ProcessState& state, const QImage& picture, qint16 x, qint16 y)
{
    Trapped(state, "SendWBPic", [&] { SendEncoded(state, EncodeForOthers(state, picture), x, y); });
}

void TraceRecord(ProcessState& state, const QString& tag, const QString& from)
{
    if (!state.ports.trace) return;  // the checksum reads the whole board
    SettleBoard(state);
    TraceEvent(
        state, "record",
        {{u"tag"_s, tag}, {u"from"_s, from}, {u"board"_s, state.gMeetingForm->Board().Image().Checksum()}});
}
