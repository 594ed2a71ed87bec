#include "app/end_program.h"

#include <cstdlib>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "media/capture.h"
#include "media/voice.h"
#include "settings/settings.h"
#include "text/text_rules.h"

using namespace std::chrono_literals;

namespace {

constexpr auto kGoodbyeTime = 2s;

/// The placement of the normal state, also when the window is minimised or maximised.
void SavePlacement(ProcessState& state)
{
    const TwipsRect placement = state.gMeetingForm->NormalPlacement();
    state.gMeetingForm->SetState(WindowState::Normal);
    SaveSetting(state, keys::kXPos, SingleText(placement.left));
    SaveSetting(state, keys::kYPos, SingleText(placement.top));
    SaveSetting(state, keys::kHeight, SingleText(placement.height));
    SaveSetting(state, keys::kWidth, SingleText(placement.width));
}

void LeaveService(ProcessState& state)
{
    MessengerService& service = *state.gMessenger;
    bool loggedIn = false;
    Silently(state, "LoggedIn", [&] { loggedIn = service.LoggedIn(); });
    if (loggedIn) {
        Silently(state, "LeaveMeeting", [&] { service.LeaveMeeting(); });
        Silently(state, "Logout", [&] { service.Logout(); });
    }
    Silently(state, "Close", [&] { service.Close(); });
}

}  // namespace

void EndProgram(ProcessState& state)
{
    if (state.gMeetingForm) Silently(state, "EndProgram", [&] { SavePlacement(state); });
    Silently(state, "EndProgram", [&] { CloseVoktal(state); });
    if (state.gCameraReady) Silently(state, "EndProgram", [&] { CloseCamera(state); });
    if (state.gMeetingForm) Silently(state, "EndProgram", [&] { state.gMeetingForm->SetShareTimer(0); });
    if (state.ports.waits) state.ports.waits->Hurry(kGoodbyeTime);
    if (state.gMessenger) LeaveService(state);
    state.gMeetingForm = nullptr;
    if (state.gFrameEncoder) Silently(state, "EndProgram", [&] { state.gFrameEncoder->Clear(); });
    state.gFrameEncoder.reset();
    state.ports.endProcess->Now();
    std::abort();  // not reached
}
