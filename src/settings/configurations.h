#pragma once
// What the login dialog's two lists offer.

#include <QString>
#include <QStringList>
#include <map>

#include "base/process_state.h"

/// Entries of a combo box in order, and the index of the selected one; -1 for none.
struct Choices {
    QStringList entries;
    int selected = -1;
};

/// "(System Default)" and the named configurations; the current one is selected, else the first. Chooses the
/// default configuration when none is in use yet, and changes nothing otherwise.
Choices LoadConfigList(ProcessState& state);
/// At which service a code was used last, by the code in lower case; "": this computer's own.
std::map<QString, QString> LoadMeetingServices(ProcessState& state);
void SaveMeetingService(ProcessState& state, const QString& code, const QString& service);
/// The meeting codes used so far; the current one is selected if it is among them.
Choices LoadMeetingCodeList(ProcessState& state);
