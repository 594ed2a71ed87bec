#include "settings/settings.h"

#include "base/report.h"
#include "platform/registry_file.h"
#include "settings/reg_text.h"
#include "settings/registry_lists.h"
#include "text/text_rules.h"

using namespace Qt::StringLiterals;

namespace {

const QString kLegacy = u"VB and VBA Program Settings"_s;

/// The store splits a full path at its last "\", so a key with one in its name lies one level deeper.
SettingPlace Split(const QString& below)
{
    const QString full = RegistryPath(RegistryRoot::CurrentUser, u"Software\\"_s + below);
    const qsizetype at = full.lastIndexOf(u'\\');
    return {full.left(at), full.mid(at + 1)};
}

SettingPlace PathOf(const ProcessState& state, const QString& section, const QString& key, Scoped scoped,
                    const QString& application)
{
    const QString config = scoped == Scoped::Yes ? u"\\Configs\\"_s + state.gConfigName : QString();
    return Split(u"Velnor\\"_s + application + config + u'\\' + section + u'\\' + key);
}

SettingPlace LegacyPlace(const QString& section, const QString& key, const QString& application)
{
    return Split(kLegacy + u'\\' + application + u'\\' + section + u'\\' + key);
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

SettingPlace PlaceOf(const ProcessState& state, const SettingKey& key)
{
    return PathOf(state, Name(key.section), Name(key.key), key.scoped, Name(key.application));
}

SettingPlace LegacyPlaceOf(const SettingKey& key)
{
    return LegacyPlace(Name(key.section), Name(key.key), Name(key.application));
}

QString TextOf(const RegValue& value)
{
    if (value.type == RegType::Sz || value.type == RegType::ExpandSz) return DataText(value.data);
    return value.type == RegType::Dword ? QString::number(DataNumber(value.data)) : QString();
}

QString StoredSetting(ProcessState& state, const QString& section, const QString& key, Scoped scoped,
                      const QString& application)
{
    RegistryFile& registry = *state.ports.registry;
    const SettingPlace path = PathOf(state, section, key, scoped, application);
    auto value = registry.Read(path.path, path.name);
    if (!value && !path.path.contains(kLegacy)) {
        const SettingPlace legacy = LegacyPlace(section, key, application);
        value = registry.Read(legacy.path, legacy.name);
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
    const SettingPlace path = PathOf(state, section, key, scoped, application);
    state.ports.registry->WriteText(path.path, path.name, value);
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

std::optional<bool> ReadFlag(const FlagKey& key, const QString& text)
{
    switch (key.rule) {
        case FlagRule::One: return text == u"1"_s;
        case FlagRule::NotZero: return text != u"0"_s;
        case FlagRule::BooleanText: break;
    }
    return BooleanText(text);
}

bool FlagSetting(ProcessState& state, const FlagKey& key)
{
    const QString text = GetSetting(state, static_cast<const SettingKey&>(key));
    if (const auto flag = ReadFlag(key, text)) return *flag;
    LogEvent(state, EventType::Warning,
             u"%1 \"%2\" cannot be used, %3 is used"_s.arg(Name(key.key), text, Name(key.fallback)));
    return ReadFlag(key, Name(key.fallback)).value_or(false);
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
