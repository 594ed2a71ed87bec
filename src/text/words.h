#pragma once
// What the program says, in the user's language. Arguments go in by arg(), behind the translation. What goes
// over the wire, into the event log, the settings, the chat log or a terminal is not said here: it stays
// English.

#include <QCoreApplication>

/// Ours::tr("..."): texts that follow the desktop's language by themselves.
struct Ours {
    Q_DECLARE_TR_FUNCTIONS(Ours)
};
/// Defined::tr("..."): menus, captions and boxes that are the same for everybody. They stay English unless
/// the setting "Language" asks for another one (see app/language.h).
struct Defined {
    Q_DECLARE_TR_FUNCTIONS(Defined)
};
