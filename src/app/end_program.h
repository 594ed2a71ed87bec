#pragma once

#include "base/process_state.h"

/// The orderly end: saves the placement, closes the companion and the camera, leaves the meeting, logs out,
/// closes the service and ends the process. Each step runs although an earlier one failed. Does not return.
[[noreturn]] void EndProgram(ProcessState& state);
