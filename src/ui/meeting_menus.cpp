#include "ui/meeting_menus.h"

#include <QMenuBar>

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
    QMenu* menu = bar->addMenu(u"&Meeting"_s);
    menu->setObjectName(u"mnuMeeting"_s);
    QAction* login = Entry(menu, "mnuLogin", u"&New Meeting..."_s);
    menu->addSeparator();
    QAction* preferences = Entry(menu, "mnuPreferences", QObject::tr("&Preferences..."));
    menu->addSeparator();
    return {login, preferences, Entry(menu, "mnuExit", u"E&xit"_s)};
}

QAction* AddHelpMenu(QMenuBar* bar)
{
    QMenu* menu = bar->addMenu(u"&Help"_s);
    menu->setObjectName(u"mnuHelp"_s);
    return Entry(menu, "mnuAbout", u"About Quorvia..."_s);
}
