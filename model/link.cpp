#include "model/link.h"

namespace model {

// --- the user ---

void Link::Join(bool newLogin, bool create, std::uint64_t freshStream)
{
    if (mEntry) return;
    if (newLogin || mStream == 0) {
        Disconnect();
        mStream = freshStream, mNumbers = {};
    }
    mEntry.emplace().create = create;
    if (mPhase == Phase::Idle && mConnection) SendEnter();
}

void Link::Leave()
{
    if (!mEntry) return;
    if (mPhase == Phase::Seated)
        Send({.say = Say::Leave}), mPhase = Phase::Idle;
    else
        Disconnect();
    EndEntry();
}

void Link::Kill()
{
    Disconnect();
    EndEntry();
    mStream = 0, mBoard = {};
}

/// What is left in the outbox is named to the user; it never goes into another entry.
void Link::EndEntry()
{
    std::vector<int> pending;
    for (const Pending& entry : mOutbox) pending.push_back(entry.item.id);
    if (mEntry) mWitness.Ends(mHandle, pending);
    mOutbox.clear(), mEvents.clear(), mOwn.clear(), mEntry.reset();
}

void Link::Post(const Item& item, unsigned list)
{
    const bool deliver = list == 0;
    const unsigned wanted = (deliver ? mEntry->held : list) & ~(1u << mHandle);
    const unsigned text = unsigned(item.kind);  // all items of a kind have the same text
    for (int reader = 0; reader < kClients || reader == kClients; ++reader) {
        const bool nobody = reader == kClients && wanted == 0 && deliver;  // kept for whoever comes
        if (!nobody && (reader == kClients || !(wanted >> reader & 1))) continue;
        const unsigned copy = nobody ? 0 : 1u << reader;
        Pending* last = mOutbox.empty() ? nullptr : &mOutbox.back();
        const bool joins =
            !nobody && last && last->state == State::Open && last->text == text && last->deliver == deliver;
        if (joins && !(last->item.to & copy))
            last->item.to |= copy;
        else if (!(joins && Is(Fault::FoldJoinsEqual))) {
            EndTurn();
            mOutbox.push_back({item, text, deliver, State::Open});
            mOutbox.back().item.to = copy;
        }
    }
    if (ChannelOf(item.kind) != Board || item.kind == Kind::Pointer) return;
    if (Is(Fault::OwnHandFirst)) return mBoard.Apply(item, mHandle);
    mOwn.push_back({item, Drawn()});
    mOwn.back().after.Apply(item, mHandle);
}

void Link::EndTurn()
{
    if (mOutbox.empty() || mOutbox.back().state != State::Open) return;
    Pending& last = mOutbox.back();
    const bool all = last.item.to == (mEntry->held & ~(1u << mHandle));
    if (all && (last.deliver ? !Is(Fault::SenderResolves) : Is(Fault::WhisperWidens))) last.item.to = 0;
    last.item.number = ++mNumbers[ChannelOf(last.item.kind)];
    last.state = State::Waiting;
    for (Own& own : mOwn)
        if (own.item.id == last.item.id) own.item.number = last.item.number;
}

bool Link::Take(unsigned most)
{
    bool any = false;
    for (; most > 0 && !mEvents.empty(); --most, any = true) {
        const Event event = mEvents.front();
        mEvents.pop_front();
        const Channel channel = ChannelOf(event.item.kind);
        mEntry->cursor[channel] = std::max(mEntry->cursor[channel], event.item.sequence);
        Apply(event);
    }
    if (any && mPhase == Phase::Seated) Send({.say = Say::Read, .cursor = mEntry->cursor});
    return any;
}

void Link::Apply(const Event& event)
{
    const Item& item = event.item;
    if (event.what == What::Shown) {
        mWitness.Takes(mHandle, item);
        if (ChannelOf(item.kind) == Board) mBoard.Apply(item, item.from);
        if (item.kind == Kind::TakeBack && item.whom == mHandle && Is(Fault::TakeBackTakesWhatWaits))
            mOwn.clear();
    } else if (event.what == What::Placed || event.what == What::Passed) {
        // What has none by now was trimmed away behind a later CLEAR, or refused.
        std::erase_if(mOwn, [&](const Own& own) { return own.item.number && own.item.number < item.number; });
        const bool here = !mOwn.empty() && mOwn.front().item.number == item.number;
        if (here && event.what == What::Placed) PlaceFirst();
        if (here)
            mOwn.erase(mOwn.begin());
        else if (Is(Fault::OwnPlaceTwice) && event.what == What::Placed)
            mBoard.Apply(item, mHandle);
    } else if (event.what == What::Lost && !Is(Fault::OwnRefusedStays)) {
        std::erase_if(mOwn, [&](const Own& own) { return own.item.number == item.number; });
    }
}

void Link::PlaceFirst()
{
    const Own& own = mOwn.front();
    if (own.item.kind == Kind::TakeBack && Is(Fault::TakeBackAsSeen))
        mBoard = own.after;
    else
        mBoard.Apply(own.item, mHandle);
}

History Link::Drawn() const
{
    History shown = mBoard;
    for (const Own& own : mOwn) shown.Apply(own.item, mHandle);
    return shown;
}

// --- the connection ---

void Link::Send(Message message)
{
    mConnection->SendUp(message);
}

void Link::Disconnect()
{
    if (mConnection) mConnection->linkOpen = false;
    Lost();
}

void Link::Lost()
{
    mConnection = nullptr, mPhase = Phase::Idle;
}

bool Link::Run()
{
    if (!mEntry) return false;
    EndTurn();
    if (!mConnection) {
        mConnection = mConnect(mHandle);
        if (mEntry->token == 0) return SendLogin(), true;
        mPhase = Phase::Resuming;
        Send({.say = Say::Resume,
              .call = ++mCall,
              .token = mEntry->token,
              .seat = mEntry->seat,
              .cursor = mEntry->cursor});
        return true;
    }
    bool any = false;
    for (Pending& entry : mOutbox) {
        if (mPhase != Phase::Seated || entry.state != State::Waiting) continue;
        Send({.say = Say::Post, .item = entry.item});
        entry.state = State::Sent, any = true;
    }
    return any;
}

void Link::SendLogin()
{
    mPhase = Phase::LoggingIn;
    Send({.say = Say::Login, .call = ++mCall, .stream = mStream});
}

void Link::SendEnter()
{
    mPhase = Phase::Entering;
    Send({.say = Say::Enter,
          .call = ++mCall,
          .create = mEntry->create,
          .meeting = mEntry->meeting,
          .cursor = mEntry->cursor});
}

void Link::Receive(const Message& m)
{
    const bool answer = m.say == Say::LoggedIn || m.say == Say::Entered || m.say == Say::Resumed;
    if (!mEntry || (answer && m.call != mCall)) return;
    if (m.say == Say::LoggedIn) return SendEnter();
    if (m.say == Say::Entered && !m.ok) return Disconnect(), EndEntry();  // the meeting has ended
    if (m.say == Say::Resumed && !m.ok) return mEntry->token = 0, SendLogin();
    if (answer) return OnPlace(m);
    if (mPhase != Phase::Seated && !Is(Fault::LeftMeetingTalks)) return;  // of a seat that was left
    if (m.say == Say::Item) return OnItem(m.item);
    if (m.say == Say::Skipped) {
        if (m.upTo > mEntry->received[Talk]) mWitness.IsTold(mHandle, Talk, m.upTo);  // else it has it all
        mEntry->received[Talk] = std::max(mEntry->received[Talk], m.upTo);
        mEvents.push_back({{.sequence = m.upTo, .kind = Kind::Line}});
        return Hold(m.attendees);
    }
    std::erase_if(mOutbox, [&](const Pending& entry) {
        const Channel channel = ChannelOf(entry.item.kind);
        if (m.say == Say::Accepted)
            return entry.state == State::Sent && entry.item.number <= m.numbers[channel];
        const bool refused = channel == ChannelOf(m.item.kind) && entry.item.number == m.item.number;
        if (refused) mWitness.Refused(mHandle, entry.item.id);
        if (refused && channel == Board)
            mEvents.push_back({{.number = entry.item.number, .kind = Kind::Pointer}, What::Lost});
        return refused;
    });
}

void Link::OnPlace(const Message& place)
{
    mPhase = Phase::Seated;
    if (mEntry->meeting == 0) {
        mEntry->ownBefore = mNumbers[Board];
        mEntry->received = place.cursor;
        mEntry->held = place.attendees;
        if (!Is(Fault::OldBoardStays)) mBoard = {};
        mWitness.Begins(mHandle, place.meeting);
    } else if (place.seat != mEntry->seat) {  // returned after the seat had gone
        if (!Is(Fault::ReturnGapUnstated)) {
            mWitness.IsTold(mHandle, Talk, place.cursor[Talk]);
            mWitness.IsTold(mHandle, Board, place.enteredAt);
        }
        mEntry->received = place.cursor;
        if (Is(Fault::NumbersAnewOnReturn)) mEntry->highest.clear();
    }
    mEntry->meeting = place.meeting, mEntry->seat = place.seat, mEntry->token = place.token;
    mEntry->starter = place.starter;
    mEntry->cursor = place.cursor;
    Hold(place.attendees);
    for (Pending& entry : mOutbox) {
        const bool has = entry.item.number <= place.numbers[ChannelOf(entry.item.kind)];
        if (entry.state != State::Open && !Is(Fault::SentStaysSent))
            entry.state = has ? State::Sent : State::Waiting;
    }
}

void Link::Hold(unsigned attendees)
{
    for (int who = 0; who < kClients; ++who)
        if (who != mHandle && (mEntry->held & ~attendees) >> who & 1) mWitness.SeesLeave(mHandle, who);
    mEntry->held = attendees;
}

void Link::OnItem(const Item& item)
{
    if (item.passed || (item.stream == mStream && item.number > mEntry->ownBefore)) return OnOwn(item);
    const bool isNew = IsNew(item);
    Sequence& received = mEntry->received[ChannelOf(item.kind)];
    received = std::max(received, item.sequence);
    if (isNew && item.kind == Kind::Came) Hold(mEntry->held | 1u << item.from);
    if (isNew && item.kind == Kind::Went) Hold(mEntry->held & ~(1u << item.from));
    const bool shown = isNew && item.kind != Kind::Came && item.kind != Kind::Went;
    mEvents.push_back({item, shown ? What::Shown : What::Nothing});
}

/// Where an item of this entry stands among the others'. Sent again, it only moves the cursor.
void Link::OnOwn(const Item& item)
{
    Sequence& received = mEntry->received[ChannelOf(item.kind)];
    received = std::max(received, item.sequence);
    const bool isNew = item.number > mEntry->placed || Is(Fault::OwnPlaceTwice);
    mEntry->placed = std::max(mEntry->placed, item.number);
    const What what = !isNew ? What::Nothing : item.passed ? What::Passed : What::Placed;
    if (Is(Fault::OwnPlaceOvertakes)) return Apply({item, what});
    mEvents.push_back({item, what});
}

/// What a sender says is dropped by the sender's number, what the relay says by its sequence. Of the own
/// stream only what stood on the board before the user entered is shown, as somebody earlier.
bool Link::IsNew(const Item& item)
{
    const Channel channel = ChannelOf(item.kind);
    if (item.stream == 0) return item.sequence > mEntry->received[channel] || Is(Fault::SaidTwice);
    Sequence& highest = mEntry->highest[item.stream][channel];
    const bool isNew = item.number > highest || Is(Fault::LinkTakesTwice);
    highest = std::max(highest, item.number);
    return isNew;
}

}  // namespace model
