#pragma once
// "Meeting > Take Back From": an entry for each attendee who has marks on the board, here or gone.
// User-interface thread only.

struct ProcessState;
class QMenu;

/// From now on it is filled, and can be opened when there is something to take back and the user may, each
/// time that the menu around it opens. `state` must outlive it.
void KeepTakeBackMenu(ProcessState& state, QMenu& menu, const QMenu& around);
