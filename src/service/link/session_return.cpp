// The way back after a cut: resume, else log in again and enter the same meeting, until it works or the
// service says that there is nothing to come back to. A try that is silent is not waited for: the next one
// goes beside it, and whoever is answered last has the seat, as the service sees it, too.

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/link/session_parts.h"
#include "service/link/words.h"

namespace zephyl::link {

namespace asio = boost::asio;
using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::milliseconds kLongestPause = 15s;       // between tries that end
constexpr std::chrono::milliseconds kLongestSilence = 2500ms;  // before a silent one gets company
constexpr std::chrono::milliseconds kTalkersPause = 600ms;     // between tries of who talks with somebody,
constexpr auto kTalkersHurry = 20s;                            // for so long
constexpr std::size_t kWaysAtOnce = 4, kWaysToOthers = 4;
constexpr auto kAskAlone = 1s;  // two that ask at once would take the seat from each other
constexpr std::chrono::milliseconds kProof = 3s;
constexpr std::chrono::milliseconds kProving = 15s;
constexpr int kProofsAtOnce = 4;  // then a service may just be slow
constexpr auto kStood = 10s;      // a connection that stood so long was a good one
constexpr std::chrono::milliseconds kProofAwake = 700ms, kProvingAwake = 2s;

Deadline CallTime()
{
    return SteadyClock::now() + kCallTime;
}

}  // namespace

void Session::OnLost(const std::string& reason)
{
    CloseConnection(reason);
    if (mPhase == Phase::Idle || mReturning) return;
    if (mProgress || SteadyClock::now() - mBackAt >= kStood) BeginAnew();
    SayCut(reason);
    mReturning = true;
    mRound.Begin(std::exchange(mFirst, RelayRound::First::Here));
    const auto self = shared_from_this();
    asio::co_spawn(
        mIo, [self] { return self->Return(); }, asio::detached);
}

/// The connection was a good one: what came before it is forgotten.
void Session::BeginAnew()
{
    mPauseLength = kFirstPause;
    mHurryUntil = SteadyClock::now() + kTalkersHurry;
    mVainReturns = 0;
    mHurried = false;
}

void Session::SayCut(const std::string& reason)
{
    mUntold = false;
    TellVoicePeople();
    const QString why = QString::fromStdString(reason);
    mNeeds.log(QStringLiteral("The connection to the service is lost: %1").arg(why));
    State(LinkState::Phase::Cut, English("Cut off, trying again: %1").arg(why));
    NotifyChanged();
}

asio::awaitable<void> Session::WatchSleep()
{
    const auto self = shared_from_this();
    mSleep.emplace(mIo.get_executor(), mNeeds.slept);
    while (mPhase != Phase::Idle) {
        const auto slept = co_await mSleep->Woken();
        if (slept == 0ms) co_return;
        OnWoken(slept);
    }
}

/// The others, and the service, have lived through all of that time. The service of this computer has not: it
/// slept as well.
void Session::OnWoken(std::chrono::milliseconds slept)
{
    mNeeds.log(QStringLiteral("This computer slept for %1 seconds.").arg(slept.count() / 1000));
    mPauseLength = kFirstPause;
    if (mConnection && (mTarget.personal || slept < kLostAfterSilence))
        return mConnection->Prove(kProofAwake, kProvingAwake);
    if (mConnection) OnLost("this computer slept");
    for (const auto& way : std::deque(mWays)) way->Close();  // they went nowhere while it slept
    mNextTry = SteadyClock::now();
    mPause.cancel();
}

std::chrono::milliseconds Session::Jittered(std::chrono::milliseconds pause)
{
    std::uniform_real_distribution<double> jitter(0.75, 1.25);
    return std::chrono::duration_cast<std::chrono::milliseconds>(pause * jitter(mRandom));
}

/// A voice is missed at once: whoever talks waits less, for a while.
std::chrono::milliseconds Session::NextPause()
{
    const bool hurries = !mTalkWith.empty() && SteadyClock::now() < mHurryUntil;
    return Jittered(hurries ? std::min(mPauseLength, kTalkersPause) : mPauseLength);
}

/// `company`: when one that is silent gets it.
Deadline Session::NextWay(Deadline company) const
{
    if (mWays.empty()) return mNextTry;
    // What is behind a door of this computer is not far away: it starts, or it stands still.
    return mTarget.personal ? Deadline::max() : std::min(mNextTry, std::max(company, mNoEarlier));
}

asio::awaitable<void> Session::Return()
{
    const auto self = shared_from_this();
    mNoEarlier = SteadyClock::now() + std::exchange(mAskedWait, 0ms);
    mNextTry = std::max(SteadyClock::now() + NextPause(), mNoEarlier);
    Deadline company = Deadline::max();
    while (mPhase != Phase::Idle && !mReady) {
        const Deadline due = NextWay(company);
        if (SteadyClock::now() >= due) {
            company = SteadyClock::now() + Jittered(kLongestSilence);
            BeginWay();
            if (mRound.Whole()) mPauseLength = std::min(mPauseLength * 2, kLongestPause);
            mNextTry = SteadyClock::now() + NextPause();
            continue;
        }
        mPause.expires_at(due);
        co_await mPause.async_wait(asio::as_tuple(asio::use_awaitable));
    }
    mReturning = false;
    NotifyChanged();
}

