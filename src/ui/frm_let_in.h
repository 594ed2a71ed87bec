#pragma once
// frmLetIn: opens this computer's own service to the local network for the meeting that the user is in, says
// what that does, and shows the invitation.

#include <QDialog>

#include "base/process_state.h"
#include "ui/ways_here.h"

class QLabel;
class QPlainTextEdit;
class QPushButton;

class frmLetIn final : public QDialog {
public:
    /// `letting`: how it is now.
    frmLetIn(ProcessState& state, const LettingIn& letting, QWidget* parent);

    void cmdOpen_Click();
    void cmdCopy_Click();
    void cmdStop_Click();

private:
    void Ask(LetInWish wish);
    void Show(const LettingIn& letting);

    ProcessState& mState;
    WaysHere mWays;
    QLabel* lblWhat;
    QPlainTextEdit* txtInvitation;
    QPushButton *cmdOpen, *cmdCopy, *cmdStop, *cmdDone;
};
