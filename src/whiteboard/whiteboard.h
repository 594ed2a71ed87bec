#pragma once
// All that the meeting window needs of the whiteboard.
//
// The window makes one Whiteboard on its interior, fills the hooks, places picDraw, tool and the two scroll
// bars, puts mnuTools into its menu bar, and hands picDraw and tool out as its BoardScreen and ToolbarScreen.
// Then LoadTools while it loads, ActivateTools at each activation from outside, SaveTools at a close request,
// HandleWBMessage for each record that arrives.

#include "whiteboard/board_view.h"
#include "whiteboard/history.h"
#include "whiteboard/remote_apply.h"
#include "whiteboard/tool_settings.h"
#include "whiteboard/toolbar_view.h"
#include "whiteboard/tools_menu.h"

struct Whiteboard {
    /// The widgets belong to `interior`.
    Whiteboard(ProcessState& state, QWidget* interior)
        : picDraw(new BoardView(state, interior)),
          tool(new ToolbarView(state, interior)),
          mnuTools(new ToolsMenu(state, interior))
    {
        picDraw->mnuTools = mnuTools;
        tool->mnuTools = mnuTools;
    }

    BoardView* picDraw;
    ToolbarView* tool;
    ToolsMenu* mnuTools;
};
