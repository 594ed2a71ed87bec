#include "ui/lifecycle.h"

#include <QImage>
#include <stdexcept>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "media/capture.h"
#include "media/voice.h"
#include "platform/camera.h"
#include "settings/settings.h"
#include "text/text_rules.h"
#include "text/words.h"
#include "ui/media_controls.h"
#include "whiteboard/tool_settings.h"

namespace {

void LoadVoice(ProcessState& state, MediaControls& media)
{
    media.EnableTalk(VoktalEnabled(state));
    if (!VoktalEnabled(state)) return;
    LoadVoktalPort(state);
    StartVoktal(state);
}

void LoadVideo(ProcessState& state, MediaControls& media)
{
    state.gCameraReady = InitCamera(state);
    InitDIB(state);
    media.SetFrameRateSlider(ShownFrameRate(state));
    if (!state.gFrameEncoder) throw std::runtime_error("the service gave no encoder for pictures");
    media.SetQualitySlider(state.gFrameEncoder->Quality());
}

}  // namespace

void ReloadVoice(ProcessState& state, MediaControls& media)
{
    if (VoktalEnabled(state)) return LoadVoice(state, media);
    CloseVoktal(state);  // nobody would tell it to be quiet any more
    media.ReleaseTalk();
    media.EnableTalk(false);
}

void RestartVideo(ProcessState& state, MediaControls& media)
{
    CloseCamera(state);
    media.SetPreview({});
    media.SetFormatEnabled(true);
    LoadVideo(state, media);
    const CameraPort* camera = state.ports.camera;
    if (camera && !state.gCameraReady && !camera->Trouble().isEmpty() &&
        !FlagSetting(state, keys::kDisableVideo))
        state.gMeetingForm->Panels().Note(camera->Trouble());
}

void frmMeeting_Load(ProcessState& state, MediaControls& media)
{
    Trapped(state, "frmMeeting_Load", [&] {
        const Restore<bool> applying(state.gWBApplyingRemote, true);
        LoadVoice(state, media);
        LoadVideo(state, media);
        state.gMeetingForm->Panels().SetPanel(
            Panel::WBOpen, Defined::tr("Meeting started: %1").arg(GeneralDate(state.ports.clock->Now())));
        LoadTools(state);
        state.gMeetingForm->FillUsers();
    });
    state.gWBApplyingRemote = false;
}

void frmMeeting_Activate(ProcessState& state)
{
    TraceEvent(state, "activate");
    Silently(state, "frmMeeting_Activate", [&] { ActivateTools(state); });
}

void frmMeeting_Close(ProcessState& state)
{
    Silently(state, "frmMeeting_Close", [&] { SaveTools(state); });
    state.ports.endProcess->Now();
}
