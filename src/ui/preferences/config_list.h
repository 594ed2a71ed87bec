#pragma once
// The configurations as "Preferences" lists them: new, copy, rename, delete. Nothing is stored here; the
// draft takes it.

#include <QCoreApplication>
#include <QWidget>

#include "settings/preference_draft.h"

class QLabel;
class QListWidget;
class QPushButton;

class ConfigList final : public QWidget {
    Q_DECLARE_TR_FUNCTIONS(ConfigList)
public:
    ConfigList(ProcessState& state, PreferenceDraft& draft, bool inMeeting, QWidget* parent);

    /// The draft's configurations; `chosen` is selected.
    void Fill(const QString& chosen);
    /// The configurations have changed; `chosen` is the one that the change was about.
    std::function<void(const QString& chosen)> onChange = [](const QString&) {};

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPushButton* Button(const char* name, const QString& text, void (ConfigList::*act)());
    QString Chosen() const;
    /// "" when the user gave up.
    QString AskName(const QString& title, const QString& first, const QString& beside);
    void New();
    void Copy();
    void Rename();
    void Delete();
    void Explain();

    ProcessState& mState;
    PreferenceDraft& mDraft;
    const bool mInMeeting;
    QListWidget* mList;
    QPushButton *mNew, *mCopy, *mRename, *mDelete;
    QLabel* mWhy;
};
