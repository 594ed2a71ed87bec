#pragma once
// What the own hand does on the shared board, and what the service says of it, with the process state around
// it. User-interface thread only.

#include "base/process_state.h"
#include "whiteboard/shared_board.h"

/// gShared, of the meeting window's board and gWBBuffer.
SharedBoard& SharedOf(ProcessState& state);
/// Before something own is drawn.
void BeginOwn(ProcessState& state);
/// After it was drawn and handed over, with what LastBoardPost said before that. Where the service gives no
/// places, it counts as it stands, and no entry is saved.
void AddOwn(ProcessState& state, const MarkPtr& mark, quint64 postBefore);
/// A mark of the own hand, of now.
MarkPtr OwnMark(const ProcessState& state, const QString& record, const PicturePtr& picture = nullptr,
                QPoint at = {});
/// A mark of somebody else's, of when the event that is being delivered happened.
MarkPtr MarkOf(const ProcessState& state, const QString& from, const QString& record,
               const PicturePtr& picture = nullptr, QPoint at = {});

/// Whoever keeps the meeting hears of marks as the log has them: of own ones when they get their place.
void TellSink(ProcessState& state, const MarkPtr& mark);

/// The handle as the others know it: own work of an earlier stay comes under a name of its own.
QString WithoutEarlier(const QString& handle);
/// Status text of somebody else's change; while own work waits for its place, that is the last one.
void NoteChange(ProcessState& state, const QString& from, const QDateTime& when);
/// The Undo and Redo buttons as the history stands.
void ShowSteps(ProcessState& state);
/// Everything that is known is drawn; for whoever looks at the board's pixels.
void SettleBoard(ProcessState& state);

/// MessengerEvents' own posts.
void BoardBegins(ProcessState& state, quint64 ownUpTo);
enum class OwnFate { Placed, Passed, Lost, AllPlaced };
void OwnBecame(ProcessState& state, OwnFate fate, quint64 post);