/// Somebody waits for an answer: the next try is now, unless the service asked for the pause. Once until
/// something is carried again, or a service that closes at each question would set the pace.
void Session::HurryBack()
{
    if (!mReturning || std::exchange(mHurried, true) || SteadyClock::now() < mNoEarlier) return;
    mNextTry = SteadyClock::now();
    mPause.cancel();
}

void Session::BeginWay()
{
    if (mUntold) SayCut("the relay of the meeting does not answer");
    const std::size_t most = kWaysAtOnce + (mRound.Alone() ? 0 : kWaysToOthers);
    while (mWays.size() >= most) {
        mWays.front()->Close();
        mWays.pop_front();
    }
    const auto way = std::make_shared<WayBack>(mIo, ++mLastWay, mRound.Next());
    mWays.push_back(way);
    asio::co_spawn(
        mIo, [self = shared_from_this(), way] { return self->Travel(way); }, asio::detached);
}

asio::awaitable<void> Session::Travel(std::shared_ptr<WayBack> way)
{
    const auto self = shared_from_this();
    try {
        auto connection = co_await OpenAt(way->relay);
        if (way->stage == WayBack::Stage::Over || mPhase == Phase::Idle || mReady) {
            connection->Close();
        } else {
            RequireSameService(connection->Peer(), way->relay);
            way->connection = std::move(connection);
            co_await WaitToAsk(way);
            if (way->stage == WayBack::Stage::Asking) {
                GreetOn(*way);
                co_await AskBack(*way);
            }
        }
    } catch (const EndedForGood& e) {
        if (!mReady) End(QString::fromUtf8(e.what()));
    } catch (const std::exception&) {
        // the next one may fare better
    }
    Arrived(way);
}

/// Or not: then the others go on.
void Session::Arrived(const std::shared_ptr<WayBack>& way)
{
    if (way->askedWait > 0ms && (!way->restarts || mRound.Alone())) {
        mNoEarlier = SteadyClock::now() + way->askedWait;
        mNextTry = std::max(mNextTry, mNoEarlier);
    }
    way->Close();
    std::erase(mWays, way);
    for (const auto& other : mWays) other->pause.cancel();
    mPause.cancel();
}

/// Not the one who was trusted: nothing is said to it. An authority may vouch for another key of the host
/// that the user named; that somebody else's is vouched for means nothing.
void Session::RequireSameService(const TlsPeer& peer, const ServiceAddress& relay)
{
    const bool home = mRound.IsHome(relay);
    const bool known = peer.fingerprint == (mTarget.personal ? mExpectedKey : mTrusted.fingerprint);
    const bool renewed = home && !mTarget.personal && mTrusted.vouched && peer.vouched;
    const bool same = mTarget.pin ? peer.fingerprint == *mTarget.pin : known || renewed;
    if (same && renewed) mTrusted = peer;
    if (same) return;
    if (home) throw EndedForGood("The key of the service has changed.");
    mRound.Forget(relay);
    mNeeds.log(QStringLiteral("Nothing was said to %1: it has another key than the service.")
                   .arg(QString::fromStdString(link::ServiceName(relay))));
    throw std::runtime_error("another key");
}

/// Who asks while another is still without an answer would take the seat from it. So those who could ask wait
/// a moment, and of them only the newest stays: its road is the freshest.
asio::awaitable<void> Session::WaitToAsk(std::shared_ptr<WayBack> way)
{
    for (const auto& other : std::deque(mWays))
        if (other->stage == WayBack::Stage::Waiting) other->Close();
    way->stage = WayBack::Stage::Waiting;
    while (way->stage == WayBack::Stage::Waiting) {
        Deadline free{};
        for (const auto& other : mWays)
            if (other->stage == WayBack::Stage::Asking) free = std::max(free, other->askedAt + kAskAlone);
        if (SteadyClock::now() >= free) {
            way->stage = WayBack::Stage::Asking;
            way->askedAt = SteadyClock::now();
            co_return;
        }
        way->pause.expires_at(free);
        co_await way->pause.async_wait(asio::as_tuple(asio::use_awaitable));
    }
}

void Session::GreetOn(WayBack& way)
{
    way.connection->Run(way);
    if (way.connection) way.connection->Control(HelloHeader());
}

asio::awaitable<void> Session::AskBack(WayBack& way)
{
    if (!way.connection) co_return;
    // Each wait is a statement of its own: GCC 12 makes nonsense of one behind && or ||.
    if (mSeat) {
        const Result resumed = co_await TryResume(way);
        if (resumed == RESULT_OK || resumed == RESULT_LATER) co_return;
    }
    if (mReady || !way.connection) co_return;  // who has the seat meanwhile has the session
    if (mUntold) SayCut("the seat has gone");
    const bool loggedIn = co_await LoginAgain(way);
    if (loggedIn && mSeat && !mReady && way.connection) co_await EnterAgain(way);
}

