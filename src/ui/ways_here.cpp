#include "ui/ways_here.h"

#include "base/meeting_screens.h"
#include "base/report.h"
#include "platform/clipboard.h"
#include "text/said.h"
#include "text/words.h"

using namespace Qt::StringLiterals;

WaysHere WaysBy(const ProcessState& state, const LettingIn& letting)
{
    WaysHere ways;
    ways.problem = Said(letting.problem);
    const QString key = state.gMessenger->Face().fingerprint;
    for (const QString& address : letting.addresses) {
        const InvitationRead made = MakeInvitation(address, state.gMeetingCode, key);
        if (made.invitation) ways.invitations.push_back(*made.invitation);
    }
    if (ways.invitations.empty() && ways.problem.isEmpty())
        ways.problem = Ours::tr(
            "This meeting is at this computer's own service, which lets nobody else in. Open it to "
            "your local network with \"Let Others In...\" in the \"Meeting\" menu.");
    return ways;
}

void CopyInvitation(ProcessState& state, const Invitation& invitation)
{
    const QString sentence = SentenceOf(invitation);
    state.ports.clipboard->SetText(sentence);
    const QString done =
        NamesThisComputerOnly(invitation)
            ? Ours::tr("The invitation is on the clipboard. Only people at this computer can use it.")
            : Ours::tr("The invitation is on the clipboard. Paste it where others read it.");
    state.gMeetingForm->Panels().Note(done);
    TraceEvent(state, "invitation", {{u"text"_s, sentence}});
}
