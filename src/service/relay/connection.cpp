#include "service/relay/connection.h"

#include <spdlog/logger.h>

#include <algorithm>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "service/relay/connection_list.h"
#include "service/relay/counters.h"
#include "service/relay/datagram_door.h"
#include "service/relay/door/log_names.h"
#include "service/relay/http_streams.h"
#include "service/relay/keepers/tunnel_front.h"
#include "service/relay/keepers/tunnel_road.h"
#include "service/relay/live_limits.h"
#include "service/relay/live_tls.h"
#include "service/relay/meeting/directory.h"
#include "service/relay/meeting/meeting.h"
#include "service/relay/tls_road.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::size_t kControlBytes = 256 * 1024;  // of answers that a client does not take
constexpr int kBatchesInARow = 4;                  // then others have a turn
constexpr std::chrono::seconds kGoodbye{2};        // for the last bytes to leave

/// For the log: what happened, without the library's source lines.
std::string Problem(const std::exception& error)
{
    const auto* system = dynamic_cast<const boost::system::system_error*>(&error);
    return system ? system->code().message() : error.what();
}

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, Services& services, std::string address, Ticket ticket,
                       CameBy by)
    : Connection(
          std::make_shared<TlsRoad>(std::make_unique<TlsStream>(std::move(socket), services.tls.Now())),
          services, std::move(address), std::move(ticket), std::move(by))
{
    mUntried = static_cast<TlsRoad*>(mRoad.get());
}

Connection::Connection(std::shared_ptr<Road> road, Services& services, std::string address, Ticket ticket,
                       CameBy by)
    : mServices(services),
      mRoad(std::move(road)),
      mAddress(std::move(address)),
      mBy(std::move(by)),
      mTicket(std::move(ticket)),
      mHome(asio::make_strand(services.io)),
      mTimer(services.io),
      mRoadFree(services.io),
      mSince(Clock::now()),
      mHeard(mSince),
      mPinged(mSince)
{
}

Connection::~Connection()
{
    mServices.connections.Remove(this);
}

void Connection::Start()
{
    mServices.connections.Add(shared_from_this());
    asio::co_spawn(
        Home(), [self = shared_from_this()] { return self->Open(); }, asio::detached);
}

// --- homes -----------------------------------------------------------------------------------------

Strand Connection::Home() const
{
    const std::lock_guard lock(mHomeMutex);
    return mHome;
}

void Connection::SetHome(const Strand& home)
{
    const std::lock_guard lock(mHomeMutex);
    mHome = home;
}

void Connection::PostHome(std::function<void()> work)
{
    const Strand home = Home();
    asio::post(home, AtHome(home, std::move(work)));
}

void Connection::DispatchHome(std::function<void()> work)
{
    const Strand home = Home();
    asio::dispatch(home, AtHome(home, std::move(work)));
}

std::function<void()> Connection::AtHome(const Strand& home, std::function<void()> work)
{
    return [self = shared_from_this(), home, work = std::move(work)]() mutable {
        if (self->Home() == home)
            work();
        else
            self->PostHome(std::move(work));
    };
}

void Connection::PostEnd(ByeReason reason, std::string text)
{
    PostHome([this, reason, text = std::move(text)] { End(reason, text); });
}

void Connection::PostBanned()
{
    PostHome([this] {
        if (mSession) mServices.directory.EndSession(mSession, kBanned);
        End(BYE_KICKED, kBanned);
    });
}

// --- reading ---------------------------------------------------------------------------------------

asio::awaitable<void> Connection::Receive()
{
    for (;;) {
        mReader.Rest();
        if (!mRoad->InputKept()) co_await mRoad->Readable();
        std::string& intake = mReader.Intake();
        const std::size_t before = intake.size();
        if (!mRoad->TakeReady(intake)) continue;
        mServices.counters.receivedBytes += intake.size() - before;
        mHeard = Clock::now();
        if (mEnding) {
            intake.resize(before);
            continue;
        }
        if (mStanding != Standing::LoggedIn) mBeforeLogin += intake.size() - before;
        if (mBeforeLogin > kBeforeLoginBytes) throw WireError("too much before login");
        co_return;
    }
}

/// False: it is HTTP's now.
asio::awaitable<bool> Connection::ShakeHands(TlsRoad& road)
{
    co_await road.Stream().Handshake(Speaks::Either);
    if (road.Stream().Agreed() != kHttpAlpn) co_return true;
    mClosed = true;
    mServices.http->Serve(road.Release(), mAddress, std::move(mTicket), mBy);
    co_return false;
}

