#include "model/relay.h"

#include <algorithm>

namespace model {

Seat* Relay::Find(int handle)
{
    const auto found = mSeats.find(handle);
    return found == mSeats.end() ? nullptr : &found->second;
}

/// The fence: only the seat's newest connection speaks for it.
Seat* Relay::SeatOf(Connection& connection)
{
    Seat* seat = Find(connection.client);
    if (!seat || (seat->connection != &connection && !(Is(Fault::NoFence) && connection.seated)))
        return nullptr;
    return seat;
}

void Relay::Handle(Connection& from, const Message& message)
{
    if (message.say == Say::Login) {
        Seat* seat = Find(from.client);
        // Taken over; when the login was one that its user had given up, the return is told of a gap.
        if (seat && seat->stream != message.stream) mWitness.MayMiss(1u << seat->handle), End(*seat);
        from.stream = message.stream;
        TakeOver(from);
        return from.SendDown({.say = Say::LoggedIn, .call = message.call});
    }
    if (message.say == Say::Enter) return Enter(from, message);
    if (message.say == Say::Resume) return Resume(from, message);
    Seat* seat = SeatOf(from);
    if (!seat) return;
    seat->oldToken = 0;  // the first frame on the new connection uses the old token up
    if (message.say == Say::Leave) return End(*seat);
    if (message.say == Say::Post) return Post(from, *seat, message);
    for (const Channel c : {Talk, Board}) seat->cursor[c] = std::max(seat->cursor[c], message.cursor[c]);
    Write(*seat);
}

// --- seats ---

void Relay::Enter(Connection& from, const Message& message)
{
    if (mNewest[from.client] != &from && !Is(Fault::LoginFencesNot)) return;  // a later login has ended it
    const bool byUser = message.meeting == 0;
    if (byUser && (mLog.meeting == 0 || (mSeats.empty() && message.create))) NewMeeting(from.client);
    if (!byUser && message.meeting != mLog.meeting)
        return from.SendDown({.say = Say::Entered, .call = message.call, .ok = false});
    Seat* seat = Find(from.client);
    if (seat && seat->stream != from.stream) End(*seat), seat = nullptr;
    const bool known = seat, seen = seat && seat->state != SeatState::Away;
    if (!known) {
        seat = &mSeats[from.client];
        seat->handle = from.client, seat->stream = from.stream, seat->number = ++mSeatNumbers;
    }
    if (byUser || !known) {
        seat->cursor = {mEnd[Talk], 0};  // 0: in front of the kept beginning, wherever that is
        seat->enteredAt = mEnd[Board], seat->missed = 0;
    } else {
        for (const Channel c : {Talk, Board}) seat->cursor[c] = std::max(seat->cursor[c], message.cursor[c]);
    }
    Occupy(*seat, from, 0);
    if (!seen) SayPresence(Kind::Came, from.client);
    const Message place = Place(Say::Entered, message.call, *seat);
    if (Is(Fault::EnteredBeforeSync)) return Start(*seat, place);
    from.held = place, from.heldUntil = mLog.seats.entries.size();
}

/// A login or a Resume that is good ends the handle's older connection, whatever of it is still to come.
void Relay::TakeOver(Connection& by)
{
    Connection*& newest = mNewest[by.client];
    if (newest && newest != &by && !Is(Fault::NoFence) && !Is(Fault::LoginFencesNot))
        newest->relayOpen = false, Lost(*newest);
    mNewest[by.client] = &by;
}

void Relay::Resume(Connection& from, const Message& message)
{
    Seat* seat = Find(from.client);
    const bool good = seat && seat->number == message.seat && seat->state != SeatState::Away &&
                      (message.token == seat->newToken || message.token == seat->oldToken);
    if (!good) return from.SendDown({.say = Say::Resumed, .call = message.call, .ok = false});
    from.stream = seat->stream;
    TakeOver(from);
    for (const Channel c : {Talk, Board}) seat->cursor[c] = std::max(seat->cursor[c], message.cursor[c]);
    Occupy(*seat, from, message.token);
    Start(*seat, Place(Say::Resumed, message.call, *seat));
}

void Relay::Occupy(Seat& seat, Connection& connection, std::uint64_t oldToken)
{
    if (seat.connection && seat.connection != &connection && !Is(Fault::NoFence))
        seat.connection->relayOpen = false;
    seat.connection = &connection, connection.seated = true;
    seat.state = SeatState::Present;
    seat.oldToken = oldToken, seat.newToken = ++mTokens;
    Write(seat);
}

Message Relay::Place(Say say, int call, Seat& seat)
{
    seat.sent = seat.cursor, seat.told = {}, seat.placeAt = mEnd[Talk];
    seat.ownAt = mEnd[Board], seat.ownUpTo = mHave[seat.stream][Board];
    return {.say = say,
            .call = call,
            .token = seat.newToken,
            .meeting = mLog.meeting,
            .seat = seat.number,
            .cursor = seat.cursor,
            .numbers = mHave[seat.stream],
            .enteredAt = seat.enteredAt,
            .attendees = Attendees(),
            .starter = seat.handle == mLog.starter};
}

/// The place, the refusals that may have got lost, what is safe; then the writer runs.
void Relay::Start(Seat& seat, const Message& place)
{
    seat.connection->held.reset();
    seat.connection->SendDown(place);
    for (const Channel c : {Talk, Board})
        for (const Item& item : mLog.channel[c].entries)
            if (item.bad && item.stream == seat.stream && !Is(Fault::RefusalForgotten))
                seat.connection->SendDown({.say = Say::Refused, .item = item});
    TellAccepted(seat);
}

void Relay::Lost(Connection& connection)
{
    if (mNewest[connection.client] == &connection) mNewest[connection.client] = nullptr;
    if (Seat* seat = SeatOf(connection))
        seat->connection = nullptr, seat->state = SeatState::Detached, Write(*seat);
}

void Relay::GraceOver(int handle)
{
    Seat* seat = Find(handle);
    if (!seat || seat->state != SeatState::Detached) return;
    seat->state = SeatState::Away;
    Write(*seat);
    mWitness.MayLeave(1u << handle);
    SayPresence(Kind::Went, handle);
}

void Relay::SeatOver(int handle)
{
    Seat* seat = Find(handle);
    if (!seat || seat->state != SeatState::Away) return;
    mWitness.MayMiss(1u << handle);
    End(*seat);
    if (!Is(Fault::SeatEndUnsynced)) mLog.seats.SyncAll();  // before anything is done without it
}

void Relay::End(Seat& seat)
{
    const bool seen = seat.state != SeatState::Away;
    const int handle = seat.handle;
    if (seat.connection) seat.connection->seated = false, seat.connection->held.reset();
    seat.state = SeatState::Gone;
    Write(seat);
    mSeats.erase(handle);
    if (seen) SayPresence(Kind::Went, handle);
}

unsigned Relay::Attendees() const
{
    unsigned all = 0;
    for (const auto& [handle, seat] : mSeats)
        if (seat.state != SeatState::Away) all |= 1u << handle;
    return all;
}

// --- items ---

void Relay::Post(Connection& from, Seat& seat, const Message& message)
{
    Item item = message.item;
    Sequence& have = mHave[seat.stream][ChannelOf(item.kind)];
    if (item.number <= have) return;
    have = std::max(have, item.number);
    item.from = seat.handle, item.stream = seat.stream;
    // Everybody's board does what stands in the log: who may take back is decided here and nowhere else.
    if (item.kind == Kind::TakeBack && seat.handle != mLog.starter && !Is(Fault::AnybodyTakesBack))
        item.bad = true;
    Append(item);  // of a refused one the mark, so that the refusal is as safe as what follows it
    if (item.bad) from.SendDown({.say = Say::Refused, .item = item});
    if (Is(Fault::AcceptedBeforeSync)) TellAccepted(seat);
}

void Relay::Append(Item item)
{
    unsigned seats = 0;
    for (const auto& [handle, seat] : mSeats) seats |= 1u << handle;
    const Channel channel = ChannelOf(item.kind);
    item.everyone = item.to == 0;
    item.to = item.bad ? 0 : (item.everyone ? seats : item.to & seats);
    item.sequence = ++mEnd[channel];
    mLog.channel[channel].entries.push_back(item);
    if (KeptForAll(item)) mLog.everything.push_back(item);
    if (item.id && !item.bad) mWitness.Appended(item.id, item.sequence);
}

void Relay::SayPresence(Kind kind, int handle)
{
    Append({0, handle, 0, 0, 0, kind});
}

bool Relay::Wants(const Seat& seat, const Item& item) const
{
    const bool earlier = ChannelOf(item.kind) == Board && item.sequence <= seat.enteredAt;
    if (item.bad || (item.stream == seat.stream && earlier && Is(Fault::OwnEarlierMissing))) return false;
    if (earlier) return KeptForAll(item);
    if (item.stream == seat.stream)  // of the board only its place
        return ChannelOf(item.kind) == Board &&
               !(Is(Fault::OwnPlaceNotSentAgain) && item.sequence <= seat.ownAt);
    const bool presence = item.kind == Kind::Came || item.kind == Kind::Went;
    if (presence && item.sequence <= seat.placeAt && !Is(Fault::PresenceReplayed)) return false;
    return item.to >> seat.handle & 1;
}

bool Relay::Write(Connection& connection, Channel channel)
{
    Seat* seat = SeatOf(connection);
    if (!seat || seat->connection != &connection || connection.held) return false;
    if (channel == Talk && seat->missed > seat->sent[Talk]) {
        seat->sent[Talk] = seat->missed, seat->placeAt = mEnd[Talk];
        connection.SendDown({.say = Say::Skipped, .upTo = seat->missed, .attendees = Attendees()});
        return true;
    }
    const auto& entries = mLog.channel[channel].entries;
    auto next = std::upper_bound(entries.begin(), entries.end(), seat->sent[channel],
                                 [](Sequence at, const Item& item) { return at < item.sequence; });
    next = std::find_if(next, entries.end(), [&](const Item& item) { return Wants(*seat, item); });
    const bool passed = next == entries.end() || next->sequence > seat->ownAt;
    if (channel == Board && passed && seat->ownUpTo) {
        Item item{
            .from = seat->handle, .stream = seat->stream, .number = seat->ownUpTo, .kind = Kind::Pointer};
        item.sequence = seat->ownAt, item.passed = true;
        seat->ownUpTo = 0;
        if (!Is(Fault::OwnTrimmedWaits)) return connection.SendDown({.say = Say::Item, .item = item}), true;
    }
    if (next == entries.end()) return false;
    seat->sent[channel] = next->sequence;
    connection.SendDown({.say = Say::Item, .item = *next});
    return true;
}

// --- the log ---

/// Highest own numbers of a stream: in the log at all, or only what is safe.
Cursor Relay::Numbers(std::uint64_t stream, bool safe) const
{
    const auto trimmed = mLog.trimmed.find(stream);
    Cursor numbers = trimmed == mLog.trimmed.end() ? Cursor{} : trimmed->second;
    for (const Channel c : {Talk, Board}) {
        const auto& file = mLog.channel[c];
        const std::size_t part = safe ? file.synced : file.entries.size();
        for (std::size_t i = 0; i < part; ++i)
            if (file.entries[i].stream == stream) numbers[c] = std::max(numbers[c], file.entries[i].number);
    }
    return numbers;
}

void Relay::TellAccepted(Seat& seat)
{
    const Cursor safe = Numbers(seat.stream, !Is(Fault::AcceptedBeforeSync) && !Is(Fault::AcceptedPastSync));
    if (seat.told == safe) return;
    seat.told = safe;
    seat.connection->SendDown({.say = Say::Accepted, .numbers = safe});
}

bool Relay::Sync()
{
    bool news = false;
    const auto turn = [&](auto& file) {
        news |= file.synced < file.syncing || file.syncing < file.entries.size();
        file.synced = file.syncing;
    };
    turn(mLog.seats), turn(mLog.channel[Talk]), turn(mLog.channel[Board]);
    for (auto& [handle, seat] : mSeats) {
        if (!seat.connection) continue;
        if (seat.connection->held && seat.connection->heldUntil <= mLog.seats.synced)
            Start(seat, Message(*seat.connection->held));
        else if (!seat.connection->held)
            TellAccepted(seat);
    }
    Trim();
    mLog.seats.syncing = mLog.seats.entries.size();
    for (File<Item>& file : mLog.channel) file.syncing = file.entries.size();
    return news;
}

bool Relay::Unread(const Item& item) const
{
    return std::any_of(mSeats.begin(), mSeats.end(), [&](const auto& entry) {
        const Seat& seat = entry.second;
        return (item.to >> seat.handle & 1) && item.stream != seat.stream &&
               item.sequence > seat.cursor[ChannelOf(item.kind)];
    });
}

/// From the newest CLEAR that was followed by 20 changes before any UNDO: all histories of 11 end alike
/// there.
Sequence Relay::KeptBeginning() const
{
    const std::size_t needed = Is(Fault::TrimTooEarly) ? 5 : 20;
    const auto& file = mLog.channel[Board];
    std::vector<std::pair<Sequence, std::size_t>> clears;  // with the changes up to then
    Sequence beginning = 0;
    std::size_t changes = 0;
    for (std::size_t i = 0; i < (Is(Fault::TrimUnsynced) ? file.entries.size() : file.synced); ++i) {
        const Item& item = file.entries[i];
        if (!KeptForAll(item)) continue;
        if (item.kind == Kind::Undo && !Is(Fault::TrimIgnoresUndo)) clears.clear();
        changes += Changes(item.kind);
        if (item.kind == Kind::Clear) clears.emplace_back(item.sequence, changes);
        for (const auto& [sequence, before] : clears)
            if (changes - before >= needed) beginning = std::max(beginning, sequence);
    }
    return beginning;
}

/// Only what is safe is trimmed, and only because of what is safe.
void Relay::Trim()
{
    TrimTalkAtBound();
    const Sequence beginning = KeptBeginning();
    for (const Channel c : {Talk, Board}) {
        mLog.channel[c].Trim(mLog.channel[c].synced, [&](const Item& item) {
            const bool passed = c == Board && item.sequence < beginning;
            const bool goes =
                !item.bad &&
                (KeptForAll(item) ? passed : !Unread(item) || (passed && Is(Fault::TrimTakesListed)));
            if (goes) mLog.trimmed[item.stream][c] = std::max(mLog.trimmed[item.stream][c], item.number);
            return goes;
        });
    }
}

void Relay::TrimTalkAtBound()
{
    File<Item>& talk = mLog.channel[Talk];
    const std::size_t most =
        std::min(talk.synced, talk.entries.size() - std::min(talk.entries.size(), kTalkBound));
    if (most == 0) return;
    const Sequence upTo = talk.entries[most - 1].sequence;
    for (auto& [handle, seat] : mSeats)
        for (std::size_t i = 0; i < most; ++i)
            if (const Item& item = talk.entries[i]; item.sequence > seat.cursor[Talk] && Wants(seat, item)) {
                seat.missed = upTo;
                mWitness.MayMiss(1u << handle);
            }
    for (auto& [handle, seat] : mSeats) Write(seat);
    mLog.seats.SyncAll();  // the gap is known before what is missing goes
    talk.Trim(most, [&](const Item& item) {
        if (!item.bad)
            mLog.trimmed[item.stream][Talk] = std::max(mLog.trimmed[item.stream][Talk], item.number);
        return !item.bad;
    });
}

void Relay::NewMeeting(int starter)
{
    if (mLog.meeting) mWitness.MayLeave(~0u);
    mLog = MeetingLog{};
    mLog.meeting = ++mMeetings, mLog.starter = starter;
    mEnd = {}, mHave.clear();
}

void Relay::PowerCut(unsigned a, unsigned b, unsigned c)
{
    mWitness.PowerFails();
    mWitness.MayLeave(~0u);
    mLog.PowerCut(a, b, c);
    Open();
}

void Relay::Kill()
{
    Open();
}

void Relay::Open()
{
    if (!mLog.meeting) return;
    mLog.seats.SyncAll(), mLog.channel[Talk].SyncAll(), mLog.channel[Board].SyncAll();
    ++mLog.counter;
    if (Is(Fault::StarterForgotten)) mLog.starter = -1;
    mSeats.clear(), mHave.clear(), mNewest.clear();
    for (const Seat& seat : mLog.seats.entries) mSeats[seat.handle] = seat;
    std::erase_if(mSeats, [](const auto& entry) { return entry.second.state == SeatState::Gone; });
    for (auto& [handle, seat] : mSeats) {
        seat.connection = nullptr;
        if (Is(Fault::SkippedForgotten)) seat.missed = 0;
        if (seat.state == SeatState::Present)
            seat.state = Is(Fault::NoGraceAfterKill) ? SeatState::Away : SeatState::Detached;
    }
    for (const Channel c : {Talk, Board}) {
        const auto& entries = mLog.channel[c].entries;
        if (!Is(Fault::NoCounter))
            mEnd[c] = mLog.counter << 32;
        else if (!entries.empty())
            mEnd[c] = entries.back().sequence;
        for (const Item& item : entries) mHave[item.stream] = {};
    }
    for (const auto& [stream, numbers] : mLog.trimmed) mHave[stream] = {};
    for (auto& [stream, numbers] : mHave) numbers = Numbers(stream, false);
}

}  // namespace model
