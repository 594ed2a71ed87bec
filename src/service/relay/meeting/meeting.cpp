#include "service/relay/meeting/meeting.h"

#include <spdlog/logger.h>

#include <algorithm>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/post.hpp>

#include "service/relay/door/log_names.h"
#include "service/relay/live_limits.h"
#include "service/relay/meeting/answers.h"
#include "service/relay/meeting/shared_meetings.h"
#include "service/relay/memory_watch.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr int kPresent = 5;
constexpr int kLeft = 0;
constexpr std::chrono::milliseconds kVoiceTogether{10};
constexpr std::chrono::seconds kSyncing{3};  // less than who asks for another relay waits

}  // namespace

Meeting::Meeting(const MeetingServices& services, MeetingKeeper& keeper, MeetingHead head, Strand home,
                 std::unique_ptr<MeetingLog> log)
    : mServices(services),
      mKeeper(keeper),
      mHead(std::move(head)),
      mHome(std::move(home)),
      mLog(std::move(log)),
      mEmptySince(Clock::now()),
      mTick(services.io),
      mAccepted(services.io),
      mVoice(services.io)
{
}

Meeting::~Meeting() = default;

MeetingHold::MeetingHold(std::shared_ptr<Meeting> held) : meeting(std::move(held))
{
    meeting->Occupy(1);
}

MeetingHold::~MeetingHold()
{
    meeting->Occupy(-1);
}

void Meeting::Start()
{
    asio::post(mHome, [self = shared_from_this()] { self->ArmTick(); });
}

// --- seats -----------------------------------------------------------------------------------------

Meeting::SeatPtr Meeting::OfClient(const Client& client) const
{
    const auto at = std::find_if(mSeats.begin(), mSeats.end(),
                                 [&](const SeatPtr& seat) { return seat->client.get() == &client; });
    return at == mSeats.end() ? nullptr : *at;
}

Meeting::SeatPtr Meeting::OfKey(const std::string& key) const
{
    const auto at = std::find_if(mSeats.begin(), mSeats.end(),
                                 [&](const SeatPtr& seat) { return seat->session->key == key; });
    return at == mSeats.end() ? nullptr : *at;
}

Meeting::SeatPtr Meeting::OfHandle(const std::string& handle) const
{
    const auto at = std::find_if(mSeats.begin(), mSeats.end(),
                                 [&](const SeatPtr& seat) { return seat->session->handle == handle; });
    if (at != mSeats.end()) return *at;
    const std::optional<std::string> key = HandleKey(handle);
    return key ? OfKey(*key) : nullptr;
}

std::shared_ptr<StreamMemory> Meeting::NumbersOf(const std::string& key, std::uint64_t stream)
{
    auto& streams = mNumbers[key];
    for (const auto& known : streams)
        if (known->stream == stream) return known;
    if (streams.size() >= kStreamsPerHandle) streams.pop_front();
    streams.push_back(std::make_shared<StreamMemory>());
    streams.back()->stream = stream;
    return streams.back();
}

bool Meeting::Enter(const std::shared_ptr<Client>& client, std::shared_ptr<MeetingHold> hold,
                    const zephyl::Enter& enter)
{
    const std::shared_ptr<Session> session = client->TheSession();
    SeatPtr seat = OfKey(session->key);
    if (session->fenced) {  // a later login has taken its place while this was on its way
        client->End(BYE_REPLACED, "");
        return true;
    }
    const auto refuse = [&](Result result) {
        client->Send(EnteredAnswer(enter, result));
        return false;
    };
    if (mBarred.contains(session->key)) return refuse(RESULT_NOT_PERMITTED);
    if (seat && seat->session->stream != session->stream) {
        if (seat->client) seat->client->End(BYE_TAKEN_OVER, session->handle + " has logged in elsewhere");
        Gone(seat);
        seat = nullptr;
    }
    if (mClosed || mStopping) return refuse(RESULT_LATER);
    const bool returns = seat && !enter.rejoin().empty();
    if (seat) {
        session->budget = seat->session->budget;
        seat->session = session;
    }
    if (!seat) {
        if (mSeats.size() >= mServices.limits.Now().bounds.seatsPerMeeting) return refuse(RESULT_FULL);
        seat = NewSeat(session, std::move(hold));
        Announce(*seat, kPresent);
    } else if (seat->state == SeatState::Away) {
        Announce(*seat, kPresent);
    }
    EndOfTurn();
    TrimLog();  // a newcomer begins where the board is kept, not where it was at the last tick
    const Sequences ends{mLog->State(CHANNEL_TALK).end, mLog->State(CHANNEL_BOARD).end};
    seat->placesOwn = enter.own_places();
    if (returns)
        seat->GoOnAt({enter.cursor().talk(), enter.cursor().board()});
    else
        seat->BeginAt({ends.talk, mLog->State(CHANNEL_BOARD).begin}, ends);
    Attach(*seat, client);
    Header header = EnteredAnswer(enter, RESULT_OK);
    SendPlace(*seat, header, *header.mutable_entered()->mutable_place(), {});
    mServices.log.info("{} in meeting {} at seat {}", mServices.names.User(session->handle), LogName(),
                       seat->number);
    return true;
}

