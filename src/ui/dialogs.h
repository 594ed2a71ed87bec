#pragma once

class QDialog;
struct ProcessState;

/// Runs a form of ours modally, by way of the prompts where they show real dialogs. Returns its result.
int RunModally(ProcessState& state, QDialog& dialog);
/// Whether an activation that comes now follows from a dialog of ours; asking takes the mark away.
bool ActivationIsOurs(ProcessState& state);
