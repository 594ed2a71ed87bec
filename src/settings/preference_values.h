#pragma once
// What the text of a setting comes to, by the rules of whoever reads it, and how a value is stored. Pure.

#include <QString>

#include "settings/preference_rows.h"

/// A text as it would be stored for the same effect.
struct ReadRow {
    QString text;
    bool strange = false;  // the stored text does not say so itself
};

/// `stored`: as StoredSetting gives it; "" is the default.
ReadRow InEffect(const PreferenceRow& row, const QString& stored);
/// "" where the default is none, or is found at run time.
QString DefaultOf(const PreferenceRow& row);

QString FlagText(const PreferenceRow& row, bool on);
bool FlagOn(const PreferenceRow& row, const QString& text);
QString NumberText(const PreferenceRow& row, double number);

/// Why a value that was typed cannot be stored; "": it can. In the user's language.
QString ValueFault(const PreferenceRow& row, const QString& text);

enum class NameFault { None, Empty, TooLong, Characters, Reserved, Taken };
inline constexpr int kLongestConfigName = 64;
/// Whether a configuration may get the name `name` (without blanks at its ends) beside those of `taken`.
NameFault CheckConfigName(const QString& name, const QStringList& taken);
/// In the user's language; "" for None.
QString FaultText(NameFault fault);
