#include "session/login_dialogs.h"

#include "base/meeting_screens.h"
#include "session/frm_login.h"

void LoginDialogs::Show(const QString& caption, Modality modality)
{
    // Kept in front of the meeting window, if there is one.
    auto* meeting = dynamic_cast<QWidget*>(mState.gMeetingForm);
    frmLogin dialog(mState, meeting);
    if (!caption.isEmpty()) dialog.setWindowTitle(caption);
    mState.ports.prompts->RunForm(dialog, modality);
}