asio::awaitable<void> Connection::Open()
{
    ArmTick();
    std::string why;
    bool mine = true;
    try {
        if (mUntried) mine = co_await ShakeHands(*std::exchange(mUntried, nullptr));
    } catch (const std::exception& error) {
        why = Problem(error);
    }
    if (!mine) co_return;
    if (why.empty())
        co_await Unseated();
    else
        Closed(why);
}

asio::awaitable<void> Connection::Unseated()
{
    std::string why;
    bool spoiled = false;
    try {
        const Next next = co_await UnseatedTurns();
        if (next == Next::Moved) co_return;
    } catch (const WireError& error) {
        why = Problem(error);
        spoiled = true;
    } catch (const std::exception& error) {
        why = Problem(error);
    }
    if (spoiled) {
        End(BYE_DONE, why);
        co_await Linger();
    }
    Closed(why);
}

asio::awaitable<Connection::Next> Connection::UnseatedTurns()
{
    for (;;) {
        while (!mEnding) {
            const std::optional<FrameView> frame = mReader.Next();
            if (!frame) break;
            const Next next = co_await Handle(*frame);
            if (next == Next::Moved) co_return Next::Moved;
            if (mGuest) {  // it was refused
                GiveBack();
                co_return Next::Moved;
            }
        }
        FlushSelf();
        co_await Receive();
    }
}

// Nothing is read meanwhile, so the other side meets a full socket; what goes down goes on.
asio::awaitable<void> Connection::WaitForBudget()
{
    asio::steady_timer timer(mServices.io);
    FloodBudget& budget = mSession->budget;
    for (auto now = Clock::now(); !mClosed && !mEnding; now = Clock::now()) {
        const std::chrono::milliseconds pause = budget.Pause(now);
        if (budget.Over(now) > mServices.limits.Now().times.floodAfter) {
            mServices.log.warn("{} {} sends too much", mAddress, mServices.names.User(mSession->handle));
            End(BYE_FLOOD, "too much was sent", pause);
        }
        if (pause.count() == 0 || mEnding) break;
        timer.expires_after(std::min(pause, mServices.limits.Now().times.tick));
        mUnread = true;
        co_await timer.async_wait(asio::use_awaitable);
    }
    mUnread = false;
    mHeard = Clock::now();
    if (mClosed) throw std::runtime_error("closed while it waited for its budget");
}

// Until the other side has closed, or the tick has.
asio::awaitable<void> Connection::Linger()
{
    try {
        while (!mClosed) co_await Receive();
    } catch (const std::exception&) {
        // the end that was waited for
    }
}

void Connection::Adopt(std::shared_ptr<Session> session)
{
    mSession = std::move(session);
    GotIn();
}

void Connection::GotIn()
{
    mStanding = Standing::LoggedIn;
    mTicket.reset();
    mRoad->LoggedIn();
}

// On the meeting's strand. The seat is this connection's until the meeting says otherwise.
asio::awaitable<void> Connection::Seated(std::shared_ptr<Meeting> meeting, std::function<bool()> begin)
{
    std::string why;
    bool spoiled = false;
    mMeeting = meeting;
    bool back = !begin();
    if (mGuest && !back) mGuest->Seated(*mSession);
    FlushSelf();
    try {
        while (!back) {
            while (!mEnding && !back) {
                const std::optional<FrameView> frame = mReader.Next();
                if (!frame) break;
                if (frame->header.has_send_password())
                    MailPassword(frame->header.send_password());
                else
                    back = meeting->Handle(*this, *frame) == Meeting::After::SeatGone;
                const Clock::time_point now = Clock::now();
                mSession->budget.Charge(*frame, now);
                if (back || mSession->budget.Pause(now).count() == 0) continue;
                meeting->EndOfTurn();
                co_await WaitForBudget();
            }
            meeting->EndOfTurn();
            if (!back) co_await Receive();
        }
    } catch (const WireError& error) {
        why = Problem(error);
        spoiled = true;
    } catch (const std::exception& error) {
        why = Problem(error);
    }
    if (back) {
        MoveBack();
        co_return;
    }
    if (spoiled) End(BYE_DONE, why);
    meeting->ClientLost(*this);
    if (spoiled) co_await Linger();
    Closed(why);
}

void Connection::MoveTo(const std::shared_ptr<Meeting>& meeting, std::function<bool()> begin)
{
    SetHome(meeting->Home());
    asio::co_spawn(
        meeting->Home(),
        [self = shared_from_this(), meeting, begin = std::move(begin)]() mutable {
            return self->Seated(meeting, std::move(begin));
        },
        asio::detached);
}

