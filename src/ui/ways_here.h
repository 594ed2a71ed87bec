#pragma once
// How others come into the meeting that the user is in, and passing it on. User-interface thread only.

#include <vector>

#include "base/process_state.h"
#include "session/invitation.h"

struct WaysHere {
    std::vector<Invitation> invitations;  // the likeliest first
    QString problem;                      // why there is none, for people
};
/// Of what this computer's own service answered.
WaysHere WaysBy(const ProcessState& state, const LettingIn& letting);

/// Puts the invitation on the clipboard.
void CopyInvitation(ProcessState& state, const Invitation& invitation);
