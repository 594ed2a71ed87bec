#include "service/link/incoming.h"

#include <algorithm>

#include "contract/messenger_service.h"
#include "service/wire/content.h"
#include "text/text_rules.h"

namespace zephyl::link {

namespace {

constexpr std::uint64_t kClockWasSetMs = 978'307'200'000;  // 2001: a clock in front of that was never set
constexpr std::uint64_t kLongestAgeMs = 100ull * 366 * 24 * 3600 * 1000;  // fits any clock

QString Text(std::string_view utf8)
{
    return Utf8Text({utf8.data(), qsizetype(utf8.size())});
}

void SetPicture(LinkEvent& event, const PictureInfo& picture, const std::string& from, std::string_view body)
{
    event.kind = LinkEvent::Kind::Frame;
    event.from = (picture.prefixed() ? Text(kWhiteboardHandle) : QString()) + Text(from);
    event.jpeg = QByteArray(body.data(), qsizetype(body.size()));
    event.x = std::clamp(picture.x(), -32768, 32767);
    event.y = std::clamp(picture.y(), -32768, 32767);
    event.type = picture.type();
}

}  // namespace

void Incoming::Begin(quint64 entry, const Self& self, const Place& place, quint64 postsBefore)
{
    mEntry = entry;
    mSelf = self;
    mMuted = false;
    mFilter.Reset();
    mPresent.clear();
    for (const Attendee& attendee : place.attendees())
        if (mPresent.size() < kMostAttendees) mPresent.push_back(attendee.handle());
    mTalk = place.position().talk();
    mBoard = place.position().board();
    TakeClock(place);
    mQueue.BeginEntry(entry, mTalk, mBoard);
    mPlacesOwn = place.own_places();
    mAwaited.clear();
    RaiseOwn(LinkEvent::Kind::Begins, postsBefore);
}

void Incoming::RaiseOwn(LinkEvent::Kind kind, quint64 post)
{
    LinkEvent event;
    event.kind = kind;
    event.line = Line::Board;
    event.entry = mEntry;
    event.post = post;
    mQueue.Push(std::move(event));
}

void Incoming::Await(std::uint64_t number, quint64 post)
{
    if (mPlacesOwn && !mMuted) mAwaited.push_back({number, post});
}

void Incoming::Lose(quint64 post)
{
    std::erase_if(mAwaited, [post](const Awaited& one) { return one.post == post; });
    RaiseOwn(LinkEvent::Kind::Lost, post);
}

/// Sent again after a cut, it only moves the cursor.
void Incoming::OnOwnPlace(const Item& item, std::size_t bytes)
{
    LinkEvent event;
    event.line = Line::Board;
    event.entry = mEntry;
    event.sequence = item.sequence();
    event.bytes = bytes;
    const bool again = item.sequence() <= mBoard, passed = item.own_place().passed();
    mBoard = std::max(mBoard, item.sequence());
    while (!mAwaited.empty() && mAwaited.front().number <= item.number()) {
        const bool here = !passed && mAwaited.front().number == item.number();
        event.kind = here ? LinkEvent::Kind::Placed : LinkEvent::Kind::Passed;
        event.post = mAwaited.front().post;
        mAwaited.pop_front();
    }
    if (event.kind != LinkEvent::Kind::Nothing || !again) mQueue.Push(std::move(event));
}

void Incoming::Return(const Place& place)
{
    if (mPlacesOwn && !place.own_places()) {
        mPlacesOwn = false;
        mAwaited.clear();
        RaiseOwn(LinkEvent::Kind::PlacesEnd, 0);
    }
    TakeClock(place);
    Compare(place.attendees());
}

void Incoming::TakeClock(const Place& place)
{
    mCatchUpTo = place.entered_at();
    mServiceNow = place.now_ms();
    mServiceNowAt = std::chrono::steady_clock::now();
}

/// Only the service's clock is compared with itself; what it cannot have meant is now.
std::optional<std::chrono::steady_clock::time_point> Incoming::DrawnAt(const Item& item) const
{
    if (item.sequence() > mCatchUpTo) return std::nullopt;
    const bool known = item.taken_ms() >= kClockWasSetMs && item.taken_ms() < mServiceNow;
    const std::uint64_t age = known ? std::min(mServiceNow - item.taken_ms(), kLongestAgeMs) : 0;
    return mServiceNowAt - std::chrono::milliseconds(age);
}

bool Incoming::OnSkipped(const Skipped& skipped)
{
    Compare(skipped.attendees());
    LinkEvent event;
    event.line = skipped.channel() == CHANNEL_BOARD ? Line::Board : Line::Talk;
    event.entry = mEntry;
    event.sequence = skipped.up_to();
    std::uint64_t& highest = skipped.channel() == CHANNEL_BOARD ? mBoard : mTalk;
    const bool missing = skipped.up_to() > highest;
    highest = std::max(highest, skipped.up_to());
    mQueue.Push(std::move(event));
    return missing;
}

void Incoming::Compare(const google::protobuf::RepeatedPtrField<Attendee>& attendees)
{
    const std::vector<std::string> held = mPresent;
    for (const std::string& handle : held) {
        const bool there = std::any_of(attendees.begin(), attendees.end(),
                                       [&](const Attendee& one) { return one.handle() == handle; });
        if (!there && handle != mSelf.handle) RaisePresence(handle, kStatusLeft, {}, {});
    }
    for (const Attendee& one : attendees)
        if (!Holds(one.handle())) RaisePresence(one.handle(), kStatusPresent, one.address(), {});
}

bool Incoming::Holds(const std::string& handle) const
{
    return std::find(mPresent.begin(), mPresent.end(), handle) != mPresent.end();
}

void Incoming::RaisePresence(const std::string& handle, int status, const std::string& address,
                             LinkEvent event)
{
    event.kind = LinkEvent::Kind::Status;
    event.line = Line::Talk;
    event.entry = mEntry;
    event.from = Text(handle);
    event.text = Text(address);
    event.status = status;
    const bool news = status == kStatusPresent ? !Holds(handle) : status != kStatusLeft || Holds(handle);
    if (!news || handle == mSelf.handle) event.kind = LinkEvent::Kind::Nothing;
    if (news && status == kStatusPresent && mPresent.size() >= kMostAttendees)
        throw WireError("more attendees than a meeting can have");
    if (news && status == kStatusPresent) mPresent.push_back(handle);
    if (news && status == kStatusLeft && handle != mSelf.handle) {
        std::erase(mPresent, handle);
        mFilter.ForgetLive(handle);
    }
    mQueue.Push(std::move(event));
}

void Incoming::OnItem(const ItemView& view)
{
    const Item& item = view.header.item();
    const bool board = item.channel() == CHANNEL_BOARD;
    std::uint64_t& highest = board ? mBoard : mTalk;
    const bool whole = item.stream() != 0 && item.stream() == mSelf.stream && item.from() == mSelf.handle &&
                       item.number() > mSelf.boardNumber;
    if (board && mPlacesOwn && !mMuted && (item.has_own_place() || whole))
        return OnOwnPlace(item, view.body.size() + view.header.ByteSizeLong() + kFramePrefixBytes);
    const bool fresh = !view.tooLarge && mFilter.Take(item) && !mMuted;
    const bool again = item.sequence() <= highest;  // its cursor stands behind it already, or in the queue
    highest = std::max(highest, item.sequence());
    if (!fresh && again) return;

    LinkEvent event;
    event.line = board ? Line::Board : Line::Talk;
    event.entry = mEntry;
    event.sequence = item.sequence();
    event.bytes = view.body.size() + view.header.ByteSizeLong() + kFramePrefixBytes;
    if (fresh && item.has_presence())
        RaisePresence(item.presence().handle(), item.presence().status(), item.presence().address(),
                      std::move(event));
    else if (fresh)
        RaiseContent(view, std::move(event));
    else
        mQueue.Push(std::move(event));
}

void Incoming::RaiseContent(const ItemView& view, LinkEvent event)
{
    const Item& item = view.header.item();
    std::string from = item.from();
    const bool own = from == mSelf.handle;
    const bool before = item.stream() != mSelf.stream || item.number() <= mSelf.boardNumber;
    if (own && event.line == Line::Board && before) from += kEarlierSuffix;
    if (event.line == Line::Board) event.drawn = DrawnAt(item);
    const bool dropped = (own && from == mSelf.handle) || item.has_notice();
    if (!dropped && item.has_picture()) {
        SetPicture(event, item.picture(), from, view.body);
    } else if (!dropped && item.has_text()) {
        event.kind = LinkEvent::Kind::Message;
        event.from = Text(from);
        event.text = Text(view.body);
    } else if (!dropped && item.has_take_back()) {
        event.kind = LinkEvent::Kind::TakenBack;
        event.from = Text(from);
        event.text = Text(item.take_back().handle());
    }
    mQueue.Push(std::move(event));
}

void Incoming::OnLive(const ItemView& view)
{
    mLiveBytes += view.tooLarge ? view.header.live().total() : view.body.size();
    OnLiveBeside(view);
}

void Incoming::OnLiveBeside(const ItemView& view)
{
    const Live& live = view.header.live();
    const int type = live.picture().type();
    if (!IsLiveType(type)) return;  // each type has a place that is kept
    if (mMuted || view.tooLarge || !Holds(live.from()) || live.from() == mSelf.handle) return;
    if (!mFilter.TakeLive(live.from(), type, live.frame())) return;
    LinkEvent event;
    event.line = Line::Live;
    event.entry = mEntry;
    SetPicture(event, live.picture(), live.from(), view.body);
    mQueue.Push(std::move(event));
}

void Incoming::End(quint64 entry)
{
    for (const std::string& handle : mPresent) {
        LinkEvent event;
        event.kind = LinkEvent::Kind::Status;
        event.entry = entry;
        event.from = Text(handle);
        event.status = kStatusLeft;
        mQueue.Push(std::move(event));
    }
    mPresent.clear();
    mMuted = true;
}

}  // namespace zephyl::link
