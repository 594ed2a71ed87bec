#pragma once
// The dialog that asks which window to share. User-interface thread only.

#include <QDialog>

#include "base/process_state.h"

class QListWidget;
class QPushButton;

/// Shows "(Desktop)" and the windows as they are when it is made. OK and Cancel end its modal display. OK
/// without a selection leaves it loaded: the owner keeps it and shows the same list the next time.
class frmShareApp : public QDialog {
public:
    frmShareApp(ProcessState& state, const QString& ownCaption, QWidget* parent);

    /// True: its choice is made or cancelled, and the owner destroys it. False: it is only hidden.
    bool Unloaded() const { return mUnloaded; }

    void cmdOK_Click();
    void cmdCancel_Click();

protected:
    void reject() override;  // Escape and the close box are Cancel
    void accept() override;

private:
    void BuildList(const QString& ownCaption);
    void Arrange(const QString& whyNot);

    ProcessState& mState;
    QListWidget* lstApps;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;
    bool mUnloaded = false;
};
