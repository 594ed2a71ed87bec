#include "settings/settings_listing.h"

#include "settings/reg_text.h"
#include "settings/settings.h"
#include "text/qt_line.h"

using namespace Qt::StringLiterals;

namespace {

const QString kRoot = u"HKEY_CURRENT_USER"_s;
const QString kOurs = kRoot + u"\\Software\\Velnor\\"_s;
const QString kLegacyRoot = kRoot + u"\\Software\\VB and VBA Program Settings\\"_s;
constexpr int kDeepest = 32;  // keys below keys

bool IsSecret(const QString& name)
{
    return SameName(name, QLatin1String(keys::kPassword.key)) ||
           SameName(name, QLatin1String(keys::kLocalEncryptionKey.key)) ||
           SameName(name, QLatin1String(keys::kHttpProxy.key));
}

QString Shown(const QString& name, const QString& text)
{
    const QString value = IsSecret(name) && !text.isEmpty() ? u"(not shown)"_s : u'"' + OneLine(text) + u'"';
    return u'"' + OneLine(name) + u"\" = "_s + value;
}

/// Below the part that all of our paths have.
QString Short(const QString& path)
{
    return OneLine(path.startsWith(kOurs, Qt::CaseInsensitive) ? path.mid(kOurs.size()) : path);
}

QString Default(const SettingKey& key)
{
    return QString::fromLatin1(key.fallback ? key.fallback : "");
}

/// Value and source of one key.
QString InEffect(ProcessState& state, const SettingKey& key)
{
    const QString name = QString::fromLatin1(key.key);
    const SettingPlace own = PlaceOf(state, key), legacy = LegacyPlaceOf(key);
    RegistryFile& store = *state.ports.registry;
    SettingPlace place = own;
    auto value = store.Read(own.path, own.name);
    if (!value) {
        place = legacy;
        value = store.Read(legacy.path, legacy.name);
    }
    const QString text = value ? TextOf(*value) : QString();
    if (!text.isEmpty()) return Shown(name, text) + u"  from "_s + Short(place.path);
    const QString why = value ? u"; what "_s + Short(place.path) + u" has is empty"_s : QString();
    return Shown(name, Default(key)) + u"  the default"_s + why;
}

struct Found {
    QString path;
    RegValue value;
};

/// Everything at and below a key.
void Collect(RegistryFile& store, const QString& path, int depth, std::vector<Found>& all)
{
    for (RegValue& value : store.Values(path)) all.push_back({path, std::move(value)});
    if (depth == kDeepest) return;
    for (const QString& name : store.Subkeys(path)) Collect(store, path + u'\\' + name, depth + 1, all);
}

const SettingKey* Known(const QString& section, const QString& name)
{
    for (const SettingKey* key : keys::kAll)
        if (SameName(QLatin1String(key->section), section) && SameName(QLatin1String(key->key), name))
            return key;
    return nullptr;
}

/// Why a value is not read; "" when it is.
QString WhyUnread(ProcessState& state, const Found& found)
{
    const QString section = found.path.section(u'\\', -1);
    for (const auto& [application, kept] : {std::pair(keys::kZephyl, keys::kTrustedServices),
                                            std::pair(keys::kQuorvia, keys::kMeetingCodesSection),
                                            std::pair(keys::kQuorvia, keys::kMeetingServices)})
        if (SameName(found.path, kOurs + QLatin1String(application) + u'\\' + QLatin1String(kept))) return {};
    const SettingKey* const key = Known(section, found.value.name);
    if (!key) return u"there is no such setting"_s;
    const SettingPlace own = PlaceOf(state, *key), legacy = LegacyPlaceOf(*key);
    if (SameName(found.path, own.path)) return {};
    if (SameName(found.path, legacy.path))
        return state.ports.registry->Read(own.path, own.name)
                   ? u"the value in "_s + Short(own.path) + u" goes first"_s
                   : QString();
    const QString configs = kOurs + QLatin1String(keys::kZephyl) + u"\\Configs\\"_s;
    if (key->scoped == Scoped::Yes && found.path.startsWith(configs, Qt::CaseInsensitive))
        return u"it is of another configuration than the one in use"_s;
    return u"it counts only in "_s + Short(own.path);
}

}  // namespace

QStringList ListSettings(ProcessState& state)
{
    QStringList lines{u"Configuration: \""_s + OneLine(state.gConfigName) + u'"', QString(), u"In effect:"_s};
    for (const SettingKey* key : keys::kAll) lines += u"  "_s + InEffect(state, *key);
    std::vector<Found> all;
    Collect(*state.ports.registry, kRoot, 0, all);
    QStringList unread;
    for (const Found& found : all) {
        const QString why = WhyUnread(state, found);
        if (why.isEmpty()) continue;
        unread += u"  "_s + Short(found.path) + u": "_s + Shown(found.value.name, TextOf(found.value)) +
                  u"  "_s + why;
    }
    if (!unread.isEmpty()) lines += QStringList{QString(), u"Not read:"_s} + unread;
    return lines;
}
