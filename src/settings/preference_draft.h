#pragma once
// The settings as "Preferences" has them before they are stored: read once, changed in memory, then written
// in one step, the changed values alone. User-interface thread only.

#include <QByteArray>
#include <map>
#include <set>

#include "base/process_state.h"
#include "settings/preference_values.h"
#include "settings/text_registry.h"

/// One row as it is to be shown.
struct ShownSetting {
    QString text;           // what is in effect, as it would be stored
    QString stranger = {};  // what the store says instead where that means something else; "": nothing
    bool isDefault = false;
    bool changed = false;  // here, and not stored yet
};

enum class RemoveFault { None, InUse, AlwaysThere };

/// What Store has written.
struct Stored {
    std::set<const SettingKey*> inUse;  // of the configuration in use, and those of none
    bool currentRenamed = false;        // gConfigName is its new name
};

class PreferenceDraft {
public:
    /// `inMeeting`: then gConfigName is in use and stays. Throws std::runtime_error when the store cannot be
    /// read.
    PreferenceDraft(ProcessState& state, bool inMeeting);

    /// Names, "(System Default)" first; the one that gConfigName meant is always among them.
    QStringList Configs() const;
    /// What gConfigName means, under its new name when it has been renamed here.
    const QString& Current() const { return mCurrent; }

    ShownSetting Show(const QString& config, const PreferenceRow& row) const;
    /// Back to what is stored is no change.
    void Set(const QString& config, const PreferenceRow& row, const QString& text);
    /// Also takes the place of a stored text that only comes to the default.
    void Reset(const QString& config, const PreferenceRow& row);

    /// The names must have been checked: CheckConfigName beside Configs().
    void AddConfig(const QString& name);
    void CopyConfig(const QString& from, const QString& to);
    void RenameConfig(const QString& from, const QString& to);
    RemoveFault MayRemove(const QString& name) const;
    void RemoveConfig(const QString& name);

    /// Services whose key is remembered, as they were named at login.
    QStringList TrustedServices() const;
    void ForgetService(const QString& service);

    /// The first of the changed values that cannot be stored (ValueFault).
    struct Fault {
        QString config;
        const PreferenceRow* row;
    };
    std::optional<Fault> FirstFault() const;

    bool Changed() const { return !mEdits.empty() || !mValues.empty(); }
    /// Writes what was changed, all or nothing, and reads the store anew. Throws std::runtime_error, and then
    /// the draft stays as it is.
    Stored Store();

private:
    using Value = std::pair<QString, const SettingKey*>;  // configuration ("": of none) and key

    void Load();
    void Keep(const RegEdit& edit);
    void LetFollow(const QString& from, const QString& to);
    QString Raw(const QString& config, const SettingKey& key) const;
    std::vector<RegEdit> Edits() const;

    ProcessState& mState;
    const bool mInMeeting;
    QString mCurrent;
    mutable TextRegistry mBase;        // the store, with the configurations as they are here
    std::vector<RegEdit> mEdits;       // of configurations, in order
    std::map<Value, QString> mValues;  // changed values; written behind those
};
