#pragma once
// The one error reporter, and the trace.

#include <QJsonObject>
#include <QString>

#include "base/process_state.h"

/// Writes `message` to the event log and, with `show`, shows it in a box that says
/// "Quorvia Critical Error: " and the message. Each step runs although the one before failed; never throws.
/// While a received record is applied, or `cause` says so, the box does not hold the window.
void ReportCriticalError(ProcessState& state, const QString& message, EventType type = EventType::Error,
                         bool show = true, Cause cause = Cause::Local);

/// One line in the trace, when there is one. Never throws.
void TraceEvent(ProcessState& state, const char* event, const QJsonObject& fields = {});

/// One line in the event log, when there is one. Never throws.
void LogEvent(ProcessState& state, EventType type, const QString& message);
