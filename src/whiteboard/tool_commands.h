#pragma once
// What happens when a button of the toolbar or an entry of the Tools menu is chosen. User-interface thread
// only.

#include <QString>

struct ProcessState;
enum class ToolKey;

/// The one handler of every command. An error ends it; it goes to the event log and nowhere else. Whatever
/// happens, the toolbar shows WhiteboardTools as it stands afterwards.
void tool_ButtonClick(ProcessState& state, ToolKey key);
/// A drop-down entry of `parent`: "Pen", "Line", "Point", the name of a shape, or "Font".
/// Trapped: "tool_ButtonMenuClick: ".
void tool_ButtonMenuClick(ProcessState& state, ToolKey parent, const QString& key);
/// The font dialog, then the Text tool.
void SelectTextFont(ProcessState& state);

/// All that `whose` has drawn goes from everybody's board, where the user may say so. Trapped:
/// "mnuTakeBack_Click: ".
void mnuTakeBack_Click(ProcessState& state, const QString& whose);
/// Trapped: "mnuSaveFile_Click: ". Writes the history's current entry as BMP, whatever the name ends in.
void mnuSaveFile_Click(ProcessState& state);
/// Trapped: "mnuCopy_Click: ".
void mnuCopy_Click(ProcessState& state);
