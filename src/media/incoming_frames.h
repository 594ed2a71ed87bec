#pragma once
// Pictures from others, painted on the board where their sender put them. User-interface thread only.

#include <QString>

#include "base/process_state.h"

/// The handle without the whiteboard prefix, whatever the frame's type.
QString WithoutWhiteboardPrefix(const QString& fromHandle);

/// The body of the window's handler of that name: wipes the sender's previous frame of the same kind, paints
/// this one; a whiteboard picture updates the status and enters the history. A null frame does nothing.
void mZUM_VideoFrame(ProcessState& state, const QString& fromHandle, const PicturePtr& frame, int x, int y,
                     qint32 frameType);
