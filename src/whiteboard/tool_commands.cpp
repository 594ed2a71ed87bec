#include "whiteboard/tool_commands.h"

#include <QBuffer>
#include <stdexcept>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "base/save_whole.h"
#include "base/sending_room.h"
#include "messaging/record_kinds.h"
#include "platform/clipboard.h"
#include "text/words.h"
#include "whiteboard/board.h"
#include "whiteboard/board_fonts.h"
#include "whiteboard/history.h"
#include "whiteboard/ink_above.h"
#include "whiteboard/own_work.h"
#include "whiteboard/sending.h"
#include "whiteboard/shapes.h"
#include "whiteboard/toolbar_rules.h"
#include "whiteboard/toolbar_screen.h"
#include "whiteboard/tools/picture.h"
#include "whiteboard/whiteboard_tools.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

void SetCursor(ProcessState& state, const CursorChoice& choice)
{
    state.gMeetingForm->Board().SetCursor(choice.cursor, choice.icon);
}

void Clear(ProcessState& state)
{
    BoardScreen& screen = state.gMeetingForm->Board();
    const QString own = state.gMessenger->Handle();
    const MarkPtr mark = OwnMark(state, TagOf(RecordKind::Clear));
    const quint64 before = state.gMessenger->LastBoardPost();
    BeginOwn(state);
    ClearLive(state);
    screen.Image().Clear();
    screen.Refresh();
    SendWBMessage(state, mark->record);
    ShowLastModified(state, own, Now(state));
    AddOwn(state, mark, before);
    if (state.gMessenger->PlacesOwn())
        ShowSteps(state);
    else
        SaveWBBuffer(state, own, Now(state));
    TraceRecord(state, u"CLEAR"_s, own);
}

/// Toolbar off and hourglass on for a scope.
class Busy {
public:
    explicit Busy(ProcessState& state) : mState(state) { Set(false, PointerShape::Busy); }
    ~Busy() { Set(true, PointerShape::Default); }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;

private:
    void Set(bool enabled, PointerShape shape)
    {
        ToolsOf(mState).toolbarEnabled = enabled;
        mState.gMeetingForm->Toolbar().ShowTools();
        if (mState.ports.pointer) mState.ports.pointer->Set(shape);
    }
    ProcessState& mState;
};

/// One step of the user's own: shown, and told to the others.
void StepOwn(ProcessState& state, const QString& record)
{
    const MarkPtr mark = OwnMark(state, record);
    const quint64 before = state.gMessenger->LastBoardPost();
    BeginOwn(state);
    WBHistory& history = SharedOf(state).History();
    StepIn(history, *mark);
    LoadWBBuffer(state, qint16(history.Index()));
    SendWBMessage(state, record);
    if (state.gMessenger->PlacesOwn()) AddOwn(state, mark, before);
}

/// Shown, and told to the others.
void TakeBack(ProcessState& state, const QString& whose)
{
    BoardScreen& screen = state.gMeetingForm->Board();
    const auto mark = std::make_shared<Mark>(*OwnMark(state, {}));
    mark->takesBack = whose;
    const quint64 before = state.gMessenger->LastBoardPost();
    BeginOwn(state);
    ApplyMark(screen.Image(), SharedOf(state).History(), mark, {}, state.ports.pictures);
    screen.Refresh();
    Trapped(state, "TakeBack", [&] { state.gMessenger->TakeBack(whose); });
    AddOwn(state, mark, before);
    ShowLastModified(state, mark->author, mark->when);
    ShowSteps(state);
    TraceRecord(state, QLatin1String(kTakeBackName), mark->author);
}

/// One of somebody else's; own work stays above it.
void StepOfOthers(ProcessState& state, const QString& record)
{
    SharedBoard& shared = SharedOf(state);
    Trapped(state, "LoadWBBuffer", [&] { shared.Take(MarkOf(state, {}, record)); });
    if (!shared.OwnIsApart()) return LoadWBBuffer(state, qint16(shared.History().Index()));
    if (shared.Due()) state.gMeetingForm->Board().SettleSoon();
    state.gMeetingForm->Board().Refresh();
}