void Connection::MoveBack()
{
    if (mGuest) return GiveBack();
    const Strand own = asio::make_strand(mServices.io);
    SetHome(own);
    asio::co_spawn(
        own, [self = shared_from_this()] { return self->Unseated(); }, asio::detached);
}

void Connection::Closed(const std::string& why)
{
    if (!mClosed)
        mServices.log.debug("{} {}: {}", mAddress, mSession ? mServices.names.User(mSession->handle) : "-",
                            why);
    mClosed = true;
    PullFrom(nullptr);
    if (mThere) mThere->Close();
    mRoad->Close();
    mTicket.reset();
    if (mSession) mServices.directory.ClientEnded(mSession, shared_from_this());
}

// --- writing ---------------------------------------------------------------------------------------

void Connection::Send(const Header& header)
{
    if (mClosed || mEnding) return;
    AppendFrame(mControl, header, {}, Way::Down);
    if (mControl.size() > kControlBytes) Drop("takes no answers");
}

void Connection::SendBytes(std::string_view frames)
{
    if (!mClosed && !mEnding) mControl.append(frames);
}

void Connection::PostRestart()
{
    PostHome([this] {
        if (!mSource || mThere) End(BYE_RESTART, "the service restarts");
    });
}

void Connection::FlushSelf()
{
    Scratch scratch;
    Flush(scratch);
    scratch.SendGathered();
}

void Connection::Flush(Scratch& scratch)
{
    if (mGuest) scratch.words = mGuest->Gathering();
    FlushRoad(scratch);
    if (mClosed || mWaitingToWrite) return;
    if (!mRoad->Free()) return WaitWritable();
    try {
        for (int batches = 0; batches < kBatchesInARow; ++batches) {
            scratch.clear.assign(mControl);
            mControl.clear();
            if (mSource && !mEnding) mSource->Fill(scratch.clear, kBatchBytes);
            if (scratch.clear.empty()) {
                mRoad->Push();
                if (mEnding) mRoad->Finish();
                return;
            }
            mServices.counters.sentBytes += scratch.clear.size();
            if (!mRoad->Put(scratch.clear, scratch.sealed)) return WaitWritable();
        }
        mRoad->Push();
    } catch (const std::exception& error) {
        return Drop(Problem(error));
    }
    PostHome([this] { FlushSelf(); });
}

// --- datagrams -------------------------------------------------------------------------------------

void Connection::PullFrom(BatchSource* source)
{
    mSource = source;
    if (source) return;
    mDatagrams.reset();
    mRoadFree.cancel();
}

void Connection::OfferDatagrams(Place& place)
{
    mDatagrams.reset();
    if (mGuest) mGuest->OfferDatagrams(place);
    if (!TakesDatagrams()) return;
    DatagramEnd::Owner owner;
    owner.frame = [weak = weak_from_this()](std::shared_ptr<DatagramEnd> from, std::string frame) {
        if (const auto self = weak.lock())
            self->DispatchHome([self = self.get(), from = std::move(from), frame = std::move(frame)] {
                from->Done(frame.size());
                self->TakeFrame(from, frame);
            });
    };
    owner.free = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->PostHome([self = self.get()] { self->FlushSelf(); });
    };
    mDatagrams = mServices.datagrams->Offer(place, ReadIp(mAddress), std::move(owner));
}

/// Over its budget they are dropped: nothing waits behind them, so there is nothing to stop reading.
void Connection::TakeFrame(const std::shared_ptr<DatagramEnd>& from, std::string_view frame)
{
    if (from == mDatagrams) TakeBeside(frame);
}

void Connection::TakeBeside(std::string_view frame)
{
    const std::shared_ptr<Meeting> meeting = mMeeting.lock();
    if (mClosed || mEnding || !mSession || (!meeting && !mThere)) return;
    const Clock::time_point now = Clock::now();
    if (mSession->budget.Pause(now).count() > 0) return;
    if (!mThere) return meeting->HandleLive(*this, frame);
    mSession->budget.ChargeLive(frame.size(), now);
    mThere->ForwardBeside(frame);
}

/// Whatever the socket does.
void Connection::FlushRoad(Scratch& scratch)
{
    if (mClosed || mEnding || !mSource) return;
    if (mGuest) {
        scratch.words = mGuest->Gathering();
        return mSource->FillRoad(*mGuest);
    }
    if (!mDatagrams) return;
    mDatagrams->Gather(&GatheredDatagrams::In(scratch));
    mSource->FillRoad(*mDatagrams);
    mDatagrams->Gather(nullptr);
    if (mThere) mThere->TellBeside(mDatagrams->Takes(1));
    const Clock::time_point free = mDatagrams->TakeWaiting();
    if (free == Clock::time_point::max()) return;
    mRoadFree.expires_at(free);
    mRoadFree.async_wait([weak = weak_from_this()](boost::system::error_code error) {
        const std::shared_ptr<Connection> self = weak.lock();
        if (!error && self) self->PostHome([self = self.get()] { self->FlushSelf(); });
    });
}

