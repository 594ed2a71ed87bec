// A meeting as its log remembers it.

#include <spdlog/logger.h>

#include <algorithm>
#include <boost/asio/async_result.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/relay/door/accounts.h"
#include "service/relay/door/ban_list.h"
#include "service/relay/door/log_names.h"
#include "service/relay/live_limits.h"
#include "service/relay/meeting/meeting.h"
#include "service/wire/content.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

// Read from its first frame: of a text that goes on in others nobody knows here whether it is damaged.
BoardEffect StoredStep(const LogItem& item)
{
    FrameReader reader(Way::Down);
    reader.Feed(std::string_view(item.frames).substr(0, FrameBytes(item.frames)));
    const auto frame = reader.Next();
    return frame ? StepIn(frame->header.item(), frame->body) : BoardEffect::None;
}

}  // namespace

asio::awaitable<bool> Meeting::Ready()
{
    if (!mOpen && !mClosed) {
        const auto initiate = [this](auto handler) {
            auto shared = std::make_shared<decltype(handler)>(std::move(handler));
            mWaitForLog.push_back([shared] {
                asio::post(asio::get_associated_executor(*shared), [shared] { std::move (*shared)(); });
            });
            if (mWaitForLog.size() == 1) OpenLog();
        };
        co_await asio::async_initiate<const asio::use_awaitable_t<>, void()>(initiate, asio::use_awaitable);
    }
    co_return mOpen && !mClosed;
}

std::string Meeting::LogName() const
{
    return mServices.names.Meeting(mHead.id, mHead.code);
}

void Meeting::OpenLog()
{
    mSeats.clear();  // of an attempt that failed half way
    mBarred.clear();
    mNumbers.clear();
    mUnsafeKept.clear();
    mHistory = {};
    mLog->OpenLater([weak = weak_from_this()](std::exception_ptr trouble, LogContents contents) {
        const auto self = weak.lock();
        if (!self) return;
        if (trouble) return self->LogIsOpen(trouble);
        self->mLog->WhenSafe([self = self.get()](const Sequences& upTo) { self->OnSafe(upTo); });
        self->mLog->NumbersFrom([self = self.get()] { return self->AllNumbers(); });
        for (const NumbersEntry& entry : contents.numbers) {
            const auto numbers = self->NumbersOf(entry.key, entry.stream);
            numbers->have = entry.have;
            numbers->refused.assign(entry.refused.begin(), entry.refused.end());
        }
        self->mLog->ReplayLater(
            [weak](const LogItem& item) {
                if (const auto meeting = weak.lock()) meeting->Restore(item);
            },
            [weak, seats = std::move(contents.seats)](std::exception_ptr why, const Replayed& replayed) {
                if (const auto meeting = weak.lock()) meeting->LogIsReplayed(why, seats, replayed);
            });
    });
}

void Meeting::LogIsReplayed(std::exception_ptr trouble, const std::vector<SeatEntry>& seats,
                            const Replayed& replayed)
{
    if (!trouble && !mClosed) {
        try {
            TakeRestored(seats, replayed);
        } catch (const std::exception&) {
            trouble = std::current_exception();
        }
    }
    LogIsOpen(trouble);
}

void Meeting::LogIsOpen(std::exception_ptr trouble)
{
    mOpen = !trouble && !mClosed;
    try {
        if (trouble) std::rethrow_exception(trouble);
    } catch (const std::exception& error) {
        mEmptySince = Clock::now();  // somebody wants it: it is not deleted before it could be read
        mServices.log.error("the log of meeting {} cannot be used: {}", LogName(), error.what());
    }
    for (const auto& waiting : std::exchange(mWaitForLog, {})) waiting();
}

