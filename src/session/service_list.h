#pragma once
// Lists whose entries have a second, fainter column: codes and where they were, addresses and whose they are.

#include <QString>
#include <map>

class QComboBox;

/// Gives the list of a combo box its second column. The box owns what it takes.
void AddSecondColumn(QComboBox& box);
/// What the second column says of an entry. Plain text, one line.
void SetSecondColumn(QComboBox& box, int entry, const QString& text);

/// Beside each meeting code the service where it was used last.
void ShowServices(QComboBox& codes, const std::map<QString, QString>& services);
