// The meeting half of LinkMessenger: entering, its collection, leaving, and the events on their way out.

#include <algorithm>
#include <boost/asio/post.hpp>

#include "service/link/jpeg_frame_encoder.h"
#include "service/link/messenger_parts.h"
#include "service/link/trust.h"
#include "service/wire/limits.h"

namespace zephyl::link {

namespace asio = boost::asio;
using SteadyClock = std::chrono::steady_clock;
using namespace std::chrono_literals;

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
    if (!mSession) Fail(English("There is no session."));
    if (mInMeeting) LeaveMeeting();
    const quint64 entry = ++mLastEntry;
    const Deadline deadline = SteadyClock::now() + kCallTime;
    const auto outcome = Ask<EnterOutcome>(
        mSession,
        [text = code.toStdString(), create, entry, before = mLastBoardPost, deadline](Session& s) {
            return s.Enter(text, create, entry, before, deadline);
        },
        kCallTime);
    if (!outcome) {
        asio::co_spawn(
            mIo, [session = mSession, entry] { return session->Leave(entry, SteadyClock::now()); },
            asio::detached);
        Fail(English("The service does not answer. Try again in a moment."));
    }
    if (outcome->kind == EnterOutcome::Kind::Failed) Fail(QString::fromStdString(outcome->reason));
    if (outcome->kind == EnterOutcome::Kind::Refused) {
        mRefusal = QString::fromStdString(outcome->reason);
        return false;
    }
    mRefusal.clear();
    mEntry = entry;
    mQueue.DropBefore(entry);
    mInMeeting = true;
    mPlacesOwn = outcome->placesOwn;
    mStarted = outcome->started;
    FillUsers(outcome->attendees);
    return true;
}

LettingIn LinkMessenger::LetOthersIn(LetInWish wish)
{
    if (!mSession) Fail(English("There is no session."));
    const Deadline deadline = SteadyClock::now() + kCallTime;
    const auto asked = wish == LetInWish::Open    ? zephyl::LetIn::OPEN
                       : wish == LetInWish::Close ? zephyl::LetIn::CLOSE
                                                  : zephyl::LetIn::ASK;
    const auto outcome = Ask<LetInOutcome>(
        mSession, [asked, deadline](Session& s) { return s.LetIn(asked, deadline); }, kCallTime);
    if (!outcome) Fail(English("The service does not answer. Try again in a moment."));
    if (!outcome->problem.empty()) Fail(QString::fromStdString(outcome->problem));
    LettingIn answer;
    for (const std::string& address : outcome->addresses) answer.addresses += QString::fromStdString(address);
    switch (outcome->result) {
        case RESULT_OK: break;
        case RESULT_IN_USE:
            answer.problem =
                English("Another meeting on this computer is open to others already. Leave that one first.");
            break;
        case RESULT_LATER:
            answer.problem = English("This computer does not let a program listen on the network just now.");
            break;
        default:
            answer.problem =
                English("Only a meeting at this computer's own service can be opened to the local network.");
    }
    return answer;
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

QString LinkMessenger::AddressOf(const QString& handle) const
{
    return QString::fromStdString(
        AddressFromHere(mAddresses.value(handle).toStdString(), mFace.service.toStdString()));
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
    state.remark = true;
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
    // Then the window has its turn: soon, but a newcomer's board is not painted after each few strokes.
    constexpr std::chrono::milliseconds kShortest = 8ms, kLongest = 24ms, kLongestOfEarlier = 48ms;
    mDrainPosted = false;
    const std::weak_ptr<Outlet> alive = mAlive;
    mSlice = std::clamp(mSlice, kShortest, mEarlier ? kLongestOfEarlier : kLongest);
    const auto until = SteadyClock::now() + mSlice;
    while (DeliverOne()) {
        if (alive.expired()) return;
        if (SteadyClock::now() < until) continue;
        mSlice *= 2;
        return Wake();
    }
    if (!alive.expired() && mNeeds.gate.IsOpen()) mSlice = kShortest;
}

/// False: nothing may or can be delivered now. A handler may end the link.
bool LinkMessenger::DeliverOne()
{
    if (!mSink || !mNeeds.gate.IsOpen()) return false;
    if (const auto state = mQueue.TakeState()) {
        mSink->LinkChanged(*state);
        return true;
    }
    if (const auto news = mQueue.TakeLineNews()) {
        TellLines(*news);
        return true;
    }
    const auto ready = mQueue.Take(mEntry);
    if (!ready) return false;
    if (ready->event.kind != LinkEvent::Kind::Nothing) {
        CloseFold();
        const std::weak_ptr<Outlet> alive = mAlive;
        mDrawn = ready->event.drawn;
        mEarlier = mDrawn.has_value();
        mDelivered = ready->event.line == Line::Board ? ready->event.sequence : 0;
        Deliver(*ready);
        if (alive.expired()) return false;
        mDrawn.reset();
        mDelivered = 0;
    }
    return true;
}

void LinkMessenger::TellLines(const LineNews& news)
{
    const std::weak_ptr<Outlet> alive = mAlive;  // a handler may end the link
    for (const quint64 line : news.lost) {
        mSink->LineLost(line);
        if (alive.expired() || !mSink) return;
    }
    if (news.acceptedUpTo > 0) mSink->LinesAccepted(news.acceptedUpTo);
}

std::optional<std::chrono::milliseconds> LinkMessenger::EventAge() const
{
    if (!mDrawn) return std::nullopt;
    return std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - *mDrawn);
}

void LinkMessenger::Deliver(const ReadyEvent& ready)
{
    const LinkEvent& event = ready.event;
    const std::weak_ptr<Outlet> alive = mAlive;  // a handler may end the link
    switch (event.kind) {
        case LinkEvent::Kind::Message: return mSink->NewMessage(event.from, event.text);
        case LinkEvent::Kind::Status:
            if (event.status == kStatusPresent) mAddresses.insert(event.from, event.text);
            // Who came just before the meeting was left has not been told of.
            if (event.status == kStatusLeft && !mAddresses.contains(event.from)) return;
            mSink->StatusChanged(event.from, event.status);  // of who has left the address is still asked
            if (!alive.expired() && event.status == kStatusLeft && event.entry == mEntry)
                mAddresses.remove(event.from);
            return;
        case LinkEvent::Kind::Frame:
            return mSink->VideoFrame(event.from, ready.picture, event.x, event.y, event.type);
        case LinkEvent::Kind::TakenBack: return mSink->TakenBack(event.from, event.text);
        case LinkEvent::Kind::Begins: return mSink->BoardBegins(event.post);
        case LinkEvent::Kind::Placed: return mSink->OwnPlaced(event.post);
        case LinkEvent::Kind::Passed: return mSink->OwnPassed(event.post);
        case LinkEvent::Kind::Lost: return mSink->OwnLost(event.post);
        case LinkEvent::Kind::PlacesEnd: mPlacesOwn = false; return mSink->OwnPlacesEnd();
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
