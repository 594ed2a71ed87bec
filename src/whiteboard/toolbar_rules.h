#pragma once
// The toolbar's rules: they change WhiteboardTools and nothing else. User-interface thread only.

#include <QString>

#include "whiteboard/board_screen.h"
#include "whiteboard/whiteboard_tools.h"

struct CursorChoice {
    BoardCursor cursor = BoardCursor::Default;
    QString icon;
    bool operator==(const CursorChoice&) const = default;
};

/// The pointer over the board while `key` is selected.
CursorChoice CursorFor(ToolKey key, DrawTool drawTool);
/// The six plain buttons up.
void ReleasePlainButtons(WhiteboardTools& tools);
/// Before a plain tool is prepared: plain buttons up, a mode's button down exactly while the mode runs, plain
/// check marks off.
void BeginPlainTool(WhiteboardTools& tools, bool videoOn, bool appShareOn);
/// Once it is prepared: it is selected, its button down, its entry checked.
void FinishTool(WhiteboardTools& tools, ToolKey key);
/// A mode ended or was not armed: its button up, its mark off, and it is selected no more. True: it was.
bool DropMode(WhiteboardTools& tools, ToolKey mode);
/// What the Undo and Redo buttons may do at this place in the history.
void SetSteps(WhiteboardTools& tools, int index, int count);
/// Counts an undo or redo record of somebody else. The first three in a row wait a second each, the fourth
/// and all behind it share one; what is caught up with waits for nothing. True: wait.
bool RemoteStepWaits(WhiteboardTools& tools, std::chrono::steady_clock::time_point now);
