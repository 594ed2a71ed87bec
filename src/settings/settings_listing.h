#pragma once
// What is in effect and from where, for people whose setting does nothing.

#include <QStringList>

#include "base/process_state.h"

/// Lines of text: every key of the table with its value and its place, then what stands in the store and is
/// not read, and why. Secrets are not shown. The configuration is gConfigName. Throws std::runtime_error when
/// the store cannot be read.
QStringList ListSettings(ProcessState& state);