bool Meeting::Resume(const std::shared_ptr<Client>& client, const zephyl::Resume& resume)
{
    const auto at = std::find_if(mSeats.begin(), mSeats.end(),
                                 [&](const SeatPtr& seat) { return seat->number == resume.seat(); });
    if (mClosed || at == mSeats.end() || (*at)->state == SeatState::Away || (*at)->session->fenced ||
        !(*at)->TokenFits(resume.token())) {
        client->Send(ResumedAnswer(resume, RESULT_UNKNOWN));
        return false;
    }
    Seat& seat = **at;
    seat.placesOwn = resume.own_places();
    seat.GoOnAt({resume.cursor().talk(), resume.cursor().board()});
    client->Adopt(seat.session);
    mKeeper.ClientResumed(seat.session, client);
    Attach(seat, client);
    Header header = ResumedAnswer(resume, RESULT_OK);
    SendPlace(seat, header, *header.mutable_resumed()->mutable_place(), resume.token());
    return true;
}

Meeting::SeatPtr Meeting::NewSeat(const std::shared_ptr<Session>& session, std::shared_ptr<MeetingHold> hold)
{
    mSeats.push_back(std::make_shared<Seat>(
        ++mLastSeat, session, std::move(hold), NumbersOf(session->key, session->stream),
        static_cast<SeatSurroundings&>(*this), mServices.limits.Now().bounds));
    return mSeats.back();
}

// The fence: whatever the older connection has under way is dropped with it.
void Meeting::Attach(Seat& seat, const std::shared_ptr<Client>& client)
{
    if (seat.client && seat.client != client) {
        seat.client->PullFrom(nullptr);
        seat.client->End(BYE_REPLACED, "");
    }
    if (seat.state != SeatState::Present) seat.session->budget.Returned(Clock::now());
    seat.client = client;
    seat.state = SeatState::Present;
    seat.timeIsUp = false;
}

std::uint64_t Meeting::WallClockMs()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::milliseconds>(now).count()));
}

void Meeting::SendPlace(Seat& seat, Header& header, Place& place, const std::string& shown)
{
    const ChannelState board = mLog->State(CHANNEL_BOARD);
    const Sequences read = seat.ReadUpTo();
    place.set_meeting(mHead.id);
    place.set_seat(seat.number);
    place.set_token(seat.NewToken(shown));
    place.mutable_position()->set_talk(read.talk);
    place.mutable_position()->set_board(read.board);
    place.set_board_bytes(read.board <= board.begin ? mLog->BoardBytes() : 0);
    place.mutable_have()->set_talk(seat.numbers->have.talk);
    place.mutable_have()->set_board(seat.numbers->have.board);
    place.set_entered_at(seat.enteredAt.board);
    place.set_now_ms(WallClockMs());
    place.set_own_places(seat.placesOwn);
    place.set_started(Started(seat));
    AddAttendees(*place.mutable_attendees());
    seat.client->OfferDatagrams(place);
    mLog->Seat(seat.Entry());
    // Fixed at this moment, told once the seat is safe: nobody is let in whom a power cut would forget.
    mLog->WhenSynced([weak = weak_from_this(), number = seat.number, client = seat.client, header] {
        const auto self = weak.lock();
        if (!self) return;
        const SeatPtr seated = self->OfClient(*client);
        if (!seated || seated->number != number) return;
        client->Send(header);
        for (const std::string& refused : seated->numbers->refused) client->SendBytes(refused);
        seated->acceptedNews = true;
        client->PullFrom(seated.get());
        self->Wake(number);
    });
}

