#include "session/meeting_entry.h"

#include "base/error_trap.h"
#include "settings/settings.h"
#include "text/text_rules.h"
#include "text/words.h"

using namespace Qt::StringLiterals;

namespace {

constexpr char kNotAllowed[] =
    QT_TRANSLATE_NOOP("Defined", "Unable to join meeting. This user does not have meeting permissions.");
constexpr char kCodeInUse[] = QT_TRANSLATE_NOOP(
    "Defined", "Unable to create meeting. This meeting code may be in use. Try another meeting code.");
constexpr char kCodeUnknown[] = QT_TRANSLATE_NOOP(
    "Defined",
    "Unable to join meeting. The meeting code was not found. Make sure your meeting code is correct.");

void ShowLogin(ProcessState& state, LoginScreen& screen)
{
    state.gLoginDialogClosed = false;
    screen.Show(Defined::tr("%1 Login", "caption of the login dialog").arg(QLatin1String(kAppTitle)),
                Modality::Modeless);
}

bool TryLogin(ProcessState& state, const QString& handle)
{
    if (state.gMessenger->Login(handle, state.gPassword, state.gHostname)) return true;
    LogEvent(state, EventType::Warning, u"Login: "_s + state.gMessenger->LastRefusal());
    return false;
}

/// Repeats the dialog until a login succeeds; also ends when the user cancels after a failed one. The host
/// name stays what it was at the first try.
void LoginLoop(ProcessState& state, LoginScreen& screen)
{
    QString handle = GetSetting(state, keys::kHandle);
    state.gPassword = GetSetting(state, keys::kPassword);
    state.gHostname = GetSetting(state, keys::kHostname);
    while (!TryLogin(state, handle)) {
        state.ports.pointer->Set(PointerShape::Default);
        if (state.gLoginCancelled) return;
        ShowLogin(state, screen);
        handle = GetSetting(state, keys::kHandle);
        state.gPassword = GetSetting(state, keys::kPassword);
        state.ports.pointer->Set(PointerShape::Busy);
    }
}

void ReadEncryption(ProcessState& state)
{
    ReadOwnEncryption(state);
    state.gServerKey = state.gMessenger->ServerKey();
}

/// Says what was refused, then starts over with the dialog.
void Retry(ProcessState& state, LoginScreen& screen, const char* message)
{
    const QString reason = state.gMessenger->LastRefusal();  // it may be full, or busy
    if (!reason.isEmpty()) LogEvent(state, EventType::Information, u"Meeting: "_s + reason);
    state.ports.prompts->Box(BoxIcon::Information, QLatin1String(kAppTitle), Defined::tr(message));
    LoginUser(state, screen, false, QString(), QString());
}

bool EnterMeeting(ProcessState& state, LoginScreen& screen)
{
    MessengerService& service = *state.gMessenger;
    if (!service.HasMeetingPermission()) {
        Retry(state, screen, kNotAllowed);
        return !state.gLoginCancelled;
    }
    if (state.gCreateMeeting) {
        if (!service.CreateMeeting(state.gMeetingCode, QString())) Retry(state, screen, kCodeInUse);
    } else if (!service.JoinMeeting(state.gMeetingCode)) {
        Retry(state, screen, kCodeUnknown);
    }
    state.gUsers = service.Users();
    return !state.gLoginCancelled;
}

bool IsLoopback(const QString& address)
{
    return address.startsWith(u"127."_s);
}

QStringList WithoutLoopback(const QStringList& addresses)
{
    QStringList kept;
    for (const QString& address : addresses)
        if (!IsLoopback(address) && !kept.contains(address)) kept += address;
    return kept;
}

}  // namespace

bool LoginUser(ProcessState& state, LoginScreen& screen, bool reentry, const QString& previousHandle,
               const QString& previousPassword)
{
    const bool entered = Trapped(state, "LoginUser", [&] {
        if (state.gLoginCancelled) return false;
        ShowLogin(state, screen);
        if (state.gLoginCancelled) return false;
        LoginLoop(state, screen);
        if (state.gLoginCancelled) {
            if (!reentry) return false;
            state.gMessenger->Login(previousHandle, previousPassword, state.gHostname);
        }
        ReadEncryption(state);
        return EnterMeeting(state, screen);
    });
    state.ports.pointer->Set(PointerShape::Default);
    return entered;
}

void ReadOwnEncryption(ProcessState& state)
{
    state.gLocalKey = GetSetting(state, keys::kLocalEncryptionKey);
    state.gEncryptMessages = FlagSetting(state, keys::kEncryptMessages);
    state.gUseLocalKey = FlagSetting(state, keys::kUseLocalKey);
}

void mnuLogin_Click(ProcessState& state, LoginScreen& screen)
{
    const QString handle = GetSetting(state, keys::kHandle);
    const QString password = GetSetting(state, keys::kPassword);
    state.gLoginCancelled = false;
    screen.Show(QString(), Modality::Modal);
    if (!state.gLoginCancelled) {
        state.gMessenger->Logout();
        LoginUser(state, screen, true, handle, password);
    }
    state.ports.pointer->Set(PointerShape::Default);
}

QStringList GetLocalIP(ProcessState& state)
{
    return Trapped(state, "GetLocalIP", [&] {
        const auto warn = [&](const QString& code) {
            ReportCriticalError(state, u"GetLocalIP: "_s + code, EventType::Warning);
            return QStringList();
        };
        const LocalHost& host = *state.ports.host;
        const auto name = host.Name();
        if (!name) return warn(u"-1"_s);
        const auto resolved = host.Resolve(Trim(TrimAtNull(*name)));
        if (!resolved) return warn(u"0"_s);
        const QStringList usable = WithoutLoopback(*resolved + host.Interfaces());
        return usable.isEmpty() ? *resolved : usable;
    });
}
