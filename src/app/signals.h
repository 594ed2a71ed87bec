#pragma once

#include <functional>

/// Keeps SIGTERM, SIGINT and SIGHUP from ending the program by themselves. Before anything that starts
/// threads, the toolkit's application included: a thread that does not hold them back would be ended by them,
/// and the program with it.
void HoldEndSignals();

/// Runs `closeRequested` on the user-interface thread when one of them comes. Once a program, behind
/// HoldEndSignals and with an application.
void WhenAskedToEnd(std::function<void()> closeRequested);