void Meeting::AddAttendees(google::protobuf::RepeatedPtrField<Attendee>& to) const
{
    for (const SeatPtr& seat : mSeats) {
        if (seat->state == SeatState::Away) continue;
        Attendee& attendee = *to.Add();
        attendee.set_handle(seat->session->handle);
        attendee.set_address(seat->session->address);
    }
}

void Meeting::Announce(const Seat& seat, int status)
{
    Header header;
    header.mutable_item()->set_channel(CHANNEL_TALK);
    zephyl::Presence& presence = *header.mutable_item()->mutable_presence();
    presence.set_handle(seat.session->handle);
    presence.set_status(status);
    presence.set_address(seat.session->address);
    auto item = std::make_shared<LogItem>();
    item->channel = CHANNEL_TALK;
    item->presence = true;
    item->about = seat.number;
    item->everyone = true;
    Put(std::move(item), header, {}, BoardEffect::None);
}

void Meeting::ClientLost(Client& client)
{
    const SeatPtr seat = OfClient(client);
    if (!seat) return;
    client.PullFrom(nullptr);
    seat->client = nullptr;
    if (mServices.limits.Now().times.grace.count() == 0 && !mStopping)
        Gone(seat);
    else
        Detach(*seat);
    EndOfTurn();
}

void Meeting::Detach(Seat& seat)
{
    seat.state = SeatState::Detached;
    seat.cutOff = Clock::now();
    seat.BeginAt(seat.ReadUpTo(), seat.enteredAt);
    mLog->Seat(seat.Entry());
}

void Meeting::Gone(const SeatPtr& seat)
{
    if (std::erase(mSeats, seat) == 0) return;
    if (seat->client) seat->client->PullFrom(nullptr);
    seat->client = nullptr;
    seat->letsIn.reset();
    for (const SeatPtr& other : mSeats) {
        other->live.Forget(seat->number);
        other->voice.Forget(seat->number);
    }
    if (seat->state != SeatState::Away) Announce(*seat, kLeft);
    SeatEntry entry = seat->Entry();
    entry.gone = true;
    entry.barred = mBarred.contains(seat->session->key);
    mLog->Seat(entry);
    mKeeper.SeatEnded(seat->session);
    mLeaving.push_back(seat->numbers);
    mEmptySince = Clock::now();
    mServices.log.info("{} gone from meeting {}", mServices.names.User(seat->session->handle), LogName());
}

// Safe first, then done: else a kill could bring back a seat that items were appended without.
void Meeting::EndByTime(const SeatPtr& seat)
{
    seat->timeIsUp = true;
    SeatEntry entry = seat->Entry();
    entry.gone = true;
    mLog->Seat(entry);
    mLog->WhenSynced([weak = weak_from_this(), seat] {
        const auto self = weak.lock();
        if (self && seat->timeIsUp && seat->state == SeatState::Away) self->Gone(seat);
    });
}

void Meeting::PostEndSeat(std::shared_ptr<Session> session, ByeReason reason, std::string text)
{
    asio::post(mHome,
               [self = shared_from_this(), session = std::move(session), reason, text = std::move(text)] {
                   const SeatPtr seat = self->OfKey(session->key);
                   if (!seat || seat->session->stream != session->stream) return;
                   if (seat->client) seat->client->End(reason, text);
                   self->Gone(seat);
                   self->EndOfTurn();
               });
}

void Meeting::PostStop(std::function<void()> yielded)
{
    asio::post(mHome, [self = shared_from_this(), yielded = std::move(yielded)] {
        const auto end = [self, yielded] {
            self->EndAll();
            if (!yielded) return;
            self->Yield();
            yielded();
        };
        self->mStopping = true;
        if (self->mOpen)
            self->mLog->WhenSynced(end);
        else if (yielded)
            end();
    });
}

void Meeting::PostYield()
{
    asio::post(mHome, [self = shared_from_this()] {
        for (const SeatPtr& seat : self->mSeats)
            if (seat->client) seat->client->Drop("another relay keeps its meeting now");
        self->Yield();
    });
}

