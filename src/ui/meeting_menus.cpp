#include "ui/meeting_menus.h"

#include <QMenuBar>

#include "text/words.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

QAction* Entry(QMenu* menu, const char* name, const QString& caption)
{
    QAction* entry = menu->addAction(caption);
    entry->setObjectName(QLatin1String(name));
    entry->setMenuRole(QAction::NoRole);
    return entry;
}

}  // namespace

MeetingMenu AddMeetingMenu(QMenuBar* bar)
{
    QMenu* menu = bar->addMenu(Defined::tr("&Meeting"));
    menu->setObjectName(u"mnuMeeting"_s);
    CloseWhenPressed(*menu);
    QAction* login = Entry(menu, "mnuLogin", Defined::tr("&New Meeting..."));
    QAction* invite = Entry(menu, "mnuInvite", Ours::tr("Copy &Invitation"));
    QAction* letIn = Entry(menu, "mnuLetIn", Ours::tr("&Let Others In..."));
    QMenu* takeBack = menu->addMenu(Ours::tr("&Take Back From"));
    takeBack->setObjectName(u"mnuTakeBack"_s);
    CloseWhenPressed(*takeBack);
    menu->addSeparator();
    QAction* exporting = Entry(menu, "mnuExport", Ours::tr("&Export..."));
    QAction* replay = Entry(menu, "mnuReplay", Ours::tr("&Replay..."));
    menu->addSeparator();
    QAction* preferences = Entry(menu, "mnuPreferences", Ours::tr("&Preferences..."));
    menu->addSeparator();
    return {login,     invite, letIn,       takeBack,
            exporting, replay, preferences, Entry(menu, "mnuExit", Defined::tr("E&xit"))};
}

QAction* AddHelpMenu(QMenuBar* bar)
{
    QMenu* menu = bar->addMenu(Defined::tr("&Help"));
    menu->setObjectName(u"mnuHelp"_s);
    CloseWhenPressed(*menu);
    return Entry(menu, "mnuAbout", Defined::tr("About Quorvia..."));
}