/// The service has answered on this way, so it is the one from now on; whoever asked before has lost the seat
/// to it, or never got it.
bool Session::Adopt(WayBack& way)
{
    if (way.number < mAdopted || mPhase == Phase::Idle || !way.connection) return false;
    mAdopted = way.number;
    if (mConnection) CloseConnection("another way back was shorter");
    mConnection = std::move(way.connection);
    mConnection->HandTo(*this);
    NewConnection();
    mRound.At(way.relay);
    if (way.welcome) TakeWelcome(*way.welcome);
    for (const auto& other : std::deque(mWays))
        if (other.get() != &way && other->stage != WayBack::Stage::Asking) other->Close();
    mProgress = false;
    mBackAt = SteadyClock::now();
    mReconnects += !mUntold;
    mReady = true;
    return true;
}

void Session::TellBack(LinkState::Back how, const char* text)
{
    const int doublings = std::clamp(mVainReturns++ - kProofsAtOnce, 0, 2);
    mConnection->Prove(kProof * (1 << doublings), kProving);
    if (std::exchange(mUntold, false))
        ShowStanding();
    else
        State(LinkState::Phase::Connected, QLatin1String(text), how);
    NotifyChanged();
}

/// The seat is taken again, or another one when it had gone; whoever left meanwhile gave it up.
void Session::BackAt(const Place& place)
{
    if (!mSeat) {
        Header header;
        header.mutable_leave()->set_call(++mLastCall);
        return mConnection->Control(header);
    }
    const bool sameSeat = place.seat() == mSeat->number;
    TakePlace(place);
    mIncoming.Return(place);
    if (!sameSeat)
        Say(English("Something may be missing: this client was away for too long. Ask the others."));
}

Cursor Session::TakenCursor() const
{
    const ReadMarks marks = mQueue.Marks(false);
    Cursor cursor;
    cursor.set_talk(marks.talk);
    cursor.set_board(marks.board);
    return cursor;
}

asio::awaitable<Result> Session::TryResume(WayBack& way)
{
    Header header;
    Resume& resume = *header.mutable_resume();
    resume.set_call(++mLastCall);
    resume.set_meeting(mSeat->meeting);
    resume.set_seat(mSeat->number);
    resume.set_token(mSeat->token);
    resume.set_own_places(true);
    *resume.mutable_cursor() = TakenCursor();
    const Header answer =
        co_await way.calls.Ask(*way.connection, header, mLastCall, CallTime(), [&](const Header& at) {
            if (at.resumed().result() != RESULT_OK || !Adopt(way)) return;
            BackAt(at.resumed().place());
            TellBack(LinkState::Back::Resumed, "The connection is back.");
        });
    if (answer.resumed().result() == RESULT_LATER) way.askedWait = AskedWait(answer.resumed().wait_ms());
    co_return answer.resumed().result();
}

asio::awaitable<bool> Session::LoginAgain(WayBack& way)
{
    const Header question = LoginHeader(true);
    const Header answer =
        co_await way.calls.Ask(*way.connection, question, mLastCall, CallTime(), [&](const Header& at) {
            if (at.logged_in().result() != RESULT_OK || mSeat || !Adopt(way)) return;
            TellBack(LinkState::Back::Resumed, "The connection is back.");
        });
    const LoggedIn& login = answer.logged_in();
    KeepWord(login);
    switch (login.result()) {
        case RESULT_OK: co_return true;
        case RESULT_WRONG:
        case RESULT_TAKEN_OVER: throw EndedForGood(RefusalText(login.result()));
        default: way.askedWait = AskedWait(login.wait_ms()); co_return false;
    }
}

asio::awaitable<void> Session::EnterAgain(WayBack& way)
{
    Header header;
    zephyl::Enter& enter = *header.mutable_enter();
    enter.set_call(++mLastCall);
    enter.set_code(mSeat->code);
    enter.set_rejoin(mSeat->meeting);
    enter.set_own_places(true);
    *enter.mutable_cursor() = TakenCursor();
    const Header answer =
        co_await way.calls.Ask(*way.connection, header, mLastCall, CallTime(), [&](const Header& at) {
            if (at.entered().result() != RESULT_OK || !Adopt(way)) return;
            BackAt(at.entered().place());
            TellBack(LinkState::Back::Returned, "Back in the meeting.");
        });
    const Entered& entered = answer.entered();
    switch (entered.result()) {
        case RESULT_OK: co_return;
        case RESULT_ENDED:
        case RESULT_NOT_FOUND:
        case RESULT_NOT_PERMITTED: throw EndedForGood(RefusalText(entered.result()));
        default: way.askedWait = AskedWait(entered.wait_ms());
    }
}

}  // namespace zephyl::link