void Meeting::TakeRestored(const std::vector<SeatEntry>& seats, const Replayed& replayed)
{
    for (const auto& [key, streams] : mNumbers)
        for (const auto& numbers : streams) numbers->safe = numbers->have;
    mLog->Trim(CHANNEL_BOARD, mBoardBegin, 0);
    for (const SeatEntry& entry : seats) RestoreSeat(entry);
    if (replayed.skipped > 0)
        mServices.log.warn("opening meeting {}: {} items were skipped that stand twice or in no known form",
                           LogName(), replayed.skipped);
    if (replayed.headLost)
        mServices.log.error("the head of meeting {} could not be read; it was written again", LogName());
    if (replayed.damage == Damage::None) return;
    mServices.log.error("a file of meeting {} was damaged and put aside", LogName());
    Notify(
        "A part of this meeting could not be read any more by the service. Ask the others what was there.");
}

void Meeting::Restore(const LogItem& item)
{
    if (item.kept)
        if (const auto begin = mHistory.Take(item.sequence, StoredStep(item))) mBoardBegin = *begin;
    if (item.stream == 0) return;
    const auto numbers = NumbersOf(item.sender, item.stream);
    std::uint64_t& have = numbers->have[item.channel];
    if (item.refused && item.number > have) numbers->refused.push_back(item.frames);
    have = std::max(have, item.number);
}

// A database may be slow or away, and the meetings of a relay that is gone come all at once: nothing of this
// relay's may stand still for that. The directory holds their people against it afterwards.
bool Meeting::StillTheirs(const SeatEntry& entry) const
{
    if (mServices.accounts.Shared()) return true;
    const std::optional<Account> account = mServices.accounts.Find(entry.handle);
    return account && account->permitted && account->generation == entry.generation;
}

// Fresh grace: nobody could come back while there was no service. One whose account has changed is dropped.
void Meeting::RestoreSeat(const SeatEntry& entry)
{
    mLastSeat = std::max(mLastSeat, entry.number);
    const std::optional<HandleForms> forms = ReadHandle(entry.handle);
    if (entry.barred && forms) mBarred[forms->key].push_back(entry.number);
    if (entry.gone) return;
    if (!forms || mServices.bans.BarsHandle(forms->key) || !StillTheirs(entry)) {
        SeatEntry gone = entry;
        gone.gone = true;
        mLog->Seat(gone);
        return;
    }
    auto session = std::make_shared<Session>(FloodBudget(mServices.limits.Now().budgets, Clock::now()));
    session->handle = entry.handle;
    session->key = forms->key;
    session->address = entry.address;
    session->stream = entry.stream;
    session->generation = entry.generation;
    session->permitted = true;
    auto seat =
        std::make_shared<Seat>(entry.number, session, std::make_shared<MeetingHold>(shared_from_this()),
                               NumbersOf(session->key, session->stream),
                               static_cast<SeatSurroundings&>(*this), mServices.limits.Now().bounds);
    seat->tokenHashes = entry.tokenHashes;
    seat->state = entry.away ? SeatState::Away : SeatState::Detached;
    seat->cutOff =
        Clock::now() - (entry.away ? mServices.limits.Now().times.grace : std::chrono::milliseconds(0));
    seat->BeginAt(entry.read, entry.enteredAt);
    mSeats.push_back(std::move(seat));
    mKeeper.SeatRestored(session, shared_from_this());
}

asio::awaitable<SharedMeetings::Done> Meeting::Bar(HandleForms whom)
{
    if (!mBarred.contains(whom.key)) {
        if (const SeatPtr seat = OfKey(whom.key)) {
            mBarred[whom.key] = {seat->number};
            if (seat->client) seat->client->End(BYE_KICKED, "");
            Gone(seat);
            EndOfTurn();
        } else {
            SeatEntry entry;
            entry.number = ++mLastSeat;
            entry.gone = entry.barred = true;
            entry.handle = whom.spelling;
            mLog->Seat(entry);
            mBarred[whom.key] = {entry.number};
        }
        mServices.log.info("{} is barred from meeting {}", mServices.names.User(whom.spelling), LogName());
    }
    co_return co_await Synced();
}

asio::awaitable<SharedMeetings::Done> Meeting::Unbar(HandleForms whom)
{
    const auto at = mBarred.find(whom.key);
    if (at == mBarred.end()) co_return SharedMeetings::Done::NotKicked;
    for (const SeatNumber number : at->second) {
        SeatEntry entry;
        entry.number = number;
        entry.gone = true;
        entry.handle = whom.spelling;
        mLog->Seat(entry);
    }
    mBarred.erase(at);
    co_return co_await Synced();
}

