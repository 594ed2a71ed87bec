#include "settings/preference_draft.h"

#include "settings/configurations.h"
#include "settings/reg_text.h"
#include "settings/settings.h"

using namespace Qt::StringLiterals;

namespace {

QString ConfigPath(const QString& name)
{
    return u"HKEY_CURRENT_USER\\Software\\Velnor\\Zephyl\\Configs\\"_s + name;
}

/// Where keys of services are remembered: ours first, then the legacy one.
QStringList TrustPlaces()
{
    const SettingKey any{keys::kTrustedServices, "x", nullptr, Scoped::No};
    return {PlaceOf(ProcessState(), any).path, LegacyPlaceOf(any).path};
}

QString Owner(const QString& config, const SettingKey& key)
{
    return key.scoped == Scoped::Yes ? config : QString();
}

}  // namespace

PreferenceDraft::PreferenceDraft(ProcessState& state, bool inMeeting) : mState(state), mInMeeting(inMeeting)
{
    Load();
}

void PreferenceDraft::Load()
{
    mBase = TextRegistry(mState.ports.registry->Snapshot());
    mEdits.clear();
    mValues.clear();
    ProcessState view;
    view.ports.registry = &mBase;
    view.gConfigName = mState.gConfigName;
    LoadConfigList(view);  // chooses the default one when none is in use yet
    mCurrent = view.gConfigName;
}

QStringList PreferenceDraft::Configs() const
{
    ProcessState view;
    view.ports.registry = &mBase;
    view.gConfigName = mCurrent;
    QStringList names = LoadConfigList(view).entries;
    if (!names.contains(mCurrent, Qt::CaseInsensitive)) names += mCurrent;
    return names;
}

/// What the store says, "" for nothing.
QString PreferenceDraft::Raw(const QString& config, const SettingKey& key) const
{
    ProcessState view;
    view.ports.registry = &mBase;
    view.gConfigName = config;
    return StoredSetting(view, QLatin1String(key.section), QLatin1String(key.key), key.scoped,
                         QLatin1String(key.application));
}

ShownSetting PreferenceDraft::Show(const QString& config, const PreferenceRow& row) const
{
    const auto changed = mValues.find({Owner(config, *row.key), row.key});
    if (changed != mValues.end()) {
        const QString text = changed->second.isEmpty() ? DefaultOf(row) : changed->second;
        return {text, {}, text == DefaultOf(row), true};
    }
    const QString raw = Raw(config, *row.key);
    const ReadRow read = InEffect(row, raw);
    return {read.text, read.strange ? raw : QString(), read.text == DefaultOf(row) && !read.strange};
}

void PreferenceDraft::Set(const QString& config, const PreferenceRow& row, const QString& text)
{
    const Value value{Owner(config, *row.key), row.key};
    mValues.erase(value);
    if (Show(config, row).text != InEffect(row, text).text) mValues[value] = text;
}

void PreferenceDraft::Reset(const QString& config, const PreferenceRow& row)
{
    const Value value{Owner(config, *row.key), row.key};
    mValues.erase(value);
    if (!Show(config, row).isDefault) mValues[value] = DefaultOf(row);
}

/// A step that concerns configurations: at once here, later in the store.
void PreferenceDraft::Keep(const RegEdit& edit)
{
    mBase.Change({edit});
    mEdits.push_back(edit);
}

void PreferenceDraft::AddConfig(const QString& name)
{
    Keep({RegEdit::Kind::AddKey, ConfigPath(name)});
}

void PreferenceDraft::CopyConfig(const QString& from, const QString& to)
{
    Keep({.kind = RegEdit::Kind::CopyKey, .keyPath = ConfigPath(from), .to = ConfigPath(to)});
    std::map<Value, QString> copied;
    for (const auto& [value, text] : mValues)
        if (SameName(value.first, from)) copied[{to, value.second}] = text;
    mValues.merge(copied);
}

void PreferenceDraft::RenameConfig(const QString& from, const QString& to)
{
    Keep({.kind = RegEdit::Kind::MoveKey, .keyPath = ConfigPath(from), .to = ConfigPath(to)});
    std::map<Value, QString> values;
    for (const auto& [value, text] : mValues)
        values[{SameName(value.first, from) ? to : value.first, value.second}] = text;
    mValues = std::move(values);
    LetFollow(from, to);
}

/// What names a configuration names another one from now on.
void PreferenceDraft::LetFollow(const QString& from, const QString& to)
{
    const SettingPlace at = PlaceOf(mState, keys::kDefaultConfig);
    Keep({RegEdit::Kind::ReplaceText, at.path, at.name, to, from});
    const Value chosen{QString(), &keys::kDefaultConfig};
    const auto changed = mValues.find(chosen);
    const QString named = changed == mValues.end() ? Raw(QString(), keys::kDefaultConfig) : changed->second;
    if (SameName(named, from)) mValues[chosen] = to;  // chosen here, or at the legacy place
    if (SameName(mCurrent, from)) mCurrent = to;
}

RemoveFault PreferenceDraft::MayRemove(const QString& name) const
{
    if (SameName(name, QLatin1String(keys::kSystemDefault))) return RemoveFault::AlwaysThere;
    return mInMeeting && SameName(name, mCurrent) ? RemoveFault::InUse : RemoveFault::None;
}

void PreferenceDraft::RemoveConfig(const QString& name)
{
    Keep({RegEdit::Kind::RemoveKey, ConfigPath(name)});
    std::erase_if(mValues, [&](const auto& value) { return SameName(value.first.first, name); });
    LetFollow(name, QLatin1String(keys::kSystemDefault));
}

QStringList PreferenceDraft::TrustedServices() const
{
    QStringList services;
    for (const RegValue& value : mBase.Values(TrustPlaces().front())) services += value.name;
    return services;
}

void PreferenceDraft::ForgetService(const QString& service)
{
    for (const QString& place : TrustPlaces()) Keep({RegEdit::Kind::RemoveValue, place, service});
}

std::optional<PreferenceDraft::Fault> PreferenceDraft::FirstFault() const
{
    for (const auto& [value, text] : mValues)
        for (const PreferenceRow& row : PreferenceRows())
            if (row.key == value.second && !ValueFault(row, text).isEmpty()) return Fault{value.first, &row};
    return std::nullopt;
}

std::vector<RegEdit> PreferenceDraft::Edits() const
{
    std::vector<RegEdit> edits = mEdits;
    for (const auto& [value, text] : mValues) {
        ProcessState view;
        view.gConfigName = value.first;
        const SettingPlace at = PlaceOf(view, *value.second);
        edits.push_back({RegEdit::Kind::SetText, at.path, at.name, text});
    }
    return edits;
}

Stored PreferenceDraft::Store()
{
    const std::vector<RegEdit> edits = Edits();
    mState.ports.registry->Change(edits);
    Stored stored{{}, mCurrent != mState.gConfigName};
    for (const auto& [value, text] : mValues)
        if (value.first.isEmpty() || SameName(value.first, mCurrent)) stored.inUse.insert(value.second);
    mState.gConfigName = mCurrent;
    Load();
    return stored;
}
