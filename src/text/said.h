#pragma once
// What the link and the machine say, in the user's language. They say it in English, because the event log
// and the command line keep it so; windows show what this makes of it.

#include <QString>

/// The same sentence in the user's language, with what it names (handles, addresses, files, a reason of the
/// same kind); what is no known sentence stays as it is.
QString Said(const QString& english);
