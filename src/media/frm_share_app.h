#pragma once
// The dialog that asks which window to share. User-interface thread only.

#include <QDialog>

#include "base/process_state.h"

class QLabel;
class QListWidget;
class QPushButton;

/// Shows "(Desktop)" and the windows as they are when it is made. OK and Cancel end its modal display. OK
/// without a selection leaves it loaded: the owner keeps it and shows the same list the next time. Where the
/// desktop asks which window it shall be, OK lets it ask, and the dialog waits behind it.
class frmShareApp : public QDialog {
public:
    frmShareApp(ProcessState& state, const QString& ownCaption, QWidget* parent);

    ~frmShareApp() override;

    /// True: its choice is made or cancelled, and the owner destroys it. False: it is only hidden.
    bool Unloaded() const { return mUnloaded; }

    void cmdOK_Click();
    void cmdCancel_Click();

protected:
    void reject() override;  // Escape and the close box are Cancel
    void accept() override;

private:
    void Arrange();
    void ShowWhatThereIs();
    void BuildList();
    void LetTheDesktopAsk(quint64 entry);
    void Say(const QString& sentence, bool canChoose);
    void Leave(quint64 window);

    ProcessState& mState;
    const QString mOwnCaption;
    QLabel* lblQuestion;
    QListWidget* lstApps;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;
    bool mUnloaded = false;
};