// A log that is another relay's by now never says so.
asio::awaitable<SharedMeetings::Done> Meeting::Synced()
{
    const auto syncing = std::make_shared<Syncing>();
    const auto initiate = [this, syncing](auto handler) {
        auto shared = std::make_shared<decltype(handler)>(std::move(handler));
        syncing->since = Clock::now();
        syncing->wake = [shared] {
            asio::post(asio::get_associated_executor(*shared), [shared] { std::move (*shared)(); });
        };
        if (mClosed) return std::exchange(syncing->wake, nullptr)();
        mSyncing.push_back(syncing);
        mLog->WhenSynced([syncing] {
            syncing->safe = true;
            if (const auto wake = std::exchange(syncing->wake, nullptr)) wake();
        });
    };
    co_await asio::async_initiate<const asio::use_awaitable_t<>, void()>(initiate, asio::use_awaitable);
    std::erase(mSyncing, syncing);
    co_return syncing->safe ? SharedMeetings::Done::Yes : SharedMeetings::Done::NoAnswer;
}

void Meeting::GiveUpSyncing(Clock::time_point since)
{
    for (const auto& syncing : mSyncing)
        if (const auto wake = syncing->since < since ? std::exchange(syncing->wake, nullptr) : nullptr)
            wake();
}

MeetingFacts Meeting::Facts() const
{
    MeetingFacts facts;
    facts.code = mHead.code;
    facts.open = mOpen;
    if (mOpen) facts.log = mLog->Bytes();
    for (const SeatPtr& seat : mSeats) {
        const std::string& handle = seat->session->handle;
        AttendeeFacts one;
        one.handle = handle;
        one.logName = mServices.names.StandIn(handle);
        one.state = "away";
        one.unreadBytes = seat->LagBytes();
        if (seat->state != SeatState::Away) one.state = seat->client ? "present" : "cut off";
        if (seat->client) {
            Client::Facts connection = seat->client->TheFacts();
            one.address = std::move(connection.address);
            one.protocol = std::move(connection.protocol);
            one.relay = std::move(connection.relay);
            one.delay = connection.delay;
        }
        facts.attendees.push_back(std::move(one));
    }
    return facts;
}

asio::awaitable<std::vector<LogPart>> Meeting::HoldLog()
{
    std::vector<LogPart> parts;
    if (!mClosed) parts = mLog->Hold();
    co_return parts;
}

// Only what is safe: the items that carry the others still stand in the log.
std::vector<NumbersEntry> Meeting::AllNumbers() const
{
    std::vector<NumbersEntry> all;
    for (const auto& [key, streams] : mNumbers)
        for (const auto& numbers : streams)
            all.push_back(
                {key, numbers->stream, numbers->safe, {numbers->refused.begin(), numbers->refused.end()}});
    return all;
}

void Meeting::OnTrouble(bool refused)
{
    if (mLog->Waits()) {
        mServices.log.warn("the servers of meeting {} {}", LogName(),
                           refused ? "take nothing; it waits" : "take again");
        return;
    }
    mServices.log.error("the volume of meeting {} {}", LogName(),
                        refused ? "takes nothing; it goes on in memory" : "takes again");
    Notify(refused ? "The service cannot save this meeting at the moment: its disk is full or fails. The "
                     "meeting goes on; "
                     "its operator should make room before the service stops."
                   : "The service saves this meeting again.");
}

// In a turn of its own: the log may be in the middle of something.
void Meeting::Notify(std::string text)
{
    asio::post(mHome, [weak = weak_from_this(), text = std::move(text)] {
        const auto self = weak.lock();
        if (!self || self->mClosed) return;
        Header header;
        header.mutable_item()->set_channel(CHANNEL_TALK);
        header.mutable_item()->mutable_notice()->set_text(text);
        auto item = std::make_shared<LogItem>();
        item->channel = CHANNEL_TALK;
        item->everyone = true;
        self->Put(std::move(item), header, {}, BoardEffect::None);
        self->EndOfTurn();
    });
}

}  // namespace zephyl
