#include "ui/invite.h"

#include "base/error_trap.h"
#include "text/words.h"
#include "ui/dialogs.h"
#include "ui/frm_let_in.h"
#include "ui/ways_here.h"

using namespace Qt::StringLiterals;

namespace {

bool InMeeting(const ProcessState& state)
{
    return state.gMessenger && state.gMessenger->LoggedIn() && state.gUsers && !state.gUsers->Items().empty();
}

QString NoMeeting()
{
    return Ours::tr("You are in no meeting. Enter one with \"New Meeting...\" in the \"Meeting\" menu.");
}

void Tell(ProcessState& state, const QString& text)
{
    state.ports.prompts->Box(BoxIcon::Information, QLatin1String(kAppTitle), text);
}

/// Asks the service where it is this computer's own. Throws when it does not answer.
WaysHere FindWaysHere(ProcessState& state)
{
    if (!InMeeting(state)) return {{}, NoMeeting()};
    const ServiceFace face = state.gMessenger->Face();
    if (face.service.isEmpty()) return WaysBy(state, state.gMessenger->LetOthersIn(LetInWish::Ask));
    const InvitationRead made =
        MakeInvitation(face.service, state.gMeetingCode, face.vouched ? QString() : face.fingerprint);
    if (made.invitation) return {{*made.invitation}, {}};
    return {{}, made.fault};
}

}  // namespace

void mnuInvite_Click(ProcessState& state)
{
    Trapped(state, "mnuInvite_Click", [&] {
        const WaysHere ways = FindWaysHere(state);
        if (ways.invitations.empty())
            Tell(state, ways.problem);
        else
            CopyInvitation(state, ways.invitations.front());
    });
}

void mnuLetIn_Click(ProcessState& state, QWidget* window)
{
    Trapped(state, "mnuLetIn_Click", [&] {
        if (!InMeeting(state)) return Tell(state, NoMeeting());
        if (const QString service = state.gMessenger->Face().service; !service.isEmpty())
            return Tell(state,
                        Ours::tr("This meeting is at the service %1, where others come in by their accounts "
                                 "there. Pass its invitation on: \"Copy Invitation\".")
                            .arg(service));
        frmLetIn dialog(state, state.gMessenger->LetOthersIn(LetInWish::Ask), window);
        RunModally(state, dialog);
    });
}
