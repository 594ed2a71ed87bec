#pragma once

#include <QString>
#include <QStringList>
#include <optional>

struct Options {
    std::optional<QString> service;  // HOST[:PORT]; given: kept in the chosen configuration
    QString config;                  // "": the default one
    QString invitation;              // "": none; as it was given, well made or not
    QString meetingFile;             // "": none
    QString exportTo;                // a file; not empty: draw the meeting file into it and leave
    QString exportAs;                // "png", "pdf", "svg"; "": by the ending of that
    bool allBoards = false;          // of the history, when exporting
    QString trace;                   // "": none
    bool settings = false;           // print what is in effect and leave
    bool preferences = false;        // show the preferences and leave
    QString helpText;                // not empty: print it and leave
    QString error;                   // not empty: print it and leave with 2
};

/// Reads `quorvia`'s command line; arguments[0] is the program. The toolkit's own options (-platform, …)
/// pass.
Options ReadOptions(const QStringList& arguments);
