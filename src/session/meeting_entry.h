#pragma once
// From no session to being inside a meeting.

#include <QString>
#include <QStringList>

#include "base/process_state.h"

/// Shows the login dialog. The dialog leaves its outcome in the settings store and the process state.
class LoginScreen {
public:
    virtual ~LoginScreen() = default;
    /// `caption`: "" for the dialog's own. Returns once the dialog has closed (gLoginDialogClosed).
    virtual void Show(const QString& caption, Modality modality) = 0;
};

/// Shows the dialog, logs in, and creates or joins the meeting, until the user is in one (True) or gives up
/// (False). A refusal brings the dialog back. `previousHandle` and `previousPassword` (as stored) restore the
/// old session when a re-entry is cancelled. Leaves the default pointer. An error is reported: False.
bool LoginUser(ProcessState& state, LoginScreen& screen, bool reentry, const QString& previousHandle,
               const QString& previousPassword);

/// "New Meeting...": the dialog modal; unless cancelled, the session ends and entry runs again.
void mnuLogin_Click(ProcessState& state, LoginScreen& screen);

/// How own chat lines are enciphered, anew from the settings; the service's key stays.
void ReadOwnEncryption(ProcessState& state);

/// This computer's IPv4 addresses: what its name resolves to, then the interfaces', loopback only when there
/// is no other. Failures are reported as warnings and give an empty list.
QStringList GetLocalIP(ProcessState& state);
