#pragma once
// All dialogs of the program run through here. Texts are plain text, never markup.

#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>

#include "platform/machine.h"
#include "ui/waits.h"

class QDialog;
class QMessageBox;
class QPushButton;
struct ProcessState;

/// User-interface thread only. Boxes and dialogs belong to the active window of ours, else to none.
class QtPrompts final : public Prompts {
public:
    QtPrompts(ProcessState& state, QtWaits& waits);

    void Beep() override;
    void Box(BoxIcon icon, const QString& title, const QString& text) override;
    void CriticalBox(const QString& title, const QString& text, Cause cause) override;
    bool AskTrust(const QString& service, const QString& fingerprint, const QString& announced) override;
    bool AskLink(const QString& address, const QString& host) override;
    QString OpenFile(const QString& title, const QString& filterName, const QStringList& patterns) override;
    QString SaveFile(const QString& title, const QString& filterName, const QStringList& patterns,
                     const QString& defaultExtension) override;
    QString ChooseFolder(const QString& title, const QString& now) override;
    FontChoice SelectFont(const QString& title, const FontChoice& current) override;
    void RunForm(QDialog& form, Modality modality) override;

    /// Runs a form of ours modally and returns its result. Leaves the mark that ActivationIsOurs reads.
    /// Whether `yes` was pressed; Enter and Escape mean `no`.
    bool Agreed(QMessageBox& box, QPushButton* yes, QPushButton* no);
    int RunDialog(QDialog& dialog);

    /// Whether an activation of the meeting window that comes now follows from a dialog of ours that is open
    /// or has just closed: then the user does not return from another program. Takes the mark away.
    bool ActivationIsOurs();

private:
    void TellMore();

    ProcessState& mState;
    QtWaits& mWaits;
    int mOpen = 0;                    // modal ones
    QElapsedTimer mSinceClosed;       // invalid: no mark
    QPointer<QMessageBox> mCritical;  // the one that is open
    int mMoreErrors = 0;
    QTimer mTellMore;
};
