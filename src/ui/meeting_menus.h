#pragma once
// The window's own menus; the Tools menu between them is the whiteboard's.

class QAction;
class QMenu;
class QMenuBar;

/// "&Meeting". The bar owns everything.
struct MeetingMenu {
    QAction* mnuLogin;
    QAction *mnuInvite, *mnuLetIn;
    QMenu* mnuTakeBack;  // filled when it is needed
    QAction *mnuExport, *mnuReplay;
    QAction* mnuPreferences;
    QAction* mnuExit;
};
MeetingMenu AddMeetingMenu(QMenuBar* bar);

/// "&Help"; returns mnuAbout.
QAction* AddHelpMenu(QMenuBar* bar);
