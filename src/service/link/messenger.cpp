#include "service/link/messenger.h"

#include <algorithm>
#include <boost/asio/post.hpp>

#include "cipher/password.h"
#include "service/link/messenger_parts.h"
#include "service/link/session.h"
#include "service/link/trust.h"
#include "service/wire/limits.h"
#include "text/text_rules.h"

namespace zephyl::link {

namespace asio = boost::asio;
using SteadyClock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t kLoginBytes = 2048;  // fits into one header

/// What its pin is kept by; "" for the personal service.
QString NameOf(const Target& target)
{
    return target.personal ? QString()
                           : QString::fromStdString(ServiceName({target.to.host, target.to.port}));
}

std::chrono::milliseconds Remaining(Deadline deadline)
{
    return std::max(0ms,
                    std::chrono::duration_cast<std::chrono::milliseconds>(deadline - SteadyClock::now()));
}

}  // namespace

LinkMessenger::LinkMessenger(LinkNeeds needs)
    : mNeeds(std::move(needs)),
      mAlive(static_cast<Outlet*>(this), [](Outlet*) {}),
      mContext(TlsContext::Client()),
      mQueue([this] { Wake(); },
             [this] {
                 if (mSession) asio::post(mIo, [session = mSession] { session->ReportRead(); });
             },
             [log = mNeeds.log](const QString& line) { log(line); }),
      mConfig(mNeeds.settings.DefaultConfig())
{
    mNetwork = std::thread([this] { RunNetwork(); });
    mNeeds.gate.WhenOpen([this] { Drain(); });
}

LinkMessenger::~LinkMessenger()
{
    try {
        Close();
    } catch (const std::exception& e) {
        mNeeds.log(QString::fromUtf8(e.what()));
    }
    mNeeds.gate.WhenOpen(nullptr);
    mWork.reset();
    mVoice->Shut();
    mIo.stop();
    mNetwork.join();
}

/// What a handler throws costs its own work, not the link.
void LinkMessenger::RunNetwork()
{
    while (!mIo.stopped()) try {
            mIo.run();
        } catch (const std::exception& e) {
            mNeeds.log(QString::fromUtf8(e.what()));
        }
}

// --- session -------------------------------------------------------------------------------------------

std::shared_ptr<Session> LinkMessenger::NewSession()
{
    return std::make_shared<Session>(
        mIo, mContext, mQueue,
        SessionNeeds{mNeeds.program.toStdString(), mNeeds.zephyldPath.toStdString(), mNeeds.log,
                     mNeeds.deviceFolder.toStdString(), mNeeds.slept ? mNeeds.slept : SleptSoFar, mVoice});
}

/// Its end belongs to the network thread.
void LinkMessenger::Release(std::shared_ptr<Session> session)
{
    if (session) asio::post(mIo, [gone = std::move(session)] { gone->Drop(); });
}

Target LinkMessenger::ReadTarget() const
{
    const ServiceChoice choice = mNeeds.settings.Read(mConfig);
    Target target = TargetOf(mTypedAddress.value_or(choice.service));
    target.datagrams = choice.protocol == Protocol::Udp;
    Destination& to = target.to;
    to.protocol = choice.protocol;
    to.poll = choice.pollingInterval;
    target.proxy = choice.proxy.toStdString();
    if (to.protocol == Protocol::Http && !target.personal)
        to.proxy = ProxyFor(target.proxy, to.host, to.port, TheEnvironment());
    return target;
}

Target LinkMessenger::TargetOf(const QString& typed) const
{
    const QString service = Trim(typed);
    if (service.isEmpty()) return Target{.personal = true};
    const auto address = ReadServiceAddress(service.toStdString());
    if (!address)
        Fail(English("\"%1\" is not the address of a service: that is HOST or HOST:PORT, or nothing for this "
                     "computer.")
                 .arg(service));
    return Target{.name = service.toStdString(), .to = {.host = address->host, .port = address->port}};
}

/// A connection that stands; nothing of ours has been sent. Throws.
ConnectOutcome LinkMessenger::Reach(const std::shared_ptr<Session>& session, const Target& target,
                                    Deadline deadline)
{
    const auto outcome = Ask<ConnectOutcome>(
        session, [target](Session& s) { return s.Connect(target); }, Remaining(deadline));
    if (outcome && outcome->problem.empty()) return *outcome;
    FailUnreached(target, outcome ? QString::fromStdString(outcome->problem) : English("it does not answer"),
                  !outcome || outcome->met);
}

