#pragma once
// The chat log: one plain text file for each correspondent.

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include "base/process_state.h"

/// Appends one entry (date and time, tab, line) to the log of `handle` when logging is on. A file above its
/// limit loses its oldest lines first. Failures are reported as "Zephyl Chat Log Error: description".
void AppendChatLog(ProcessState& state, const QString& handle, const QString& line);

// --- the rules beneath it; pure ---

/// The file name for a handle, never reaching outside its folder, never longer than 200 bytes, a different
/// one for each handle. A plain handle (letters, digits, inner blanks, ".", "_", "-") stays as it is.
QString LogFileName(const QString& handle);

/// One entry as it is stored: Windows-1252, one line ended by CR LF. What the code page lacks and every
/// control character stands as a visible escape.
QByteArray LogEntry(const QDateTime& when, const QString& line);

/// What is left of a log above `limit` bytes: everything behind the first line break at or after the position
/// size - limit (from 1); without one everything but the first byte.
QByteArray TrimmedLog(const QByteArray& whole, qint64 limit);
