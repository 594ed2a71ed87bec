#pragma once
// What "Preferences" shows of the settings: one row for each key that is not set elsewhere, in pages. A key
// of keys.h with neither a row nor a place among those elsewhere does not compile. Pure.

#include <QString>
#include <span>

#include "settings/keys.h"

enum class PreferencePage { Chat, Drawing, Pictures, Voice, Meeting, Configurations };
inline constexpr int kPreferencePages = 6;

enum class RowKind {
    Flag,
    Number,
    Secret,  // a text that is not shown unless asked for
    Choice,
    Device,  // "", "pattern" or "file:" and a path
    Folder,
    Text,
    FontFamily,
    Colour,         // a number: index into the palette
    LineWidth,      // a number: index into the line widths
    Configuration,  // a configuration's name
};

/// When a change is felt. `Taken` needs somebody who takes it over (ui/preferences/effects.h).
enum class Acts { ReadAnew, Taken, AtCompanionStart, AtNextStart };

/// How the text of a number is meant: which part of it counts, and what is in effect outside the range.
struct NumberRule {
    enum class Part { Whole, Leading };
    enum class Outside { Default, Nearest };
    double lowest = 0, highest = 0;
    Part part = Part::Whole;
    Outside below = Outside::Default, above = Outside::Default;
    int decimals = 0;
    const char* unit = "";           // with a blank in front
    const char* atLowest = nullptr;  // what the lowest number is called
};

struct RowChoice {
    const char* value;
    const char* label;  // null: means what the choice before it means, and is not offered
};

/// Texts are for QCoreApplication::translate in the context "Preferences".
struct PreferenceRow {
    const SettingKey* key;  // a FlagKey for a Flag
    PreferencePage page;
    RowKind kind;
    const char* label;  // with its mnemonic; those of one page differ
    const char* help;
    Acts acts = Acts::ReadAnew;
    NumberRule number = {};
    std::span<const RowChoice> choices = {};
    int longest = 0;  // of a Secret or a Text, in characters
};

/// In the order of the pages.
std::span<const PreferenceRow> PreferenceRows();

/// Keys without a row, and where they are set instead.
struct SetElsewhere {
    const SettingKey* key;
    const char* where;
};
std::span<const SetElsewhere> SettingsElsewhere();

QString PageName(PreferencePage page);
/// What holds for all rows of the page; "" for nothing.
QString PageNote(PreferencePage page);
/// A text of the rows in the user's language.
QString PreferenceText(const char* text);
/// The same without the mark of its mnemonic and without an ending colon.
QString PlainLabel(const PreferenceRow& row);
/// What stands below the control: the help, and when a change acts where that is not at once.
QString HelpOf(const PreferenceRow& row);
/// Whether all words of `search` stand in label, help or key name, in any case. An empty one finds nothing.
bool Finds(const PreferenceRow& row, const QString& search);
bool Finds(const SetElsewhere& key, const QString& search);
