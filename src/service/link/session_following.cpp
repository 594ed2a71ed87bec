// A seat whose meeting another relay keeps goes there: from a connection that stands to one that stands, and
// nobody notices. Whatever is in the way, it stays where it is.

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/link/session_parts.h"

namespace zephyl::link {

namespace asio = boost::asio;
using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

namespace {

constexpr auto kGoAgain = 60s;
constexpr auto kGreetingTime = 3s;
constexpr auto kAloneTime = 1500ms;  // then the way back begins beside it
constexpr std::size_t kSentAgain = 64 * 1024;

}  // namespace

/// What is half through would go or come once more. Behind a web server there is no other road than the one
/// it chooses.
bool Session::MayGo() const
{
    const bool rests = mBoardToCome == 0 && mOutbox.Largest() <= kSentAgain;
    return mReady && mPhase == Phase::Seated && !mLeaving && rests && mTarget.to.protocol != Protocol::Http;
}

void Session::GoToKeeper(const std::string& named)
{
    const auto relay = mRound.Other(named);
    if (!relay || !MayGo() || SteadyClock::now() < mGoNext) return;
    mGoNext = SteadyClock::now() + kGoAgain;
    const auto way = std::make_shared<WayBack>(mIo, ++mLastWay, *relay);
    asio::co_spawn(
        mIo,
        [self = shared_from_this(), way, meeting = mSeat->meeting] { return self->Follow(way, meeting); },
        asio::detached);
}

asio::awaitable<void> Session::Follow(std::shared_ptr<WayBack> way, std::string meeting)
{
    const auto self = shared_from_this();
    const std::weak_ptr<Connection> before = mConnection;
    mWays.push_back(way);
    try {
        auto connection = co_await OpenAt(way->relay);
        if (way->stage == WayBack::Stage::Over) throw std::runtime_error("it is not needed any more");
        RequireSameService(connection->Peer(), way->relay);
        way->connection = std::move(connection);
        co_await Greeted(*way);
    } catch (const std::exception& e) {
        way->stage = WayBack::Stage::Over;
        mNeeds.log(QStringLiteral("The seat does not go to the relay that keeps the meeting: %1")
                       .arg(QString::fromStdString(ProblemText(e))));
    }
    const bool same = mConnection == before.lock() && mSeat && mSeat->meeting == meeting;
    if (way->stage == WayBack::Stage::Over || !same || !MayGo()) co_return Arrived(way);
    mNeeds.log(QStringLiteral("The seat goes to %1, which keeps the meeting.")
                   .arg(QString::fromStdString(link::ServiceName(way->relay))));
    mUntold = mReturning = true;
    CloseConnection("it goes to the relay that keeps the meeting");
    BeginAnew();
    mAskedWait = kAloneTime;
    mRound.Begin(RelayRound::First::Here);
    way->stage = WayBack::Stage::Asking;
    way->askedAt = SteadyClock::now();
    asio::co_spawn(
        mIo, [self] { return self->Return(); }, asio::detached);
    try {
        co_await AskBack(*way);
    } catch (const EndedForGood& e) {
        if (!mReady) End(QString::fromUtf8(e.what()));
    } catch (const std::exception&) {
        // the way back begins
    }
    if (!mReady) {  // whatever that one asked for: the one before did not
        way->askedWait = 0ms;
        mNextTry = mNoEarlier = SteadyClock::now();
    }
    Arrived(way);
}

/// It takes somebody; else it throws.
asio::awaitable<void> Session::Greeted(WayBack& way)
{
    GreetOn(way);
    way.pause.expires_after(kGreetingTime);
    if (!way.welcome && !way.lost) co_await way.pause.async_wait(asio::as_tuple(asio::use_awaitable));
    if (!way.welcome || way.lost) throw std::runtime_error("it takes nobody");
}

}  // namespace zephyl::link
