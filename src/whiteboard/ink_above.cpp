#include "whiteboard/ink_above.h"

#include "base/meeting_screens.h"
#include "base/report.h"
#include "settings/settings.h"
#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/own_work.h"

using namespace Qt::StringLiterals;

void TakeInkSetting(ProcessState& state)
{
    const bool above = FlagSetting(state, keys::kInkAboveLive);
    BoardScreen& screen = state.gMeetingForm->Board();
    if (above == screen.Image().KeepsInk()) return;
    screen.LayInkAbove(false);  // looks at the ink no more
    SharedOf(state).KeepInk(above);
    screen.LayInkAbove(above);
}

void PutLive(ProcessState& state, const LiveSource& source, const Pixels& pixels, QPoint at)
{
    state.gMeetingForm->Board().Live().Put(source, pixels, at, std::chrono::steady_clock::now());
}

void StopLive(ProcessState& state, const LiveSource& source)
{
    if (!state.gMeetingForm) return;
    BoardScreen& screen = state.gMeetingForm->Board();
    if (!screen.Live().Stop(source)) return;
    screen.Refresh();
    TraceEvent(state, "live_stopped", {{u"from"_s, source.handle}, {u"type"_s, source.type}});
}

void StopLiveOf(ProcessState& state, const QString& handle)
{
    BoardScreen& screen = state.gMeetingForm->Board();
    screen.Live().StopAllOf(handle);
    screen.Refresh();
}

void ClearLive(ProcessState& state)
{
    state.gMeetingForm->Board().Live().StopAtClear(std::chrono::steady_clock::now());
}
