#pragma once
// What the toolbar's rules need of its view, and through it the Tools menu. User-interface thread only.

struct WhiteboardTools;

class ToolbarScreen {
public:
    virtual ~ToolbarScreen() = default;
    /// The selected tool, sub-tools, colour, width, font: everything the toolbar and the menu show.
    virtual WhiteboardTools& Tools() = 0;
    /// Shows Tools() as it stands: pressed and enabled buttons, check marks, captions, borders.
    virtual void ShowTools() = 0;
    /// Paints now what ShowTools changed.
    virtual void Refresh() = 0;
};
