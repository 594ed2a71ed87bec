// invite: what to pass on so that others come into a meeting.
#include <iostream>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/loop.h"
#include "cli/needs.h"
#include "service/link/link_messenger.h"
#include "session/invitation.h"
#include "text/qt_line.h"

namespace {

constexpr char kOwnService[] =
    "this computer's own service lets nobody else in. Open the meeting to your local network with \"Let "
    "Others "
    "In...\" in Quorvia's menu \"Meeting\", which shows the invitation, or name a service that others reach: "
    "--service HOST[:PORT]";

/// Asks the service for its key; nothing is said to it.
ServiceFace FaceOf(const ServiceOptions& options)
{
    Loop loop;
    OptionSettings settings(options.Choice(), options.Trusted());
    OpenGate gate;
    TerminalTrust trust;
    const auto service = MakeLinkMessenger(
        LinkNeeds{settings, gate, loop, trust, loop, LogToStandardError, ProgramName(), ZephyldPath()});
    return LookAt(*service);
}

}  // namespace

int Invite(const InviteOptions& options)
{
    const QString code = QString::fromStdString(options.code);
    const QString typed = QString::fromStdString(options.service.service);
    if (typed.trimmed().isEmpty()) throw std::runtime_error(kOwnService);
    if (const QString fault = MakeInvitation(typed, code, {}).fault; !fault.isEmpty())
        throw std::runtime_error(fault.toStdString());
    const ServiceFace face = FaceOf(options.service);
    const InvitationRead made = MakeInvitation(typed, code, face.vouched ? QString() : face.fingerprint);
    if (!made.invitation) throw std::runtime_error(made.fault.toStdString());
    if (NamesThisComputerOnly(*made.invitation))
        std::cerr << "zephyl: only people at this computer can use this invitation: "
                  << OneLine(typed).toStdString() << " is reached from nowhere else.\n";
    std::cout << (options.linkOnly ? LinkOf(*made.invitation) : SentenceOf(*made.invitation)).toStdString()
              << std::endl;
    return 0;
}
