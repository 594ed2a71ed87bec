#pragma once
// Sharing the picture of a window, or of the whole screen, on the board. User-interface thread only.

#include <QString>
#include <vector>

#include "base/process_state.h"
#include "platform/windows.h"

/// frmShareApp, modal: leaves its choice in gShareWindow. For the App command.
void ShowShareApp(ProcessState& state);
/// A click on the board with the App tool: sharing goes there, the window comes to the front, the timer runs.
void StartSharingAt(ProcessState& state, qint16 x, qint16 y);
/// The interval of sharing that runs, anew from the settings.
void TakeShareInterval(ProcessState& state);
/// The App command's stop: nothing is sent.
void StopSharing(ProcessState& state);
/// tmrShareApp's tick: one capture, one encoding, sent to each item of gUsers.
void ShareAppTick(ProcessState& state);

/// The dialog's entries: "(Desktop)" first, where there is one, then the windows in their order without
/// "Program Manager", untitled ones and the one captioned `ownCaption`.
std::vector<WindowInfo> ShareableWindows(WindowId desktop, const std::vector<WindowInfo>& topLevel,
                                         const QString& ownCaption);

/// Whether two pictures show the same; a null one is like no other.
bool SamePicture(const Pixels& a, const Pixels& b);
