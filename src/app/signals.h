#pragma once

#include <functional>

/// Runs `closeRequested` on the user-interface thread when the system asks the program to end (SIGTERM,
/// SIGINT, SIGHUP). Once a program.
void WhenAskedToEnd(std::function<void()> closeRequested);
