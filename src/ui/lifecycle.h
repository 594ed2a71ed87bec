#pragma once
// The meeting window's load, activation and close request. User-interface thread only.

#include "base/process_state.h"

class LeftPanel;
class MediaControls;

/// Runs with gWBApplyingRemote set; it falls on every way out. A failing step is reported once
/// ("frmMeeting_Load: "), the steps behind it are skipped and the window still opens. Needs gMeetingForm.
void frmMeeting_Load(ProcessState& state, MediaControls& media);
/// Errors end one step, not the next.
void frmMeeting_Activate(ProcessState& state);
/// The user or the system closes the window: the tools are stored, the placement is not. Then the process
/// ends without logging out; does not return.
void frmMeeting_Close(ProcessState& state);

/// Voice and video anew from the settings, in a loaded window. Without voice the companion is closed and
/// "Talk" is up and off. Why there is no picture, although the settings want one, stands in the last panel.
void ReloadVoice(ProcessState& state, MediaControls& media);
void RestartVideo(ProcessState& state, MediaControls& media);
