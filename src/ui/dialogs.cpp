#include "ui/dialogs.h"

#include <QDialog>

#include "base/process_state.h"
#include "ui/prompts.h"

int RunModally(ProcessState& state, QDialog& dialog)
{
    if (auto* prompts = dynamic_cast<QtPrompts*>(state.ports.prompts)) return prompts->RunDialog(dialog);
    return dialog.exec();
}

bool ActivationIsOurs(ProcessState& state)
{
    auto* prompts = dynamic_cast<QtPrompts*>(state.ports.prompts);
    return prompts && prompts->ActivationIsOurs();
}