/// Undo and Redo.
void Step(ProcessState& state, ToolKey key)
{
    WhiteboardTools& tools = ToolsOf(state);
    const bool undo = key == ToolKey::Undo;
    const QString record = TagOf(undo ? RecordKind::Undo : RecordKind::Redo);
    const bool wait = !state.gWBApplyingRemote || RemoteStepWaits(tools, std::chrono::steady_clock::now());
    {
        const Busy busy(state);
        state.gWBApplyingRemote ? StepOfOthers(state, record) : StepOwn(state, record);
        ShowSteps(state);
        TraceEvent(state, undo ? "undo" : "redo", {{u"index"_s, SharedOf(state).CurrentSteps().index}});
        if (!state.gWBApplyingRemote)
            TraceRecord(state, undo ? u"UNDO"_s : u"REDO"_s, state.gMessenger->Handle());
        if (wait && state.ports.waits) state.ports.waits->Pause(1000ms);
    }
    if (state.gWBApplyingRemote) tools.remoteStepEnd = std::chrono::steady_clock::now();
}

void StopMode(ProcessState& state, ToolKey mode)
{
    if (DropMode(ToolsOf(state), mode)) SetCursor(state, {});
}

void App(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    if (state.gAppShareOn) {
        state.gAppShareOn = false;
        state.gShareWindow = 0;
        if (tools.hooks.stopSharing) tools.hooks.stopSharing();
        StopLive(state, {state.gMessenger->Handle(), kFrameApplication});
        StopMode(state, ToolKey::App);
        return;
    }
    ReleasePlainButtons(tools);
    state.gMeetingForm->Toolbar().ShowTools();
    if (tools.hooks.showShareApp) tools.hooks.showShareApp();
    if (state.gShareWindow == 0) {
        const bool marked = tools.IsChecked(ToolKey::App);
        StopMode(state, ToolKey::App);
        tools.Check(ToolKey::App, marked);  // a cancelled list leaves the entry's mark
        return;
    }
    FinishTool(tools, ToolKey::App);
    SetCursor(state, CursorFor(ToolKey::App, tools.mDrawTool));
    TraceEvent(state, "tool", {{u"key"_s, ToolName(ToolKey::App)}});
}

void Video(ProcessState& state)
{
    WhiteboardTools& tools = ToolsOf(state);
    if (state.gVideoOn) {
        state.gVideoOn = false;
        StopLive(state, {state.gMessenger->Handle(), kFrameVideo});
        StopMode(state, ToolKey::Video);
        return;
    }
    ReleasePlainButtons(tools);
    FinishTool(tools, ToolKey::Video);
    SetCursor(state, CursorFor(ToolKey::Video, tools.mDrawTool));
    TraceEvent(state, "tool", {{u"key"_s, ToolName(ToolKey::Video)}});
}

/// The picture of a file that the user chooses. Throws when the dialog is cancelled or the file is no
/// picture.
QImage ChosenPicture(ProcessState& state)
{
    const QString file = state.ports.prompts->OpenFile(Defined::tr("Insert Picture (Select File)"),
                                                       Defined::tr("Pictures"), {u"*.jpg"_s, u"*.bmp"_s});
    if (file.isEmpty()) throw std::runtime_error("no picture was chosen");
    return LoadBoardPicture(file);
}

/// What must be there before the tool is selected. False: it is not.
bool Prepare(ProcessState& state, ToolKey key)
{
    WhiteboardTools& tools = ToolsOf(state);
    BoardScreen& screen = state.gMeetingForm->Board();
    switch (key) {
        case ToolKey::File: tools.mInsertPicture = ChosenPicture(state); return true;
        case ToolKey::Paste: {
            const QImage pasted = state.ports.clipboard ? state.ports.clipboard->Picture() : QImage();
            if (pasted.isNull()) {
                state.ports.prompts->Box(BoxIcon::Information, QLatin1String(kAppTitle),
                                         Defined::tr("There is no image on the clipboard."));
                if (tools.mSelectedTool != ToolKey::None) tools.Press(tools.mSelectedTool);
                return false;
            }
            tools.mInsertPicture = pasted;
            return true;
        }
        case ToolKey::Text:
            screen.ClearText();
            screen.SetTextLook(tools.TextFont());
            return true;
        default: return true;
    }
}

void Plain(ProcessState& state, ToolKey key)
{
    WhiteboardTools& tools = ToolsOf(state);
    BeginPlainTool(tools, state.gVideoOn, state.gAppShareOn);
    state.gMeetingForm->Toolbar().ShowTools();
    if (!Prepare(state, key)) return;
    SetCursor(state, CursorFor(key, tools.mDrawTool));
    FinishTool(tools, key);
    TraceEvent(state, "tool", {{u"key"_s, ToolName(key)}});
}

