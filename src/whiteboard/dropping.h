#pragma once
// Pictures dropped on the board. User-interface thread only.

#include "whiteboard/records.h"

class QMimeData;
struct ProcessState;

/// Whether there may be a picture in it; looks at its types alone.
bool MayHoldPicture(const QMimeData& data);
/// Places the files or the picture in `data` with the first one's corner at `at`, on the way of Paste and
/// File; no tool is chosen or put away. Says in the last panel what could not be placed. Trapped:
/// "picDraw_Drop: ".
void picDraw_Drop(ProcessState& state, const QMimeData& data, BoardPoint at);
