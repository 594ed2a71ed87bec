// The way back after a cut: resume, else log in again and enter the same meeting, until it works or the
// service says that there is nothing to come back to.

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/link/session_parts.h"

namespace zephyl::link {

namespace asio = boost::asio;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kFirstPause = 250ms;
constexpr std::chrono::milliseconds kLongestPause = 15s;

/// There is nothing to come back to.
struct EndedForGood : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Deadline CallTime()
{
    return std::chrono::steady_clock::now() + kCallTime;
}

}  // namespace

void Session::OnLost(const std::string& reason)
{
    CloseConnection(reason);
    if (mPhase == Phase::Idle || mReturning) return;
    const QString why = QString::fromStdString(reason);
    mNeeds.log(QStringLiteral("The connection to the service is lost: %1").arg(why));
    State(LinkState::Phase::Cut, QStringLiteral("Cut off, trying again: %1").arg(why));
    NotifyChanged();
    mReturning = true;
    const auto self = shared_from_this();
    asio::co_spawn(
        mIo, [self] { return self->Return(); }, asio::detached);
}

asio::awaitable<void> Session::Return()
{
    const auto self = shared_from_this();
    std::chrono::milliseconds pause = kFirstPause;
    while (mPhase != Phase::Idle) {
        std::uniform_real_distribution<double> jitter(0.75, 1.25);
        const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(pause * jitter(mRandom));
        const std::chrono::milliseconds asked = std::exchange(mAskedWait, 0ms);
        mMayHurry = asked == 0ms;
        mPause.expires_after(std::max(wait, asked));
        const auto [hurried] = co_await mPause.async_wait(asio::as_tuple(asio::use_awaitable));
        mMayHurry = false;
        if (mPhase == Phase::Idle) break;
        pause = hurried ? kFirstPause : std::min(pause * 2, kLongestPause);
        try {
            if (co_await ReturnOnce()) break;
        } catch (const EndedForGood& e) {
            End(QString::fromUtf8(e.what()));
        } catch (const std::exception& e) {
            CloseConnection(ProblemText(e));
        }
    }
    mReturning = false;
    NotifyChanged();
}

/// Somebody waits for an answer: the next try is now, unless the service asked for the pause.
void Session::HurryBack()
{
    if (mMayHurry) mPause.cancel();
}

/// False: not yet. Throws EndedForGood, or whatever the connection throws.
asio::awaitable<bool> Session::ReturnOnce()
{
    std::shared_ptr<Connection> connection = co_await OpenTarget();
    if (mPhase == Phase::Idle) co_return true;
    const TlsPeer& peer = connection->Peer();
    const bool known = peer.fingerprint == (mTarget.personal ? mExpectedKey : mTrusted.fingerprint);
    const bool renewed = !mTarget.personal && mTrusted.vouched && peer.vouched;
    const bool same = mTarget.pin ? peer.fingerprint == *mTarget.pin : known || renewed;
    if (!same) throw EndedForGood("The key of the service has changed.");
    mConnection = std::move(connection);
    Greet();
    const bool resumed = mSeat && co_await TryResume(CallTime());
    bool back = resumed;
    if (!back) back = co_await LoginAgain(CallTime()) && (!mSeat || co_await EnterAgain(CallTime()));
    if (!back || !mConnection) {
        CloseConnection("not yet");
        co_return false;
    }
    ++mReconnects;
    mReady = true;
    if (resumed)
        State(LinkState::Phase::Connected, QStringLiteral("The connection is back."),
              LinkState::Back::Resumed);
    else
        State(LinkState::Phase::Connected, QStringLiteral("Back in the meeting."), LinkState::Back::Returned);
    NotifyChanged();
    co_return true;
}

/// The seat is taken again, or another one when it had gone; whoever left meanwhile gave it up.
void Session::BackAt(const Place& place)
{
    if (!mSeat) return;
    const bool sameSeat = place.seat() == mSeat->number;
    TakePlace(place);
    mIncoming.Return(place);
    if (!sameSeat) Say(QStringLiteral("Something may be missing: this client was away for too long."));
}

Cursor Session::TakenCursor() const
{
    const ReadMarks marks = mQueue.Marks(false);
    Cursor cursor;
    cursor.set_talk(marks.talk);
    cursor.set_board(marks.board);
    return cursor;
}

asio::awaitable<bool> Session::TryResume(Deadline deadline)
{
    Header header;
    Resume& resume = *header.mutable_resume();
    resume.set_call(++mLastCall);
    resume.set_meeting(mSeat->meeting);
    resume.set_seat(mSeat->number);
    resume.set_token(mSeat->token);
    *resume.mutable_cursor() = TakenCursor();
    const Header answer = co_await Call(header, mLastCall, deadline, [this](const Header& at) {
        if (at.resumed().result() == RESULT_OK) BackAt(at.resumed().place());
    });
    co_return answer.resumed().result() == RESULT_OK;
}

asio::awaitable<bool> Session::LoginAgain(Deadline deadline)
{
    const LoggedIn answer = co_await AskLogin(true, deadline);
    switch (answer.result()) {
        case RESULT_OK: co_return true;
        case RESULT_WRONG:
        case RESULT_TAKEN_OVER: throw EndedForGood(RefusalText(answer.result()));
        default: mAskedWait = std::chrono::milliseconds(answer.wait_ms()); co_return false;
    }
}

asio::awaitable<bool> Session::EnterAgain(Deadline deadline)
{
    Header header;
    zephyl::Enter& enter = *header.mutable_enter();
    enter.set_call(++mLastCall);
    enter.set_code(mSeat->code);
    enter.set_rejoin(mSeat->meeting);
    *enter.mutable_cursor() = TakenCursor();
    const Header answer = co_await Call(header, mLastCall, deadline, [this](const Header& at) {
        if (at.entered().result() == RESULT_OK) BackAt(at.entered().place());
    });
    const Entered& entered = answer.entered();
    switch (entered.result()) {
        case RESULT_OK: co_return true;
        case RESULT_ENDED:
        case RESULT_NOT_FOUND:
        case RESULT_NOT_PERMITTED: throw EndedForGood(RefusalText(entered.result()));
        default: mAskedWait = std::chrono::milliseconds(entered.wait_ms()); co_return false;
    }
}

}  // namespace zephyl::link
