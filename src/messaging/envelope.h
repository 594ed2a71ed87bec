#pragma once
// The envelope of chat messages: what is logged, enciphered and handed to the service.

#include <QString>
#include <optional>

#include "base/process_state.h"

/// Sends one text to one handle: logged as it was typed, then enciphered when the session says so, then
/// handed over. Nothing happens for an empty handle; a blank text beeps. Failures are reported as
/// "SendZUMMessage: description"; the text is lost then.
void SendZUMMessage(ProcessState& state, const QString& toHandle, const QString& message);

/// The line that the log of `toHandle` gets; none for the board records that are not logged. Pure.
std::optional<QString> LogLine(const QString& ownHandle, const QString& toHandle, const QString& message);
