#pragma once
// Records of other attendees, applied to this board.

#include <QString>

struct ProcessState;

/// Applies one record that `fromHandle` sent. Own records and texts without a whiteboard tag do nothing. What
/// a damaged record had drawn before its error stays; then "HandleWBMessage: " and the error are reported.
/// Long drawings run in slices between which the window paints; nobody else's event comes in between.
void HandleWBMessage(ProcessState& state, const QString& fromHandle, const QString& message);
/// All that `whose` has drawn goes, because `fromHandle`, who may, has said so.
void HandleTakeBack(ProcessState& state, const QString& fromHandle, const QString& whose);
