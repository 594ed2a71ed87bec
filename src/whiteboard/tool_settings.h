#pragma once
// The whiteboard's share of the meeting window's life: its tools come from the settings store when the window
// loads, are chosen anew at each activation and stored at a close request. User-interface thread only.

#include <set>

struct ProcessState;
struct SettingKey;

/// While the window loads: sub-tools, colour, width and font from the settings, and the blank board as the
/// history's first entry. A stored value that means nothing is logged and gives way to its default.
void LoadTools(ProcessState& state);
/// Those of them whose keys are among `changed`, as if chosen in the toolbar; the selected tool stays.
void TakeTools(ProcessState& state, const std::set<const SettingKey*>& changed);
/// At each activation from outside: Undo and Redo as the history says, then the stored tool as if it had been
/// clicked. Errors end one step, not the next.
void ActivateTools(ProcessState& state);
/// At a close request. Each value is stored although another failed.
void SaveTools(ProcessState& state);