/// `met`: somebody took the connection.
void LinkMessenger::FailUnreached(const Target& target, const QString& problem, bool met)
{
    if (target.personal)
        Fail(English(
                 "The service of this computer cannot be used: %1. Name another one under \"Service:\", or "
                 "try again.")
                 .arg(problem));
    const QString name = QString::fromStdString(target.name);
    if (const auto& proxy = target.to.proxy)
        Fail(English(
                 "The service %1 cannot be reached through the proxy %2: %3. Check both addresses and your "
                 "network, then try again.")
                 .arg(name, QString::fromStdString(proxy->Name()), problem));
    if (!met && target.to.protocol != Protocol::Http)
        Fail(English(
                 "The service %1 cannot be reached: %2. Check its address and your network, then try again. "
                 "Where a network lets only web traffic out, \"HTTP\" among the advanced options may get "
                 "through.")
                 .arg(name, problem));
    Fail(English("The service %1 cannot be reached: %2. Check its address and your network, then try again.")
             .arg(name, problem));
}

/// A session whose connection stands and is trusted; nothing of ours has been sent. Throws.
std::shared_ptr<Session> LinkMessenger::ConnectTrusted(Deadline& deadline)
{
    Target target = ReadTarget();
    for (int round = 0; round < 2; ++round) {
        target.pin = PinOf(target);
        std::shared_ptr<Session> session = NewSession();
        try {
            const ConnectOutcome outcome = Reach(session, target, deadline);
            if (SettleTrust(target, outcome, deadline)) {
                mFace = {QString::fromStdString(target.name),
                         QString::fromStdString(outcome.peer.fingerprint), outcome.peer.vouched};
                return session;
            }
        } catch (...) {
            Release(std::move(session));
            throw;
        }
        Release(std::move(session));
    }
    Fail(English("The service %1 changed its key just now. Try again.")
             .arg(QString::fromStdString(target.name)));
}

ServiceFace LinkMessenger::LookAt()
{
    Target target = ReadTarget();
    if (target.personal) return {};
    target.pin = PinOf(target);
    std::shared_ptr<Session> session = NewSession();
    const std::shared_ptr<void> released(nullptr, [&](void*) { Release(std::move(session)); });
    const ConnectOutcome outcome = Reach(session, target, SteadyClock::now() + kCallTime);
    const QString key = QString::fromStdString(outcome.peer.fingerprint);
    if (Judge(outcome.peer.fingerprint, outcome.peer.vouched, target.pin) == Trust::Changed)
        FailOfOtherKey(target, key);
    return {QString::fromStdString(target.name), key, outcome.peer.vouched};
}

ServiceFace LinkMessenger::Face() const
{
    if (!mSession) Fail(English("There is no session."));
    return mFace;
}

QString LinkMessenger::NameKey(const QString& service, const QString& fingerprint)
{
    const Target target = TargetOf(service);
    if (const auto accepted = AcceptedKey(target); accepted && *accepted != fingerprint.toStdString())
        return QString::fromStdString(*accepted);
    mNamed[NameOf(target)] = fingerprint.toStdString();
    return {};
}

/// What the user accepted when asked, or logged in with, under any spelling of the address. Throws when the
/// store cannot tell.
std::optional<std::string> LinkMessenger::AcceptedKey(const Target& target)
{
    const QString name = NameOf(target), typed = QString::fromStdString(target.name);
    if (const auto accepted = mAccepted.find(name); accepted != mAccepted.end()) return accepted->second;
    for (const QString& spelling : {name, typed})
        if (const auto pin = mNeeds.settings.PinnedKey(spelling)) return pin->toStdString();
    return std::nullopt;
}

std::optional<std::string> LinkMessenger::PinOf(const Target& target)
{
    if (auto accepted = AcceptedKey(target)) return accepted;
    const auto named = mNamed.find(NameOf(target));
    return named == mNamed.end() ? std::nullopt : std::optional(named->second);
}

