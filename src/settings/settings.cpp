#include "settings/settings.h"

#include "base/report.h"
#include "base/text_rules.h"
#include "platform/registry_file.h"
#include "settings/reg_text.h"
#include "settings/registry_lists.h"

using namespace Qt::StringLiterals;

namespace {

const QString kLegacy = u"VB and VBA Program Settings"_s;

struct ValuePath {
    QString key, name;
};

/// The store splits a full path at its last "\", so a key with one in its name lies one level deeper.
ValuePath Split(const QString& below)
{
    const QString full = RegistryPath(RegistryRoot::CurrentUser, u"Software\\"_s + below);
    const qsizetype at = full.lastIndexOf(u'\\');
    return {full.left(at), full.mid(at + 1)};
}

ValuePath PathOf(const ProcessState& state, const QString& section, const QString& key, Scoped scoped,
                 const QString& application)
{
    const QString config = scoped == Scoped::Yes ? u"\\Configs\\"_s + state.gConfigName : QString();
    return Split(u"Velnor\\"_s + application + config + u'\\' + section + u'\\' + key);
}

/// A number value reads as its decimal text; types without a text form read as "".
QString TextOf(const RegValue& value)
{
    if (value.type == RegType::Sz || value.type == RegType::ExpandSz) return DataText(value.data);
    return value.type == RegType::Dword ? QString::number(DataNumber(value.data)) : QString();
}

QString Name(const char* text)
{
    return QString::fromLatin1(text);
}

std::optional<QString> Fallback(const SettingKey& key)
{
    return key.fallback ? std::optional(Name(key.fallback)) : std::nullopt;
}

}  // namespace

QString StoredSetting(ProcessState& state, const QString& section, const QString& key, Scoped scoped,
                      const QString& application)
{
    RegistryFile& registry = *state.ports.registry;
    const ValuePath path = PathOf(state, section, key, scoped, application);
    auto value = registry.Read(path.key, path.name);
    if (!value && !path.key.contains(kLegacy)) {
        const ValuePath legacy = Split(kLegacy + u'\\' + application + u'\\' + section + u'\\' + key);
        value = registry.Read(legacy.key, legacy.name);
    }
    return value ? TextOf(*value) : QString();
}

QString GetSetting(ProcessState& state, const QString& section, const QString& key,
                   const std::optional<QString>& fallback, Scoped scoped, const QString& application)
{
    QString text;
    try {
        text = StoredSetting(state, section, key, scoped, application);
    } catch (const std::exception& e) {
        LogEvent(state, EventType::Warning, u"GetSetting: "_s + QString::fromUtf8(e.what()));
    }
    return text.isEmpty() ? fallback.value_or(QString()) : text;
}

void SaveSetting(ProcessState& state, const QString& section, const QString& key, const QString& value,
                 Scoped scoped, const QString& application)
try {
    const ValuePath path = PathOf(state, section, key, scoped, application);
    state.ports.registry->WriteText(path.key, path.name, value);
} catch (const std::exception& e) {
    ReportCriticalError(state, u"SaveSetting: "_s + section + u'/' + key + u'=' + value + u'(' +
                                   QString::fromUtf8(e.what()) + u')');
}

QString GetSetting(ProcessState& state, const SettingKey& key)
{
    return GetSetting(state, Name(key.section), Name(key.key), Fallback(key), key.scoped,
                      Name(key.application));
}

void SaveSetting(ProcessState& state, const SettingKey& key, const QString& value)
{
    SaveSetting(state, Name(key.section), Name(key.key), value, key.scoped, Name(key.application));
}

double NumberSetting(ProcessState& state, const SettingKey& key)
{
    return LeadingNumber(GetSetting(state, key));
}

QString GetSpecialFolderPath(ProcessState& state, int folderId)
try {
    return TrimAtNull(state.ports.folders->Special(folderId));
} catch (const std::exception&) {
    return QString();
}
