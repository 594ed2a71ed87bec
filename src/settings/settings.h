#pragma once
// Reading and writing the settings store by section and key.

#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

#include "base/process_state.h"
#include "platform/registry_file.h"
#include "settings/keys.h"

/// Where a value stands in the store.
struct SettingPlace {
    QString path, name;
};
SettingPlace PlaceOf(const ProcessState& state, const SettingKey& key);
SettingPlace LegacyPlaceOf(const SettingKey& key);
/// A number value reads as its decimal text; types without a text form read as "".
QString TextOf(const RegValue& value);

/// The stored text, or `fallback` when it is missing or empty. Looks under the legacy location once when the
/// value does not exist. Never throws.
QString GetSetting(ProcessState& state, const QString& section, const QString& key,
                   const std::optional<QString>& fallback, Scoped scoped, const QString& application);
/// The stored text alone, "" when there is none; looks where GetSetting looks. Throws std::runtime_error when
/// the store cannot be read.
QString StoredSetting(ProcessState& state, const QString& section, const QString& key, Scoped scoped,
                      const QString& application);
/// Stores a text value. A failure is reported: "SaveSetting: Section/Key=Value(description)".
void SaveSetting(ProcessState& state, const QString& section, const QString& key, const QString& value,
                 Scoped scoped, const QString& application);

/// The same by the key table, which knows section, scope, application and default.
QString GetSetting(ProcessState& state, const SettingKey& key);
void SaveSetting(ProcessState& state, const SettingKey& key, const QString& value);

/// An on/off setting by the rule of its key; none: the text is no Boolean.
std::optional<bool> ReadFlag(const FlagKey& key, const QString& text);
/// The same of the stored text; what is no Boolean is the default, and the event log says so.
bool FlagSetting(ProcessState& state, const FlagKey& key);
QString GetSetting(ProcessState& state, const FlagKey& key) = delete;

/// A number setting: text that is no number gives the leading number, as everywhere; missing gives the
/// default.
double NumberSetting(ProcessState& state, const SettingKey& key);

/// Path of a shell special folder, "" on failure.
QString GetSpecialFolderPath(ProcessState& state, int folderId);
