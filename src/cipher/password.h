#pragma once
// The form in which the settings hold a password: obscured under a built-in key, not protected. The store's
// file mode and TLS protect it.

#include <QString>

/// As typed, blanks included. Characters outside the code page become "?": ask SurvivesCodePage first.
QString EncipherPassword(const QString& password);
/// The password without blanks at its ends.
QString DecipherPassword(const QString& stored);