void Meeting::Yield()
{
    mClosed = true;
    for (const SeatPtr& seat : std::exchange(mSeats, {})) {
        if (seat->client) seat->client->PullFrom(nullptr);
        seat->client = nullptr;
        mKeeper.SeatEnded(seat->session);
    }
    GiveUpSyncing(Clock::time_point::max());
    mTick.cancel();
    mAccepted.cancel();
}

// Everything taken is safe: that is said, then goodbye.
void Meeting::EndAll()
{
    const std::vector<SeatPtr> seats = mSeats;
    for (const SeatPtr& seat : seats) {
        const std::shared_ptr<Client> client = seat->client;
        if (!client) continue;
        client->Send(seat->AcceptedNow());
        client->End(BYE_RESTART, "the service restarts");
    }
}

void Meeting::PostClose(std::string goodbye, Rest rest)
{
    asio::post(mHome, [self = shared_from_this(), goodbye = std::move(goodbye), rest] {
        if (!goodbye.empty())
            self->mServices.log.info("meeting {} was closed by the operator", self->LogName());
        for (const SeatPtr& seat : std::exchange(self->mSeats, {})) {
            if (seat->client) {
                seat->client->PullFrom(nullptr);
                seat->client->End(BYE_ENDED, goodbye);
            }
            self->mKeeper.SeatEnded(seat->session);
        }
        self->mClosed = true;
        if (rest == Rest::Goes)
            self->mLog->Remove();
        else
            self->mLog->End();
        self->GiveUpSyncing(Clock::time_point::max());
        self->mTick.cancel();
        self->mAccepted.cancel();
        self->mVoice.cancel();
    });
}

void Meeting::Abandon()
{
    for (const SeatPtr& seat : mSeats) {
        if (seat->client) seat->client->PullFrom(nullptr);
        seat->client = nullptr;
    }
    mSeats.clear();  // a seat holds its meeting,
    mLog.reset();    // and so does whatever waits for the log
}

// --- delivery --------------------------------------------------------------------------------------

void Meeting::EndOfTurn()
{
    if (mPending.empty()) {
        FlushSoon();
        return;
    }
    std::vector<ItemPtr> items;
    items.swap(mPending);
    std::vector<ItemPtr> concerned = items;
    mLog->Append(std::move(items), [this, weak = weak_from_this(), concerned = std::move(concerned)] {
        const auto self = weak.lock();
        if (!self) return;
        for (const SeatPtr& seat : mSeats)
            seat->dirty =
                seat->dirty || std::any_of(concerned.begin(), concerned.end(),
                                           [&](const ItemPtr& item) { return seat->Concerns(*item); });
        FlushSoon();
    });
}

void Meeting::Wake(SeatNumber number)
{
    for (const SeatPtr& seat : mSeats)
        if (seat->number == number) seat->dirty = true;
    FlushSoon();
}

void Meeting::FlushSoon()
{
    if (mFlushPosted) return;
    mFlushPosted = true;
    asio::post(mHome, [self = shared_from_this()] { self->FlushDirty(); });
}

void Meeting::FlushDirty()
{
    mFlushPosted = false;
    // NOLINTNEXTLINE(modernize-loop-convert): a flush may end a seat
    for (std::size_t i = 0; i < mSeats.size(); ++i) {
        const SeatPtr seat = mSeats[i];
        const bool dirty = std::exchange(seat->dirty, false);
        const bool beside = std::exchange(seat->roadDirty, false) && !dirty;
        if (!seat->client) continue;
        if (beside) seat->client->FlushRoad(mScratch);
        if (dirty || (beside && seat->WaitsForBatch(Clock::now()))) seat->client->Flush(mScratch);
    }
    mScratch.SendGathered();
}

// Where several speak their packets come one by one and would leave so: each receiver gets those of 5 ms at
// once.
void Meeting::FlushVoiceSoon()
{
    if (std::exchange(mVoiceArmed, true)) return;
    mVoice.expires_after(kVoiceTogether);
    mVoice.async_wait(asio::bind_executor(mHome, [weak = weak_from_this()](boost::system::error_code error) {
        const auto self = weak.lock();
        if (error || !self) return;
        self->mVoiceArmed = false;
        for (const SeatPtr& seat : self->mSeats) seat->roadDirty = seat->roadDirty || seat->voice.Waits();
        self->FlushDirty();
    }));
}

