#include "whiteboard/remote_apply.h"

#include <algorithm>
#include <stdexcept>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "contract/messenger_service.h"
#include "settings/settings.h"
#include "text/qt_line.h"
#include "text/words.h"
#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/history.h"
#include "whiteboard/ink_above.h"
#include "whiteboard/own_work.h"
#include "whiteboard/sending.h"
#include "whiteboard/tool_commands.h"
#include "whiteboard/toolbar_screen.h"
#include "whiteboard/whiteboard_tools.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t kMostPointerSteps = 1200;  // a minute at 50 ms each
constexpr float kLargestTwips = 32767 * 15;

/// Who draws, and on what.
struct Apply {
    ProcessState& state;
    const QString& from;

    MeetingScreens& Form() const { return *state.gMeetingForm; }
    /// Of before the user entered: it waits for nothing and keeps its time.
    bool Earlier() const { return state.gMessenger && state.gMessenger->EventAge().has_value(); }
    void Pause(std::chrono::milliseconds time) const
    {
        if (state.ports.waits && !Earlier()) state.ports.waits->Pause(time);
    }
};

void RefuseDamaged(const std::optional<FieldError>& error)
{
    if (error) throw std::runtime_error(Describe(*error).toStdString());
}

/// What draws, clears or takes back: with snapshot and status text. What takes long runs in slices as one
/// step.
void ApplyDrawing(const Apply& apply, const MarkPtr& mark)
{
    const GateHold hold(apply.state.ports.gate);
    if (DrawsOf(*mark) == Draws::Clear) ClearLive(apply.state);
    SharedBoard& shared = SharedOf(apply.state);
    const Applied applied = shared.Take(mark, [&] {
        apply.Form().Board().Refresh();
        if (apply.state.ports.waits) apply.state.ports.waits->Pause(0ms);
    });
    if (shared.Due()) apply.Form().Board().SettleSoon();
    apply.Form().Board().Refresh();
    RefuseDamaged(applied.error);
    ShowSteps(apply.state);
    NoteChange(apply.state, apply.from, mark->when);
}

void ApplyPointer(const Apply& apply, QStringView payload)
{
    const auto read = ReadPointer(payload);
    const auto& points = read.value.points;
    BoardScreen& screen = apply.Form().Board();
    if (read.value.first) {
        screen.MovePointer(*read.value.first);
        screen.ShowPointer(true);
    }
    const std::size_t steps = std::min(points.size(), kMostPointerSteps);
    for (std::size_t step = 1; step <= steps; ++step) {
        const BoardPoint16 to = points[step * points.size() / steps - 1];  // the last one exactly
        screen.MovePointer({float(to.x), float(to.y)});
        apply.Pause(50ms);
    }
    RefuseDamaged(read.error);
    ShowLastModified(apply.state, WithoutEarlier(apply.from), EventTime(apply.state));
}

/// Whether others may resize and scroll this window.
bool MayControlView(ProcessState& state)
{
    if (FlagSetting(state, keys::kAllowRemoteView)) return true;
    LogEvent(state, EventType::Information, u"a record that controls the view was not applied"_s);
    return false;
}

void ApplyScroll(const Apply& apply, QStringView payload, Bar bar)
{
    const auto read = ReadScroll(payload);
    RefuseDamaged(read.error);
    if (MayControlView(apply.state)) apply.Form().Board().SetScroll(bar, read.value);
}

void ApplyResize(const Apply& apply, QStringView payload)
{
    const auto read = ReadResize(payload);
    if (read.error && read.error->field == 0) RefuseDamaged(read.error);
    const int state = read.value.state;
    if (state < 0 || state > 2)
        throw std::runtime_error("window state " + std::to_string(state) + " is outside 0..2");
    if (!MayControlView(apply.state)) return;
    apply.Form().SetState(WindowState(state));
    if (apply.Form().State() != WindowState::Normal) return;
    RefuseDamaged(read.error);
    apply.Form().Resize(std::clamp(read.value.width, 0.0f, kLargestTwips),
                        std::clamp(read.value.height, 0.0f, kLargestTwips));
}

void ApplyStep(const Apply& apply, ToolKey key)
{
    const Restore catchingUp(apply.Form().Toolbar().Tools().catchingUp, apply.Earlier());
    tool_ButtonClick(apply.state, key);
    NoteChange(apply.state, apply.from, EventTime(apply.state));
}

void ApplyRecord(const Apply& apply, const TaggedPayload& record, const QString& message)
{
    switch (record.kind) {
        case RecordKind::HScroll: ApplyScroll(apply, record.payload, Bar::HScroll); break;
        case RecordKind::VScroll: ApplyScroll(apply, record.payload, Bar::VScroll); break;
        case RecordKind::Resize: ApplyResize(apply, record.payload); break;
        case RecordKind::Pointer: ApplyPointer(apply, record.payload); break;
        case RecordKind::Undo: ApplyStep(apply, ToolKey::Undo); break;
        case RecordKind::Redo: ApplyStep(apply, ToolKey::Redo); break;
        default: ApplyDrawing(apply, MarkOf(apply.state, apply.from, message));
    }
    TraceRecord(apply.state, RecordName(record.kind), apply.from);
}

}  // namespace

void HandleWBMessage(ProcessState& state, const QString& fromHandle, const QString& message)
{
    TrappedFromAfar(state, "HandleWBMessage", [&] {
        if (fromHandle == state.gMessenger->Handle()) return;
        const auto record = FindRecord(message);
        if (!record) return;
        const Restore applying(state.gWBApplyingRemote, true);
        ApplyRecord({state, fromHandle}, *record, message);
    });
}

void HandleTakeBack(ProcessState& state, const QString& fromHandle, const QString& whose)
{
    TrappedFromAfar(state, "HandleTakeBack", [&] {
        const Restore applying(state.gWBApplyingRemote, true);
        const Apply apply{state, fromHandle};
        auto mark = std::make_shared<Mark>(*MarkOf(state, fromHandle, {}));
        mark->takesBack = whose;
        ApplyDrawing(apply, mark);
        TraceRecord(state, QLatin1String(kTakeBackName), fromHandle);
        if (apply.Earlier()) return;
        apply.Form().Panels().Note(Ours::tr("%1 has taken back what %2 had drawn.", "two handles")
                                       .arg(InSentence(fromHandle), InSentence(whose)));
    });
}
