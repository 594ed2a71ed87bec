#pragma once
// Main: from the process start to the open meeting window.

#include <functional>
#include <memory>

#include "base/meeting_screens.h"
#include "base/process_state.h"

/// What Main puts together, as functions, so that it can be followed without windows and without a network.
struct MainParts {
    std::function<std::unique_ptr<MessengerService>()> makeMessenger;
    std::function<void()> showSplash;    // shown and painted
    std::function<void()> unloadSplash;  // harmless when it has gone already
    std::function<bool()> loginUser;     // LoginUser(False, "", "")
    std::function<MeetingScreens*()> makeMeeting;
    std::function<void()> endProgram;
    std::function<void()> startFailed;  // from now on the process ends with a code that says so
};

/// Returns once the meeting window is shown; ends the process when the user gave up or something failed.
void Main(ProcessState& state, const MainParts& parts);
