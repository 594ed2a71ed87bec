// A client of this relay in a meeting that another one keeps, and a client of another relay in a meeting that
// this one keeps.

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/relay/connection.h"
#include "service/relay/connection_list.h"
#include "service/relay/keepers/keepers.h"
#include "service/relay/keepers/tunnel_front.h"
#include "service/relay/keepers/tunnel_road.h"
#include "service/relay/meeting/directory.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::chrono::milliseconds kMoment{100};
constexpr std::chrono::minutes kNamedAgain{2};

/// A frame as it came.
std::string_view Raw(const FrameView& frame)
{
    return {frame.body.data() + frame.body.size() - frame.bytes, frame.bytes};
}

}  // namespace

// --- of another relay ------------------------------------------------------------------------------

void Connection::StartFor(std::shared_ptr<TunnelRoad> road, std::shared_ptr<Session> who)
{
    mGuest = std::move(road);
    mGuest->SetBeside(
        {[weak = weak_from_this()](std::string bytes) {
             if (const auto self = weak.lock())
                 self->PostHome([self = self.get(), bytes = std::move(bytes)] { self->TakeBeside(bytes); });
         },
         [weak = weak_from_this()] {
             if (const auto self = weak.lock()) self->PostHome([self = self.get()] { self->FlushSelf(); });
         }});
    mServices.connections.Add(shared_from_this());
    asio::co_spawn(
        Home(), [self = shared_from_this(), who = std::move(who)] { return self->Arrive(who); },
        asio::detached);
}

asio::awaitable<void> Connection::Arrive(std::shared_ptr<Session> who)
{
    ArmTick();
    mStanding = Standing::Greeted;
    if (who) {
        co_await mServices.directory.Arrive(who, shared_from_this());
        mSession = std::move(who);
        GotIn();
    }
    co_await Unseated();
}

void Connection::GiveBack()
{
    if (mClosed) return;
    mGuest->GiveBack(mControl);
    Depart();
}

// Its seat outlives it: the meeting's keeper meets a lost connection, wherever that is.
void Connection::PostElsewhere()
{
    PostHome([this] {
        if (mGuest)
            Drop("this relay is out of touch");
        else
            End(BYE_RESTART, "this relay is out of touch with the others");
    });
}

void Connection::SendElsewhere()
{
    mGuest->SendElsewhere();
    Depart();
}

void Connection::Depart()
{
    mClosed = true;
    PullFrom(nullptr);
    mRoad->Close();
    if (mSession) mServices.directory.ClientEnded(mSession, shared_from_this());
}

// --- at another relay ------------------------------------------------------------------------------

asio::awaitable<std::optional<Connection::Next>> Connection::SeatThere(RelayId keeper, const Header& asked)
{
    if (mGuest) {
        SendElsewhere();
        co_return Next::Moved;
    }
    TunnelFront::Owner owner;
    owner.frames = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->PostHome([self = self.get()] { self->FlushSelf(); });
    };
    owner.ended = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->PostHome([self = self.get()] { self->EndedThere(); });
    };
    std::string frame;
    AppendFrame(frame, asked, {}, Way::Up);
    mThere = std::make_shared<TunnelFront>(mServices.keepers->TheLines(), std::move(keeper), owner);
    PullFrom(mThere.get());
    Place datagrams;
    OfferDatagrams(datagrams);
    mThere->Open(asked.has_enter() ? mSession.get() : nullptr, mAddress, mRoad->Name(), datagrams, frame);
    co_await mThere->Answered();
    const bool seated = mThere->Now() == TunnelFront::State::Seated;
    if (seated) {
        JoinedThere();
        const auto pause = mServices.options.clusterTimes.gatherAfter;
        const auto own = std::chrono::milliseconds(mSession->stream % std::uint64_t(pause.count() + 1));
        mKeeperNext = Clock::now() + pause + own;
        if (mDelay) mThere->TellDelay(*mDelay);
        co_await ForwardAll();
    }
    const TunnelFront::State state = mThere->Now();
    const bool lost = state == TunnelFront::State::Lost;
    if (mClosed || (lost && seated)) throw std::runtime_error("its meeting's relay is gone");
    if (state == TunnelFront::State::Ended) co_return Next::GoOn;  // EndedThere sees to it
    PullFrom(nullptr);
    if (lost) mThere->Close();
    SendBytes(mThere->TakeRest());
    mThere.reset();
    if (state == TunnelFront::State::Back) co_return Next::GoOn;
    asio::steady_timer moment(mServices.io, kMoment);
    co_await moment.async_wait(asio::use_awaitable);
    co_return std::nullopt;
}

// Who resumes has not said who it is.
void Connection::JoinedThere()
{
    if (mSession) return;
    const auto session = SessionOf(mThere->Who(), FloodBudget(Budgets(), Clock::now()));
    Adopt(session);
    mServices.directory.Resumed(session, shared_from_this());
}

asio::awaitable<void> Connection::ForwardAll()
{
    for (;;) {
        const bool left = ForwardReady();
        FlushSelf();
        if (left) co_await mThere->Answered();
        co_await WaitForRoom();
        if (mThere->Now() != TunnelFront::State::Seated) co_return;
        if (!left) co_await Receive();
    }
}

/// True: it has left, or wants to, and nothing more is for the keeper until that has answered.
bool Connection::ForwardReady()
{
    std::string frames;
    bool leaves = false;
    while (!mEnding && !leaves) {
        const std::optional<FrameView> frame = mReader.Next();
        if (!frame) break;
        leaves = frame->header.has_leave();
        if (frame->header.has_send_password())
            MailPassword(frame->header.send_password());
        else if (frame->header.has_pong())
            Heard(frame->header.pong());
        else
            frames += Raw(*frame);
        if (leaves || frames.size() < kBatchBytes) continue;
        mThere->Forward(frames);
        frames.clear();
    }
    using Then = TunnelFront::Then;
    if (!frames.empty()) mThere->Forward(frames, leaves ? Then::AwaitAnswer : Then::GoOn);
    return leaves;
}

// Nothing is read meanwhile, so the other side meets a full socket.
asio::awaitable<void> Connection::WaitForRoom()
{
    while (mThere->Full() && !mClosed && !mEnding) {
        mUnread = true;
        co_await mThere->News();
    }
    if (std::exchange(mUnread, false)) mHeard = Clock::now();
}

// Not at once, and not all at the same moment: where a relay was lost its meetings settle first. Where a lost
// connection is a leave they would be seen leaving.
void Connection::NameKeeper(Clock::time_point now)
{
    if (now < mKeeperNext || mEnding || mThere->Now() != TunnelFront::State::Seated) return;
    if (mServices.limits.Now().times.grace.count() == 0) return;
    const std::string address = mServices.keepers->RoomAt(mThere->Keeper());
    if (address.empty()) return;
    mKeeperNext = now + kNamedAgain;
    Header header;
    header.mutable_kept_at()->set_relay(address);
    Send(header);
}

void Connection::EndedThere()
{
    if (!mThere || mClosed || mEnding) return;
    if (mThere->Now() == TunnelFront::State::Lost) return Drop("its meeting's relay is gone");
    SendBytes(mThere->TakeRest());
    PullFrom(nullptr);
    mEnding = true;
    mSince = Clock::now();
    FlushSelf();
}

}  // namespace zephyl
