#include "ui/take_back_menu.h"

#include <QMenu>

#include "base/error_trap.h"
#include "base/process_state.h"
#include "text/qt_line.h"
#include "whiteboard/own_work.h"
#include "whiteboard/take_back.h"
#include "whiteboard/tool_commands.h"

namespace {

/// A handle as it is, not as an access key.
QString Caption(const QString& handle)
{
    return InSentence(handle).replace(u'&', QLatin1String("&&"));
}

void Fill(ProcessState& state, QMenu& menu)
{
    menu.clear();
    const bool may = state.gMessenger && state.gMessenger->StartedMeeting();
    for (const QString& author : may ? AuthorsOf(SharedOf(state).History().Marks()) : QStringList()) {
        QAction* entry = menu.addAction(Caption(author));
        entry->setObjectName(QLatin1String("mnuTakeBackFrom_") + author);
        QObject::connect(entry, &QAction::triggered, &menu,
                         [&state, author] { mnuTakeBack_Click(state, author); });
    }
    menu.menuAction()->setEnabled(!menu.isEmpty());
}

}  // namespace

void KeepTakeBackMenu(ProcessState& state, QMenu& menu, const QMenu& around)
{
    menu.menuAction()->setEnabled(false);
    QObject::connect(&around, &QMenu::aboutToShow, &menu,
                     [&state, &menu] { Silently(state, "mnuTakeBack", [&] { Fill(state, menu); }); });
}