void LinkMessenger::FailOfOtherKey(const Target& target, const QString& key)
{
    const QString name = QString::fromStdString(target.name);
    if (!AcceptedKey(target))
        Fail(English(
                 "The key of the service %1 is not the one that the invitation names. Nothing was sent: "
                 "somebody else may pretend to be it. Ask whoever invited you for a new invitation. The key "
                 "there is %2.")
                 .arg(name, key));
    Fail(English(
             "The key of the service %1 is not the one that was accepted before. Nothing was sent: somebody "
             "else may pretend to be it. Ask its operator whether the key was changed. It is now %2.")
             .arg(name, key));
}

/// False: the key was accepted only now, while the connection waited too long; connect again.
bool LinkMessenger::SettleTrust(const Target& target, const ConnectOutcome& outcome, Deadline& deadline)
{
    if (target.personal && !target.pin) return outcome.known;
    const QString name = QString::fromStdString(target.name);
    const QString key = QString::fromStdString(outcome.peer.fingerprint);
    switch (Judge(outcome.peer.fingerprint, outcome.peer.vouched, target.pin)) {
        case Trust::Yes:
            // From now on it is known by this: another invitation does not change it without a word.
            if (target.pin && !AcceptedKey(target)) mAccepted[NameOf(target)] = *target.pin;
            return !target.personal || outcome.known;
        case Trust::Changed: FailOfOtherKey(target, key);
        case Trust::Ask: break;
    }
    const auto asked = SteadyClock::now();
    const bool accepted = mNeeds.trust.Ask(name, key);
    deadline += SteadyClock::now() - asked;
    if (!accepted)
        Fail(English(
                 "The key of the service %1 was not accepted, so nothing was sent. Compare it with what the "
                 "service's operator gave you, then try again.")
                 .arg(name));
    mAccepted[NameOf(target)] = outcome.peer.fingerprint;
    mNeeds.settings.PinKey(NameOf(target), key);
    return false;
}

QString LinkMessenger::PasswordOf(const QString& stored) const
{
    const QString password = DecipherPassword(stored);
    const bool lost =
        PasswordWasLost(stored) || (!password.isEmpty() && password.count(u'?') == password.size());
    if (lost)
        Fail(English("The password has characters that Windows-1252 does not know. Choose another one."));
    return password;
}

bool LinkMessenger::Login(const QString& handle, const QString& password, const QString& hostname)
{
    EndSession(kEndTime);
    mRefusal.clear();
    try {
        const LoginWords words{handle.toStdString(), PasswordOf(password).toStdString(),
                               hostname.toStdString()};
        if (words.handle.size() + words.password.size() + words.hostName.size() > kLoginBytes)
            Fail(English("That is longer than a handle, a password and a host name can be. Shorten it."));
        Deadline deadline = SteadyClock::now() + kCallTime;
        std::shared_ptr<Session> session = ConnectTrusted(deadline);
        const auto outcome = Ask<LoginOutcome>(
            session, [words, deadline](Session& s) { return s.Login(words, deadline); }, Remaining(deadline));
        if (outcome && outcome->problem.empty() && outcome->refusal.empty()) {
            mAccount = {QString::fromStdString(outcome->handle), QString::fromStdString(outcome->serverKey),
                        QString::fromStdString(outcome->sendTag)};
            mSession = std::move(session);
            asio::post(mIo, [voice = mVoice, to = mSession] { voice->LeadTo(to); });
            return true;
        }
        Release(std::move(session));
        if (outcome && !outcome->problem.empty())
            FailUnreached(ReadTarget(), QString::fromStdString(outcome->problem), true);
        Fail(outcome ? QString::fromStdString(outcome->refusal)
                     : English("The service does not answer. Try again in a moment."));
    } catch (const std::exception& e) {
        mRefusal = QString::fromUtf8(e.what());
    }
    return false;
}

bool LinkMessenger::LoggedIn() const
{
    return mSession && mSession->EndReason().isEmpty();
}

bool LinkMessenger::HasMeetingPermission()
{
    if (!LoggedIn()) Fail(mSession ? mSession->EndReason() : English("There is no session."));
    const Deadline deadline = SteadyClock::now() + kCallTime;
    const auto outcome = Ask<PermissionOutcome>(
        mSession, [deadline](Session& s) { return s.AskPermission(deadline); }, kCallTime);
    if (!outcome) Fail(English("The service does not answer. Try again in a moment."));
    if (!outcome->problem.empty()) Fail(QString::fromStdString(outcome->problem));
    return outcome->permitted;
}

