#include "service/link/messenger.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <stdexcept>

#include "base/text_rules.h"
#include "cipher/password.h"
#include "service/link/jpeg_frame_encoder.h"
#include "service/link/trust.h"
#include "service/wire/limits.h"

namespace zephyl::link {

namespace asio = boost::asio;
using SteadyClock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kLeaveTime = 5s;
constexpr std::chrono::milliseconds kEndTime = 2s;    // when the process ends, and before another login
constexpr std::chrono::milliseconds kMargin = 600ms;  // for the last word after what was under way

std::chrono::milliseconds Remaining(Deadline deadline)
{
    return std::max(0ms,
                    std::chrono::duration_cast<std::chrono::milliseconds>(deadline - SteadyClock::now()));
}

[[noreturn]] void Fail(const QString& text)
{
    throw std::runtime_error(text.toStdString());
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
    mNetwork = std::thread([this] { mIo.run(); });
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
    mIo.stop();
    mNetwork.join();
}

// --- session -------------------------------------------------------------------------------------------

template <class Result, class Make>
std::optional<Result> LinkMessenger::Ask(const std::shared_ptr<Session>& session, Make make, Limit limit)
{
    const auto answer = std::make_shared<Answer<Result>>();
    asio::co_spawn(
        mIo, [session, make, answer]() -> asio::awaitable<void> { answer->Finish(co_await make(*session)); },
        asio::detached);
    mNeeds.wait.Wait(*answer, limit);
    return answer->Value();
}

std::shared_ptr<Session> LinkMessenger::NewSession()
{
    return std::make_shared<Session>(
        mIo, mContext, mQueue,
        SessionNeeds{mNeeds.program.toStdString(), mNeeds.zephyldPath.toStdString(), mNeeds.log});
}

/// Its end belongs to the network thread.
void LinkMessenger::Release(std::shared_ptr<Session> session)
{
    if (session) asio::post(mIo, [gone = std::move(session)] { gone->Drop(); });
}

Target LinkMessenger::ReadTarget() const
{
    const QString service = Trim(mTypedAddress.value_or(mNeeds.settings.Read(mConfig).service));
    if (service.isEmpty()) return Target{{}, {}, 0, true};
    const auto address = ReadServiceAddress(service.toStdString());
    if (!address) Fail(QStringLiteral("\"%1\" is not the address of a service.").arg(service));
    return Target{service.toStdString(), address->host, address->port, false};
}

/// A session whose connection stands and is trusted; nothing of ours has been sent. Throws.
std::shared_ptr<Session> LinkMessenger::ConnectTrusted(Deadline& deadline)
{
    const Target target = ReadTarget();
    const QString name =
        target.personal ? QStringLiteral("on this computer") : QString::fromStdString(target.name);
    for (int round = 0; round < 2; ++round) {
        std::shared_ptr<Session> session = NewSession();
        const auto outcome = Ask<ConnectOutcome>(
            session, [target](Session& s) { return s.Connect(target); }, Remaining(deadline));
        if (outcome && outcome->problem.empty() && SettleTrust(target, *outcome, deadline)) return session;
        Release(std::move(session));
        if (!outcome) Fail(QStringLiteral("The service %1 does not answer.").arg(name));
        if (!outcome->problem.empty())
            Fail(QStringLiteral("The service %1 cannot be reached: %2")
                     .arg(name, QString::fromStdString(outcome->problem)));
    }
    Fail(QStringLiteral("The service %1 changed its key just now.").arg(name));
}

/// False: the key was accepted only now, while the connection waited too long; connect again.
bool LinkMessenger::SettleTrust(const Target& target, const ConnectOutcome& outcome, Deadline& deadline)
{
    if (target.personal) return outcome.known;
    const QString name = QString::fromStdString(target.name);
    const QString key = QString::fromStdString(outcome.peer.fingerprint);
    std::optional<std::string> pinned;
    if (const auto known = mNeeds.settings.PinnedKey(name)) pinned = known->toStdString();
    switch (Judge(outcome.peer.fingerprint, outcome.peer.vouched, pinned)) {
        case Trust::Yes: return true;
        case Trust::Changed:
            Fail(QStringLiteral("The key of the service %1 is not the one that was accepted before. "
                                "Nothing was sent. It is now %2.")
                     .arg(name, key));
        case Trust::Ask: break;
    }
    const auto asked = SteadyClock::now();
    const bool accepted = mNeeds.trust.Ask(name, key);
    deadline += SteadyClock::now() - asked;
    if (!accepted) Fail(QStringLiteral("The key of the service %1 was not accepted.").arg(name));
    mNeeds.settings.PinKey(name, key);
    return false;
}

QString LinkMessenger::PasswordOf(const QString& stored) const
{
    const QString password = DecipherPassword(stored);
    const bool lost = PasswordWasLost(stored) || (!password.isEmpty() && password.count(u'?') == password.size());
    if (lost)
        Fail(QStringLiteral(
            "The password has characters that Windows-1252 does not know. Choose another one."));
    return password;
}

bool LinkMessenger::Login(const QString& handle, const QString& password, const QString& hostname)
{
    EndSession(kEndTime);
    mRefusal.clear();
    try {
        const LoginWords words{handle.toStdString(), PasswordOf(password).toStdString(),
                               hostname.toStdString()};
        Deadline deadline = SteadyClock::now() + kCallTime;
        std::shared_ptr<Session> session = ConnectTrusted(deadline);
        const auto outcome = Ask<LoginOutcome>(
            session, [words, deadline](Session& s) { return s.Login(words, deadline); }, Remaining(deadline));
        if (outcome && outcome->refusal.empty()) {
            mAccount = {QString::fromStdString(outcome->handle), QString::fromStdString(outcome->serverKey),
                        QString::fromStdString(outcome->sendTag), outcome->permitted};
            mSession = std::move(session);
            return true;
        }
        Release(std::move(session));
        Fail(outcome ? QString::fromStdString(outcome->refusal)
                     : QStringLiteral("The service does not answer."));
    } catch (const std::exception& e) {
        mRefusal = QString::fromUtf8(e.what());
        mNeeds.log(QStringLiteral("Login refused: %1").arg(mRefusal));
    }
    return false;
}

bool LinkMessenger::LoggedIn() const
{
    return mSession && mSession->EndReason().isEmpty();
}

bool LinkMessenger::HasMeetingPermission()
{
    if (!LoggedIn()) Fail(mSession ? mSession->EndReason() : QStringLiteral("There is no session."));
    return mAccount.permitted;
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
    if (!outcome) Fail(QStringLiteral("The service does not answer."));
    if (!outcome->problem.empty()) Fail(QString::fromStdString(outcome->problem));
    return QString::fromStdString(outcome->address);
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
    Ask<QString>(
        mSession, [deadline](Session& s) { return s.Logout(deadline); }, limit);
    Release(std::exchange(mSession, nullptr));
    mAccount = {};
    ForgetMeeting();
    mUsers->Clear();
    mQueue.PushState(LinkState{});
}

void LinkMessenger::Logout()
{
    EndSession(kLeaveTime);
}

void LinkMessenger::Close()
{
    EndSession(kEndTime);
}

LinkStats LinkMessenger::Stats()
{
    if (!mSession) return {};
    const auto stats = Ask<LinkStats>(
        mSession, [](Session& s) -> asio::awaitable<LinkStats> { co_return s.Stats(); }, kEndTime);
    return stats.value_or(LinkStats{});
}

// --- meeting -------------------------------------------------------------------------------------------

bool LinkMessenger::CreateMeeting(const QString& meetingCode, const QString&)
{
    return Enter(meetingCode, true);
}

bool LinkMessenger::JoinMeeting(const QString& meetingCode)
{
    return Enter(meetingCode, false);
}

bool LinkMessenger::Enter(const QString& code, bool create)
{
    if (!mSession) Fail(QStringLiteral("There is no session."));
    if (mInMeeting) LeaveMeeting();
    const quint64 entry = ++mLastEntry;
    const Deadline deadline = SteadyClock::now() + kCallTime;
    const auto outcome = Ask<EnterOutcome>(
        mSession,
        [text = code.toStdString(), create, entry, clear = mMetBefore, deadline](Session& s) {
            return s.Enter(text, create, entry, clear, deadline);
        },
        kCallTime);
    if (!outcome) {
        asio::co_spawn(
            mIo, [session = mSession, entry] { return session->Leave(entry, SteadyClock::now()); },
            asio::detached);
        Fail(QStringLiteral("The service does not answer."));
    }
    if (outcome->kind == EnterOutcome::Kind::Failed) Fail(QString::fromStdString(outcome->reason));
    if (outcome->kind == EnterOutcome::Kind::Refused) {
        mNeeds.log(QStringLiteral("Meeting refused: %1").arg(QString::fromStdString(outcome->reason)));
        return false;
    }
    mEntry = entry;
    mQueue.DropBefore(entry);
    mInMeeting = mMetBefore = true;
    FillUsers(outcome->attendees);
    return true;
}

/// A new entry has a new collection, the own handle first.
void LinkMessenger::FillUsers(const std::vector<Attendee>& attendees)
{
    mUsers->Clear();
    mUsers = std::make_shared<LinkUsers>();
    mAddresses.clear();
    const auto add = [this](const QString& handle) {
        auto item = MakeUserItem();
        item->Init(handle, true);
        mUsers->Add(std::move(item), 0);
    };
    add(mAccount.handle);
    for (const Attendee& one : attendees) {
        const QString handle = QString::fromStdString(one.handle());
        mAddresses.insert(handle, QString::fromStdString(one.address()));
        if (handle != mAccount.handle) add(handle);
    }
}

void LinkMessenger::LeaveMeeting()
{
    CloseFold();
    if (!mSession || !mInMeeting) return;
    const quint64 entry = ++mLastEntry;
    const Deadline deadline = SteadyClock::now() + kLeaveTime - kMargin;
    const auto undelivered = Ask<QString>(
        mSession, [entry, deadline](Session& s) { return s.Leave(entry, deadline); }, kLeaveTime);
    mEntry = entry;
    mQueue.DropBefore(entry);
    mInMeeting = false;
    if (undelivered && !undelivered->isEmpty()) Note(*undelivered);
}

/// A passing remark beside the state of the connection.
void LinkMessenger::Note(const QString& text)
{
    LinkState state;
    state.phase = LinkState::Phase::Connected;
    state.text = text;
    mQueue.PushState(std::move(state));
}

void LinkMessenger::ForgetMeeting()
{
    mInMeeting = false;
    mEntry = ++mLastEntry;
    mQueue.DropBefore(mEntry);
    mAddresses.clear();
}

// --- events --------------------------------------------------------------------------------------------

void LinkMessenger::SetEvents(MessengerEvents* sink)
{
    mSink = sink;
    if (sink) Wake();
}

/// Any thread.
void LinkMessenger::Wake()
{
    if (mDrainPosted.exchange(true)) return;
    mNeeds.post.Post([this, alive = std::weak_ptr<Outlet>(mAlive)] {
        if (!alive.expired()) Drain();
    });
}

void LinkMessenger::Drain()
{
    constexpr std::chrono::milliseconds kSlice = 8ms;  // then the window has its turn
    mDrainPosted = false;
    const std::weak_ptr<Outlet> alive = mAlive;
    const auto until = SteadyClock::now() + kSlice;
    while (DeliverOne()) {
        if (alive.expired()) return;
        if (SteadyClock::now() >= until) return Wake();
    }
}

/// False: nothing may or can be delivered now. A handler may end the link.
bool LinkMessenger::DeliverOne()
{
    if (!mSink || !mNeeds.gate.IsOpen()) return false;
    if (const auto state = mQueue.TakeState()) {
        mSink->LinkChanged(*state);
        return true;
    }
    const auto ready = mQueue.Take(mEntry);
    if (!ready) return false;
    if (ready->event.kind != LinkEvent::Kind::Nothing) {
        CloseFold();
        Deliver(*ready);
    }
    return true;
}

void LinkMessenger::Deliver(const ReadyEvent& ready)
{
    const LinkEvent& event = ready.event;
    switch (event.kind) {
        case LinkEvent::Kind::Message: return mSink->NewMessage(event.from, event.text);
        case LinkEvent::Kind::Status:
            if (event.status == kStatusPresent) mAddresses.insert(event.from, event.text);
            if (event.status == kStatusLeft) mAddresses.remove(event.from);
            return mSink->StatusChanged(event.from, event.status);
        case LinkEvent::Kind::Frame:
            return mSink->VideoFrame(event.from, ready.picture, event.x, event.y, event.type);
        case LinkEvent::Kind::Nothing: return;
    }
}

std::shared_ptr<UserItem> LinkMessenger::MakeUserItem()
{
    return std::make_shared<LinkUserItem>(mAlive);
}

std::unique_ptr<FrameEncoder> LinkMessenger::MakeFrameEncoder()
{
    return std::make_unique<JpegFrameEncoder>();
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
