#pragma once

#include "base/process_state.h"

/// The one way out. Says goodbye to the service, lets a clipboard manager take what we put on the clipboard,
/// and ends the process; no destructor runs, no window hears of it. 2 s at most.
class QtEndProcess final : public EndProcess {
public:
    explicit QtEndProcess(ProcessState& state) : mState(state) {}
    [[noreturn]] void Now() override;
    /// What the process returns; 0 unless the start failed.
    void SetCode(int code) { mCode = code; }

private:
    ProcessState& mState;
    int mCode = 0;
};