void Dispatch(ProcessState& state, ToolKey key)
{
    switch (key) {
        case ToolKey::Clear: return Clear(state);
        case ToolKey::Undo:
        case ToolKey::Redo: return Step(state, key);
        case ToolKey::App: return App(state);
        case ToolKey::Video: return Video(state);
        case ToolKey::Exit:
            if (const auto& end = ToolsOf(state).hooks.endProgram) end();
            return;
        case ToolKey::None: throw std::runtime_error("there is no such tool");
        default: return Plain(state, key);
    }
}

void PressParent(ProcessState& state, ToolKey parent)
{
    tool_ButtonClick(state, parent);
    ToolsOf(state).Press(parent);
    state.gMeetingForm->Toolbar().ShowTools();
}

QByteArray AsBitmap(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "BMP")) throw std::runtime_error("the picture cannot be written as a bitmap");
    return bytes;
}

}  // namespace

void tool_ButtonClick(ProcessState& state, ToolKey key)
{
    Silently(state, "tool_ButtonClick", [&] {
        state.gMeetingForm->Board().HideText();
        Dispatch(state, key);
    });
    Silently(state, "tool_ButtonClick", [&] {
        state.gMeetingForm->Toolbar().ShowTools();  // a clicked button has toggled itself
        state.gMeetingForm->Toolbar().Refresh();
    });
}

void SelectTextFont(ProcessState& state)
{
    TextLook& look = ToolsOf(state).TextFont();
    // The dialog lists what is installed. Whoever leaves the stand-in selected keeps the font's own name.
    const QString drawn = DrawnFamily(look.fontName);
    const FontChoice now{drawn,       double(look.points), look.bold,
                         look.italic, look.strikethrough,  look.underline};
    const FontChoice chosen = state.ports.prompts->SelectFont(Defined::tr("Select Font"), now);
    const QString name = chosen.name == drawn ? look.fontName : chosen.name;
    look = {name, float(chosen.size), chosen.bold, chosen.italic, chosen.strikethrough, chosen.underline};
    PressParent(state, ToolKey::Text);
}

void tool_ButtonMenuClick(ProcessState& state, ToolKey parent, const QString& key)
{
    Trapped(state, "tool_ButtonMenuClick", [&] {
        WhiteboardTools& tools = ToolsOf(state);
        if (parent == ToolKey::Text) return SelectTextFont(state);
        if (parent == ToolKey::Draw) tools.mDrawTool = DrawToolNamed(key).value_or(tools.mDrawTool);
        if (const Shape* shape = ShapeNamed(key); shape && parent == ToolKey::Shape)
            tools.mShapeTool = shape->kind;
        PressParent(state, parent);
    });
}

void mnuTakeBack_Click(ProcessState& state, const QString& whose)
{
    Trapped(state, "mnuTakeBack_Click", [&] {
        if (SendingMustWait(state) || !state.gMessenger->StartedMeeting()) return;
        const Busy busy(state);
        TakeBack(state, whose);
    });
}

void mnuSaveFile_Click(ProcessState& state)
{
    Trapped(state, "mnuSaveFile_Click", [&] {
        const QString name = state.ports.prompts->SaveFile(
            Defined::tr("Save Meeting Image"), Defined::tr("Meeting Images"), {u"*.jpg"_s}, u"jpg"_s);
        if (name.isEmpty()) return;
        if (state.ports.waits) state.ports.waits->LetEventsRun();
        const WBHistory& history = SharedOf(state).History();
        SaveWhole(name, AsBitmap(history.PictureOf(history.Index())));
        TraceEvent(state, "saved", {{u"file"_s, name}});
    });
}

void mnuCopy_Click(ProcessState& state)
{
    Trapped(state, "mnuCopy_Click", [&] {
        if (!state.ports.clipboard) throw std::runtime_error("there is no clipboard");
        state.ports.clipboard->Clear();
        state.gMeetingForm->Board().Refresh();
        if (state.ports.waits) {
            state.ports.waits->LetEventsRun();
            state.ports.waits->Pause(100ms);
        }
        state.ports.clipboard->SetPicture(state.gMeetingForm->Board().GrabVisible());
        TraceEvent(state, "copied");
    });
}
