#include "whiteboard/tools_menu.h"

#include "base/meeting_screens.h"
#include "base/process_state.h"
#include "text/words.h"
#include "whiteboard/tool_commands.h"
#include "whiteboard/toolbar_screen.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

ToolsMenu::ToolsMenu(ProcessState& state, QWidget* parent)
    : QMenu(Defined::tr("&Tools"), parent), mState(state)
{
    setObjectName(u"mnuTools"_s);
    CloseWhenPressed(*this);
    const auto command = [this](const char* name, const QString& caption, ToolKey key) {
        connect(Add(name, caption), &QAction::triggered, this,
                [this, key] { tool_ButtonClick(mState, key); });
    };
    command("mnuClear", Defined::tr("C&lear Whiteboard"), ToolKey::Clear);
    AddTool(ToolKey::Erase, Defined::tr("&Erase Tool"));
    AddTool(ToolKey::Draw, Defined::tr("&Draw Tool"));
    AddTool(ToolKey::Shape, Defined::tr("&Shape Tool"));
    AddTool(ToolKey::Text, Defined::tr("&Text Tool"));
    AddTool(ToolKey::Paste, Defined::tr("&Paste Tool"));
    AddTool(ToolKey::App, Defined::tr("&App Tool"));
    AddTool(ToolKey::Video, Defined::tr("&Video Tool"));
    AddTool(ToolKey::File, Defined::tr("&File Tool"));
    addSeparator();
    connect(Add("mnuFont", Defined::tr("Select &Font...")), &QAction::triggered, this,
            [this] { tool_ButtonMenuClick(mState, ToolKey::Text, u"Font"_s); });
    addSeparator();
    command("mnuUndo", Defined::tr("&Undo"), ToolKey::Undo);
    command("mnuRedo", Defined::tr("&Redo"), ToolKey::Redo);
    addSeparator();
    connect(Add("mnuSaveFile", Defined::tr("&Save to File...")), &QAction::triggered, this,
            [this] { mnuSaveFile_Click(mState); });
    connect(Add("mnuCopy", Defined::tr("&Copy to Clipboard")), &QAction::triggered, this,
            [this] { mnuCopy_Click(mState); });
}

QAction* ToolsMenu::Add(const char* name, const QString& caption)
{
    QAction* action = addAction(caption);
    action->setObjectName(QLatin1String(name));
    return action;
}

void ToolsMenu::AddTool(ToolKey key, const QString& caption)
{
    QAction* action = Add(qPrintable(u"mnu"_s + ToolName(key)), caption);
    action->setCheckable(true);
    mMarks[key] = action;
    const bool indicatorOnly = key == ToolKey::App || key == ToolKey::Video;
    connect(action, &QAction::triggered, this, [this, key, indicatorOnly] {
        if (indicatorOnly)
            mState.gMeetingForm->Toolbar().ShowTools();  // the click has flipped its mark
        else
            tool_ButtonClick(mState, key);
    });
}

void ToolsMenu::ShowChecks(const WhiteboardTools& tools)
{
    for (const auto& [key, action] : mMarks) action->setChecked(tools.IsChecked(key));
}
