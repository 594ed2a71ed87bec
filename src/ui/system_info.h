#pragma once
// Which system-information viewer a computer has. No window.

#include <QStringList>
#include <functional>
#include <vector>

#include "base/process_state.h"

struct ProgramStart {
    QString program;
    QStringList arguments;
};

/// Reads one text value; "" and false when the key or the value is missing, or the store cannot be read.
/// `keyName` is below the machine's root of the store.
bool GetKeyValue(ProcessState& state, const QString& keyName, const QString& subKeyRef, QString& keyVal);

/// What to try, best first: the program named in the store, the one in the folder named there, then the
/// desktop's own. `onPath` gives the place of a program, "" when there is none of that name.
std::vector<ProgramStart> SystemInfoPrograms(ProcessState& state,
                                             const std::function<QString(const QString&)>& onPath);
