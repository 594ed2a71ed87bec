#include "cli/visit.h"

#include <stdexcept>

#include "cipher/code_page.h"
#include "cipher/password.h"
#include "session/invitation.h"
#include "session/login_rules.h"

namespace {

/// Where the code is an invitation: what that says.
PeopleOptions AsInvited(PeopleOptions options)
{
    const QString text = QString::fromStdString(options.code);
    if (!HoldsInvitation(text)) return options;
    const InvitationRead read = FindInvitation(text);
    if (!read.invitation) throw std::runtime_error(read.fault.toStdString());
    if (!options.service.service.empty() || !options.service.trust.empty())
        throw std::runtime_error("the invitation names the service: leave --service and --trust out");
    options.service.service = read.invitation->service.toStdString();
    options.service.trust = read.invitation->fingerprint.toStdString();
    options.code = read.invitation->code.toStdString();
    return options;
}

}  // namespace

Visit::Visit(const PeopleOptions& given)
    : options(AsInvited(given)),
      mSettings(options.service.Choice(), options.service.Trusted()),
      service(MakeLinkMessenger(
          LinkNeeds{mSettings, mGate, loop, mTrust, loop, LogToStandardError, ProgramName(), ZephyldPath()}))
{
    const QString code = QString::fromStdString(options.code);
    if (const LoginFault fault = CheckCode(code); fault != LoginFault::None)
        throw std::runtime_error(FaultMessage(fault).toStdString());
    const QString password = options.account.Password();
    const QString handle = QString::fromStdString(options.account.handle);
    if (!SurvivesCodePage(password))
        throw std::runtime_error("the password has characters outside Windows-1252");
    if (!service->Login(handle, EncipherPassword(password), QString()))
        throw std::runtime_error(service->LastRefusal().toStdString());
    if (!service->HasMeetingPermission()) throw std::runtime_error("this handle may not enter meetings");
    const bool entered =
        options.create ? service->CreateMeeting(code, QString()) : service->JoinMeeting(code);
    if (!entered) throw std::runtime_error(service->LastRefusal().toStdString());
}
