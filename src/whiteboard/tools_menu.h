#pragma once
// mnuTools: the entries that mirror the toolbar; also the board's context menu.

#include <QMenu>
#include <map>

#include "whiteboard/whiteboard_tools.h"

struct ProcessState;

class ToolsMenu final : public QMenu {
public:
    ToolsMenu(ProcessState& state, QWidget* parent);
    /// Check marks as `tools` says; clicking an entry never changes one by itself.
    void ShowChecks(const WhiteboardTools& tools);

private:
    QAction* Add(const char* name, const QString& caption);
    void AddTool(ToolKey key, const QString& caption);

    ProcessState& mState;
    std::map<ToolKey, QAction*> mMarks;
};
