#pragma once
// From finished drawing actions to records and pictures for the other attendees. Each procedure is trapped:
// "SendWhiteboard: ", "SendWBMessage: ", "SendWBPic: ". User-interface thread only.

#include <QImage>
#include <QString>

struct ProcessState;

/// Completes, sends and remembers the selected tool's action: a record, the lines of txtText, or the waiting
/// picture; then status text and, unless it was a pointer gesture, a snapshot. Board pixels.
void SendWhiteboard(ProcessState& state, qint16 x1, qint16 y1, qint16 x2, qint16 y2);

/// Places a picture that came without the tools, as they place theirs: drawn, sent and remembered.
/// Trapped as SendWhiteboard is.
void PlacePicture(ProcessState& state, const QImage& picture, qint16 x, qint16 y);

/// Hands one record to every other attendee, in order; the first that fails ends it. With nobody else present
/// the service keeps it for those who come.
void SendWBMessage(ProcessState& state, const QString& message);

/// The same for a picture, as JPEG of the shared encoder's quality. A null picture is none.
void SendWBPic(ProcessState& state, const QImage& picture, qint16 x, qint16 y);

/// The tag of what is no record, in the trace.
inline constexpr char kTakeBackName[] = "TAKEBACK";
/// A line in the trace for a record that was sent or applied: its tag, whose it was and the board's checksum.
void TraceRecord(ProcessState& state, const QString& tag, const QString& from);
