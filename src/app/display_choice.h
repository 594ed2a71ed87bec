#pragma once
// Which of the toolkit's platforms the program runs on: Wayland where the session has it, X11 elsewhere, and
// what the user says above both.

#include <QString>

struct Displays {
    bool chosen = false;                // by the user: QT_QPA_PLATFORM or -platform
    bool wayland = false, x11 = false;  // named by the environment
    bool waylandAnswers = false;        // somebody is behind its socket
    bool waylandPlugin = false;         // the toolkit's part for it is installed
};

/// What to tell the toolkit, as QT_QPA_PLATFORM; "": nothing. Or a sentence why no window can be opened.
struct DisplayChoice {
    QString platform, whyNot;
};
DisplayChoice ChooseDisplay(const Displays& there);

/// As the environment and `arguments` have it.
Displays DisplaysThere(int argc, char** argv);