QString LinkMessenger::SendPassword(const QString& handle)
{
    Deadline deadline = SteadyClock::now() + kCallTime;
    std::shared_ptr<Session> session = ConnectTrusted(deadline);
    const auto outcome = Ask<PasswordOutcome>(
        session,
        [name = handle.toStdString(), deadline](Session& s) { return s.SendPassword(name, deadline); },
        Remaining(deadline));
    Release(std::move(session));
    if (!outcome) Fail(English("The service does not answer. Try again in a moment."));
    if (!outcome->problem.empty()) Fail(QString::fromStdString(outcome->problem));
    return QString::fromStdString(outcome->address);
}

void LinkMessenger::ChangePassword(const QString& handle, const QString& password, const QString& wish)
{
    const LoginWords words{handle.toStdString(), password.toStdString(), {}};
    const std::string wished = wish.toStdString();
    if (words.handle.size() + words.password.size() + wished.size() > kLoginBytes)
        Fail(QStringLiteral("that is longer than a handle and two passwords can be"));
    Deadline deadline = SteadyClock::now() + kCallTime;
    std::shared_ptr<Session> session = ConnectTrusted(deadline);
    const auto outcome = Ask<ChangeOutcome>(
        session, [words, wished, deadline](Session& s) { return s.ChangePassword(words, wished, deadline); },
        Remaining(deadline));
    Release(std::move(session));
    if (!outcome) Fail(English("The service does not answer. Try again in a moment."));
    if (!outcome->problem.empty()) Fail(QString::fromStdString(outcome->problem));
}

void LinkMessenger::SetConfig(const QString& configName)
{
    mConfig = configName;
}

void LinkMessenger::LoadConfig()
{
    // Settings are read afresh at each Login and SendPassword: there is nothing to load before.
}

void LinkMessenger::UseServiceAddress(const QString* typed)
{
    mTypedAddress = typed ? std::optional(*typed) : std::nullopt;
}

void LinkMessenger::EndSession(Limit limit)
{
    CloseFold();
    if (!mSession) return;
    const Deadline deadline = SteadyClock::now() + limit - std::min(kMargin, limit / 2);
    const auto undelivered = Ask<QString>(
        mSession, [deadline](Session& s) { return s.Logout(deadline); }, limit);
    if (undelivered && !undelivered->isEmpty()) Note(*undelivered);
    Release(std::exchange(mSession, nullptr));
    mAccount = {};
    ForgetMeeting();
    mUsers->Clear();
    LinkState offline;
    offline.text = QLatin1String(kNotInMeeting);
    mQueue.PushState(std::move(offline));
}

void LinkMessenger::Logout()
{
    EndSession(kLeaveTime);
}

void LinkMessenger::Close()
{
    EndSession(kEndTime);
    mVoice->Shut();
}

VoicePlace LinkMessenger::OpenVoice()
{
    try {
        return mVoice->Open();
    } catch (const std::exception& e) {
        Note(English("The voice companion finds no way to the meeting: %1").arg(QString::fromUtf8(e.what())));
        return {};
    }
}

void LinkMessenger::ShowVoice()
{
    asio::post(mIo, [voice = mVoice] { voice->ShowCompanion(); });
}

LinkStats LinkMessenger::Stats()
{
    if (!mSession) return {};
    const auto stats = Ask<LinkStats>(
        mSession, [](Session& s) -> asio::awaitable<LinkStats> { co_return s.Stats(); }, kEndTime);
    return stats.value_or(LinkStats{});
}

}  // namespace zephyl::link

std::unique_ptr<MessengerService> MakeLinkMessenger(LinkNeeds needs)
{
    return std::make_unique<zephyl::link::LinkMessenger>(std::move(needs));
}

LinkStats StatsOf(MessengerService& service)
{
    auto* link = dynamic_cast<zephyl::link::LinkMessenger*>(&service);
    return link ? link->Stats() : LinkStats{};
}

ServiceFace LookAt(MessengerService& service)
{
    auto* link = dynamic_cast<zephyl::link::LinkMessenger*>(&service);
    return link ? link->LookAt() : service.Face();
}

void ChangePassword(MessengerService& service, const QString& handle, const QString& password,
                    const QString& wish)
{
    if (auto* link = dynamic_cast<zephyl::link::LinkMessenger*>(&service))
        link->ChangePassword(handle, password, wish);
}
