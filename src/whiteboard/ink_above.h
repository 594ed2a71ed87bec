#pragma once
// "Ink stays above live pictures", with the process state around it: a setting of each viewer's own, under
// which live pictures lie beneath the board's ink. The board itself, its history and what is saved of it stay
// as they are without. User-interface thread only.

#include "base/process_state.h"
#include "whiteboard/live_pictures.h"

/// Does as the setting says, from now on.
void TakeInkSetting(ProcessState& state);
/// A picture has come: where it lies among the others, shown or not.
void PutLive(ProcessState& state, const LiveSource& source, const Pixels& pixels, QPoint at);
/// That picture does not go on. Shows it.
void StopLive(ProcessState& state, const LiveSource& source);
/// None of that attendee's goes on. Shows it.
void StopLiveOf(ProcessState& state, const QString& handle);
/// The board was cleared: pictures that have ceased go with it.
void ClearLive(ProcessState& state);
