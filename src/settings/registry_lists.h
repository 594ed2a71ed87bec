#pragma once
// The two enumerations of the settings store.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <variant>
#include <vector>

#include "base/process_state.h"

enum class RegistryRoot { CurrentUser, LocalMachine };

/// By type: text (several texts of one value with NULs between them), bytes, a number; nothing for other
/// types.
using RegistryData = std::variant<std::monostate, QString, QByteArray, qint32>;

/// Full path of a key below a root; the root itself for an empty path.
QString RegistryPath(RegistryRoot root, const QString& path);

/// Names of the direct subkeys of `path` below `root`, in the store's order; empty on any failure.
QStringList EnumRegistryKeys(ProcessState& state, RegistryRoot root, const QString& path);
/// The values of a key with their data; empty on any failure.
std::vector<std::pair<QString, RegistryData>> EnumRegistryValues(ProcessState& state, RegistryRoot root,
                                                                 const QString& path);
