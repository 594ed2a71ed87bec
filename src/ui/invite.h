#pragma once
// "Copy Invitation" and "Let Others In...". User-interface thread only.

#include "base/process_state.h"

class QWidget;

void mnuInvite_Click(ProcessState& state);
void mnuLetIn_Click(ProcessState& state, QWidget* window);
