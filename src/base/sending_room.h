#pragma once
// Whether something new may be begun that will have to be sent.

#include "base/process_state.h"

/// True while much is waiting to be sent: then the last status panel says so, with a beep, and the caller
/// begins nothing, before anything is drawn or taken from its box.
bool SendingMustWait(ProcessState& state);
