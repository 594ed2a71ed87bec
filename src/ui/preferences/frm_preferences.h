#pragma once
// "Preferences": the settings that have no control elsewhere, in pages. OK and Apply store, Cancel leaves the
// store as it is. User-interface thread only.

#include <QCoreApplication>
#include <QDialog>
#include <array>
#include <functional>
#include <vector>

#include "settings/preference_draft.h"

class ConfigList;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QScrollArea;
class QStackedWidget;
class SettingRow;
class TrustedList;

class frmPreferences final : public QDialog {
    Q_DECLARE_TR_FUNCTIONS(frmPreferences)
public:
    /// What happens once something has been stored.
    using OnStored = std::function<void(const Stored&)>;
    /// `inMeeting`: the configuration in use is one that a meeting goes by. Throws std::runtime_error when
    /// the store cannot be read.
    frmPreferences(ProcessState& state, bool inMeeting, OnStored onStored, QWidget* parent);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Page {
        PreferencePage page{};
        QScrollArea* scroll = nullptr;
        QLabel* scope = nullptr;
        std::vector<SettingRow*> rows;
    };

    void KeepHintsReadable();
    void BuildTop();
    void BuildPages();
    Page BuildPage(PreferencePage page);
    SettingRow* BuildRow(const PreferenceRow& row, QWidget* parent);
    void BuildButtons();
    void Arrange();
    void AddShortcuts();
    void FillConfigs();
    void ShowAll();
    void ShowChanged();
    void ShowScopes();
    void ConfigsChanged(const QString& chosen);
    void ResetPage();
    void Search();
    QString FoundText(const QString& search) const;
    void GoToFound(int step);
    void Turn(int step);
    bool Store();
    bool RefusedByFault();

    ProcessState& mState;
    const bool mInMeeting;
    OnStored mOnStored;
    PreferenceDraft mDraft;
    QString mConfig;  // the one that is shown
    std::vector<SettingRow*> mFound;
    int mFoundAt = -1;

    QLineEdit* txtSearch;
    QLabel* lblFound;
    QComboBox* cmbSettingsOf;
    QListWidget* lstPages;
    QStackedWidget* mStack;
    ConfigList* mConfigs = nullptr;
    TrustedList* mTrusted = nullptr;
    std::array<Page, kPreferencePages> mPages;
    QPushButton *cmdResetPage, *cmdOK, *cmdCancel, *cmdApply;
};

/// Shows it and returns when it has closed. False: the store cannot be read, which a box has said.
bool ShowPreferences(ProcessState& state, bool inMeeting, frmPreferences::OnStored onStored, QWidget* parent);