void Connection::WaitWritable()
{
    if (!mWaitingToWrite) mBusySince = Clock::now();
    mWaitingToWrite = true;
    mRoad->WhenFree([self = shared_from_this()] { self->PostHome([self] { self->OnWritable(); }); });
}

void Connection::OnWritable()
{
    if (mClosed) return;
    const std::size_t before = mRoad->Backlog();
    try {
        const bool empty = mRoad->Flush();
        if (mRoad->Backlog() < before) mBusySince = Clock::now();
        if (!empty) return WaitWritable();
    } catch (const std::exception& error) {
        return Drop(Problem(error));
    }
    mWaitingToWrite = false;
    FlushSelf();
}

void Connection::End(ByeReason reason, const std::string& text, std::chrono::milliseconds wait)
{
    if (mClosed || mEnding) return;
    if (mGuest && reason == BYE_RESTART) return Drop(text);  // its own relay does not
    Header header;
    header.mutable_bye()->set_reason(reason);
    header.mutable_bye()->set_text(text);
    header.mutable_bye()->set_wait_ms(static_cast<std::uint32_t>(wait.count()));
    Send(header);
    mEnding = true;
    mSince = Clock::now();
    FlushSelf();
}

void Connection::Drop(const std::string& why)
{
    if (mClosed) return;
    mServices.log.info("{} {} dropped: {}", mAddress, mSession ? mServices.names.User(mSession->handle) : "-",
                       why);
    mClosed = true;
    if (mThere) mThere->Close();
    mRoad->Close();  // the reader's wait ends, and it tells whom it concerns
}

// --- time ------------------------------------------------------------------------------------------

void Connection::ArmTick()
{
    mTimer.expires_after(mServices.limits.Now().times.tick);
    mTimer.async_wait([weak = weak_from_this()](boost::system::error_code error) {
        const std::shared_ptr<Connection> self = weak.lock();
        if (error || !self) return;
        self->PostHome([self] {
            if (self->mClosed) return;
            self->OnTick(Clock::now());
            if (!self->mControl.empty()) self->FlushSelf();
            if (!self->mClosed) self->ArmTick();
        });
    });
}

void Connection::OnTick(Clock::time_point now)
{
    const RelayTimes& times = mServices.limits.Now().times;
    if (mEnding && now - mSince > kGoodbye)
        return Drop(mRoad->Backlog() > 0 ? "the last bytes did not leave" : "it has ended");
    if (mEnding) return;
    if (mStanding != Standing::LoggedIn && !mAsking && !mAtDesk && now - mSince > times.beforeLogin)
        return Drop("no login");
    if (mWaitingToWrite && now - mBusySince > times.stuckAfter) return Drop("takes nothing");
    const Clock::time_point heard = std::max(mHeard, mRoad->Heard());
    if (!mUnread && now - heard > mRoad->Patience(times)) return Drop("silent");
    if (mDatagrams) mDatagrams->Tick(now);
    if (Scratch scratch; mDatagrams && mThere) FlushRoad(scratch);
    if (mThere) NameKeeper(now);
    if (mGuest) return;  // who asks how it is stands in front of it
    if (mStanding != Standing::LoggedIn || now - mPinged < times.pingAfter) return;
    mPinged = now;
    Header ping;
    ping.mutable_ping()->set_nonce(static_cast<std::uint64_t>(now.time_since_epoch().count()));
    Send(ping);
}

// By which its live frames go at the moment; all else goes by TLS.
Client::Facts Connection::TheFacts() const
{
    if (mGuest) return {mAddress, mGuest->Takes(1) ? "udp" : mRoad->Name(), mGuest->Delay(), mGuest->From()};
    return {mAddress, mDatagrams && mDatagrams->Takes(1) ? "udp" : mRoad->Name(), mDelay, {}};
}

void Connection::Heard(const Pong& pong)
{
    if (pong.nonce() != static_cast<std::uint64_t>(mPinged.time_since_epoch().count())) return;
    mDelay = std::chrono::duration_cast<std::chrono::microseconds>(mHeard - mPinged);
    mServices.counters.delays.Add(*mDelay);
    if (mThere) mThere->TellDelay(*mDelay);
}

}  // namespace zephyl