void Meeting::Settle(StreamMemory& numbers, const Sequences& upTo)
{
    for (const Channel channel : {CHANNEL_TALK, CHANNEL_BOARD}) {
        auto& waiting = numbers.Of(channel);
        for (; !waiting.empty() && waiting.front().sequence <= upTo[channel]; waiting.pop_front())
            numbers.safe[channel] = waiting.front().number;
    }
}

void Meeting::OnSafe(const Sequences& upTo)
{
    for (; !mUnsafeKept.empty() && mUnsafeKept.front().sequence <= upTo.board; mUnsafeKept.pop_front()) {
        const auto [sequence, effect] = mUnsafeKept.front();
        if (const auto begin = mHistory.Take(sequence, effect)) mBoardBegin = *begin;
    }
    for (const auto& numbers : mLeaving) Settle(*numbers, upTo);
    std::erase_if(mLeaving,
                  [](const auto& numbers) { return numbers->talk.empty() && numbers->board.empty(); });
    bool news = false;
    for (const SeatPtr& seat : mSeats) {
        const Sequences before = seat->numbers->safe;
        Settle(*seat->numbers, upTo);
        if (seat->numbers->safe.talk > before.talk || seat->numbers->safe.board > before.board)
            seat->acceptedNews = news = true;
    }
    if (!news || mAcceptedArmed) return;
    mAcceptedArmed = true;
    mAccepted.expires_after(mServices.limits.Now().times.accepted);
    mAccepted.async_wait(
        asio::bind_executor(mHome, [weak = weak_from_this()](boost::system::error_code error) {
            const auto self = weak.lock();
            if (error || !self) return;
            self->mAcceptedArmed = false;
            for (const SeatPtr& seat : self->mSeats) seat->dirty = seat->dirty || seat->acceptedNews;
            self->FlushDirty();
        }));
}

// --- time ------------------------------------------------------------------------------------------

void Meeting::ArmTick()
{
    mTick.expires_after(mServices.limits.Now().times.tick);
    mTick.async_wait(asio::bind_executor(mHome, [weak = weak_from_this()](boost::system::error_code error) {
        const auto self = weak.lock();
        if (error || !self || self->mClosed) return;
        self->OnTick(Clock::now());
        self->ArmTick();
    }));
}

void Meeting::OnTick(Clock::time_point now)
{
    GiveUpSyncing(now - kSyncing);
    if (mServices.shared && !mServices.shared->MayDecide()) return;
    const RelayTimes& times = mServices.limits.Now().times;
    if (mSeats.empty() && !Occupied() && now - mEmptySince > times.keepEmpty)
        mKeeper.MeetingEmpty(shared_from_this());
    if (!mOpen) return;
    const std::vector<SeatPtr> seats = mSeats;
    for (const SeatPtr& seat : seats) {
        if (seat->state == SeatState::Detached && now - seat->cutOff > times.grace) {
            Announce(*seat, kLeft);
            seat->state = SeatState::Away;
            seat->letsIn.reset();
            mLog->Seat(seat->Entry());
        } else if (seat->state == SeatState::Away && now - seat->cutOff > times.grace + times.away &&
                   !seat->timeIsUp) {
            EndByTime(seat);
        }
    }
    EndOfTurn();
    TrimLog();
    SaveMemory();
}

void Meeting::SaveMemory()
{
    if (!mServices.memory.Under(Pressure::ShedLive)) return;
    for (const SeatPtr& seat : mSeats) seat->live.Shed();
    if (!mServices.memory.Under(Pressure::DetachLagging)) return;
    SeatPtr most;
    for (const SeatPtr& seat : mSeats)
        if (seat->client && (!most || seat->LagBytes() > most->LagBytes())) most = seat;
    if (most && most->LagBytes() > 0) most->client->Drop("lags most while memory is short");
}

void Meeting::TrimLog()
{
    Sequences read{mLog->State(CHANNEL_TALK).end, mLog->State(CHANNEL_BOARD).end};
    for (const SeatPtr& seat : mSeats) {
        const Sequences its = seat->ReadUpTo();
        read.talk = std::min(read.talk, its.talk);
        read.board = std::min(read.board, its.board);
    }
    mLog->Trim(CHANNEL_TALK, 0, read.talk);
    mLog->Trim(CHANNEL_BOARD, mBoardBegin, read.board);
}

}  // namespace zephyl
