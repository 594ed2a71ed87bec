#include "settings/configurations.h"

#include "settings/registry_lists.h"
#include "settings/settings.h"

using namespace Qt::StringLiterals;

namespace {

/// The whole text, without case, as the store compares names.
int Find(const QStringList& entries, const QString& text)
{
    for (int i = 0; i < entries.size(); ++i)
        if (entries[i].compare(text, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

}  // namespace

Choices LoadConfigList(ProcessState& state)
{
    const QString systemDefault = QString::fromLatin1(keys::kSystemDefault);
    Choices list{{systemDefault}, 0};
    const QString path = u"Software\\Velnor\\Zephyl\\Configs"_s;
    for (const QString& name : EnumRegistryKeys(state, RegistryRoot::CurrentUser, path))
        if (name.compare(systemDefault, Qt::CaseInsensitive) != 0) list.entries += name;
    if (state.gConfigName.isEmpty()) state.gConfigName = GetSetting(state, keys::kDefaultConfig);
    list.selected = std::max(0, Find(list.entries, state.gConfigName));
    return list;
}

Choices LoadMeetingCodeList(ProcessState& state)
{
    Choices list;
    const QString path = u"Software\\Velnor\\Quorvia\\"_s + QString::fromLatin1(keys::kMeetingCodesSection);
    for (const auto& [name, data] : EnumRegistryValues(state, RegistryRoot::CurrentUser, path))
        list.entries += name;
    list.selected = Find(list.entries, state.gMeetingCode);
    return list;
}

std::map<QString, QString> LoadMeetingServices(ProcessState& state)
{
    std::map<QString, QString> services;
    const QString path = u"Software\\Velnor\\Quorvia\\"_s + QString::fromLatin1(keys::kMeetingServices);
    for (const auto& [name, data] : EnumRegistryValues(state, RegistryRoot::CurrentUser, path))
        if (const auto* text = std::get_if<QString>(&data)) services[name.toLower()] = *text;
    return services;
}

void SaveMeetingService(ProcessState& state, const QString& code, const QString& service)
{
    SaveSetting(state, QLatin1String(keys::kMeetingServices), code, service, Scoped::No,
                QLatin1String(keys::kQuorvia));
}
