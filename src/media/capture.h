#pragma once
// The own camera: preview, format, frame rate, image quality, and sending each frame to everybody.
// Every procedure runs inside the trap under its own name. User-interface thread only.

#include "base/process_state.h"

struct CameraFrame;

/// Connects the camera (index 1, else 0), asks for the configured size and rate and starts the preview.
/// False: video is disabled, or no camera could be connected. The result belongs in gCameraReady.
bool InitCamera(ProcessState& state);
/// Makes gFrameEncoder, gives it the quality, and settles format, slider and caption. Right after InitCamera.
bool InitDIB(ProcessState& state);
/// The setting "Frame Rate" as sldFPS shows it: the default where the slider does not reach.
int ShownFrameRate(ProcessState& state);
/// Every captured frame: sends it to each item of gUsers while the own video is on.
void MyFrameCallback(ProcessState& state, const CameraFrame& frame);
/// EndProgram's part: callback off, preview off, close, in that order. Each step runs for itself.
void CloseCamera(ProcessState& state);

/// The time between two pictures, anew from the settings.
void TakeFrameRate(ProcessState& state);

void cmdFormat_Click(ProcessState& state);
/// `cause`: Remote when another attendee set the slider.
void sldFPS_Scroll(ProcessState& state, Cause cause = Cause::Local);
void sldJPEG_Scroll(ProcessState& state);
