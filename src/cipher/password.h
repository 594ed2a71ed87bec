#pragma once
// The form in which the settings hold a password: obscured under a built-in key, not protected. The store's
// file mode and TLS protect it.

#include <QString>

/// As typed, blanks included. A password with characters outside the code page is stored as one that was
/// lost, so that nobody is let in by the "?" that would stand in their place.
QString EncipherPassword(const QString& password);
/// The password without blanks at its ends; "" for one that was lost.
QString DecipherPassword(const QString& stored);
bool PasswordWasLost(const QString& stored);
