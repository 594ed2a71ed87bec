#include "whiteboard/own_work.h"

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/history.h"
#include "whiteboard/live_pictures.h"
#include "whiteboard/mark_sink.h"
#include "whiteboard/toolbar_rules.h"
#include "whiteboard/toolbar_screen.h"

using namespace Qt::StringLiterals;

namespace {

/// How the board stands once nothing own waits for its place: as it does for everybody who has heard as much.
void TraceOwn(ProcessState& state)
{
    if (!state.ports.trace || SharedOf(state).OwnWaits()) return;
    const SharedBoard::Steps steps = SharedOf(state).CurrentSteps();
    TraceEvent(
        state, "settled",
        {{u"board"_s, SharedOf(state).LogChecksum()}, {u"index"_s, steps.index}, {u"count"_s, steps.count}});
}

}  // namespace

SharedBoard& SharedOf(ProcessState& state)
{
    Board& board = state.gMeetingForm->Board().Image();
    WBHistory& history = HistoryOf(state);
    if (!state.gShared || !state.gShared->IsOf(board, history)) {
        const auto stroke = [&state]() -> const PenRecord* {
            if (!state.gMeetingForm) return nullptr;
            const auto& action = state.gMeetingForm->Toolbar().Tools().action;
            return action ? action->Stroke() : nullptr;
        };
        state.gShared = std::make_shared<SharedBoard>(board, history, stroke, state.ports.pictures);
        state.gShared->onPlaced = [&state](const MarkPtr& mark) { TellSink(state, mark); };
    }
    return *state.gShared;
}

void BeginOwn(ProcessState& state)
{
    if (state.gMessenger && state.gMessenger->PlacesOwn()) SharedOf(state).BeginOwn();
}

void AddOwn(ProcessState& state, const MarkPtr& mark, quint64 postBefore)
{
    if (!state.gMessenger->PlacesOwn())
        return NoteDrawn(HistoryOf(state), state.gMeetingForm->Board().Image(), mark);
    const quint64 post = state.gMessenger->LastBoardPost();
    SharedOf(state).AddOwn(mark, post == postBefore ? 0 : post);
}

MarkPtr OwnMark(const ProcessState& state, const QString& record, const PicturePtr& picture, QPoint at)
{
    return std::make_shared<Mark>(Mark{record, picture, at, state.gMessenger->Handle(), Now(state)});
}

MarkPtr MarkOf(const ProcessState& state, const QString& from, const QString& record,
               const PicturePtr& picture, QPoint at)
{
    const quint64 sequence = state.gMessenger ? state.gMessenger->EventSequence() : 0;
    return std::make_shared<Mark>(
        Mark{record, picture, at, WithoutEarlier(from), EventTime(state), sequence});
}

void TellSink(ProcessState& state, const MarkPtr& mark)
{
    if (state.gMarkSink) state.gMarkSink->Took(*mark);
}

QString WithoutEarlier(const QString& handle)
{
    const QLatin1String suffix(kEarlierSuffix);
    return handle.endsWith(suffix) ? handle.chopped(suffix.size()) : handle;
}

void NoteChange(ProcessState& state, const QString& from, const QDateTime& when)
{
    if (!SharedOf(state).OwnWaits()) ShowLastModified(state, WithoutEarlier(from), when);
}

void ShowSteps(ProcessState& state)
{
    if (!state.gMeetingForm) return;
    const SharedBoard::Steps steps = SharedOf(state).CurrentSteps();
    ToolbarScreen& toolbar = state.gMeetingForm->Toolbar();
    SetSteps(toolbar.Tools(), steps.index, steps.count);
    toolbar.ShowTools();
}

void SettleBoard(ProcessState& state)
{
    if (state.gShared) state.gShared->BringUp();
}

void BoardBegins(ProcessState& state, quint64 ownUpTo)
{
    TrappedFromAfar(state, "BoardBegins", [&] {
        state.gMeetingForm->Board().Live().StopAll();
        SharedOf(state).Begin(ownUpTo, state.gMessenger->Handle(), Now(state));
        state.gMeetingForm->Panels().SetPanel(Panel::WBStatus, {});
        state.gMeetingForm->Board().Refresh();
        ShowSteps(state);
        TraceEvent(state, "board-begins");
    });
}

void OwnBecame(ProcessState& state, OwnFate fate, quint64 post)
{
    TrappedFromAfar(state, "OwnBecame", [&] {
        SharedBoard& shared = SharedOf(state);
        switch (fate) {
            case OwnFate::Placed: shared.Placed(post); break;
            case OwnFate::Passed: shared.Passed(post); break;
            case OwnFate::Lost: shared.Lost(post); break;
            case OwnFate::AllPlaced: shared.AllPlaced(); break;
        }
        if (shared.Due()) state.gMeetingForm->Board().SettleSoon();
        state.gMeetingForm->Board().Refresh();
        ShowSteps(state);
        TraceOwn(state);
    });
}
