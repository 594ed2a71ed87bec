#pragma once
// One row of "Preferences": label, control, a button back to the default, the help below, and a note where
// the store says something else than what is in effect.

#include <QCoreApplication>
#include <QFrame>

#include "settings/preference_draft.h"
#include "ui/preferences/value_control.h"

class QLabel;
class QToolButton;

/// For sentences: wrapped, and no markup whatever it says. The parent owns it.
QLabel* PlainLabelOf(QWidget* parent);
/// A text of the settings file inside a sentence, its beginning at least.
QString ShortInSentence(const QString& text);

class SettingRow final : public QFrame {
    Q_DECLARE_TR_FUNCTIONS(SettingRow)
public:
    SettingRow(const PreferenceRow& row, const ControlNeeds& needs, QWidget* parent);

    const PreferenceRow& Row() const { return mRow; }
    /// The control as well.
    void Show(const ShownSetting& shown);
    /// What stands around the control, which the user is just changing.
    void ShowAround(const ShownSetting& shown);
    /// What the search has found has a border.
    void SetFound(bool found);
    void SetLabelWidth(int width);
    int LabelWidth() const;
    void TakeFocus();

    std::function<void(const QString& text)> onChange = [](const QString&) {};
    std::function<void()> onReset = [] {};

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void Arrange(QWidget* label);
    QString NoteOf(const ShownSetting& shown) const;

    const PreferenceRow& mRow;
    ValueControl* mControl;
    QLabel* mLabel = nullptr;  // null for a flag, which says its name itself
    QLabel* mHelp;
    QLabel* mNote;
    QToolButton* mReset;
    bool mFound = false;
};
