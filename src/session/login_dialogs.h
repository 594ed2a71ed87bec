#pragma once
// Shows frmLogin through the prompts, a fresh one each time.

#include "session/meeting_entry.h"

class LoginDialogs final : public LoginScreen {
public:
    explicit LoginDialogs(ProcessState& state) : mState(state) {}
    void Show(const QString& caption, Modality modality) override;

private:
    ProcessState& mState;
};
