#pragma once
// tool: the toolbar above the board, with framePalette and frameLineWidth in its gaps. It shows
// WhiteboardTools and calls tool_ButtonClick; what a command does stands in tool_commands.h.

#include <QPointer>
#include <QWidget>
#include <array>
#include <map>
#include <vector>

#include "whiteboard/toolbar_screen.h"
#include "whiteboard/whiteboard_tools.h"

struct ProcessState;
class ColourBox;
class WidthBox;
class ToolsMenu;
class QAbstractButton;
class QBoxLayout;
class QToolButton;

class ToolbarView final : public QWidget, public ToolbarScreen {
public:
    ToolbarView(ProcessState& state, QWidget* parent);

    std::array<ColourBox*, 16> picSelColor;
    std::array<WidthBox*, 4> picLineWidth;
    QPointer<ToolsMenu> mnuTools;  // shows its check marks from here

    QToolButton* Button(ToolKey key) const { return mButtons.at(key); }

    WhiteboardTools& Tools() override { return mTools; }
    void ShowTools() override;
    void Refresh() override { repaint(); }

protected:
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct ButtonRow;
    void AddButton(QBoxLayout& row, const ButtonRow& button);
    void FitCaptions();
    void AddEntries(QToolButton& button, const ButtonRow& row);
    QWidget* MakePalette();
    QWidget* MakeWidths();
    void ShowIcons();
    void ShowEnabled();
    /// Arrows go along the toolbar; up and down change the palette's row. Null: nowhere to go.
    QWidget* Neighbour(QWidget* from, int key) const;
    void FocusItem(QWidget* item);

    ProcessState& mState;
    WhiteboardTools mTools;
    std::map<ToolKey, QToolButton*> mButtons;
    std::vector<QWidget*> mItems;  // in the order of the arrows
    QPointer<QWidget> mFocusBefore;
    QString mDrawShown, mShapeShown;
};
