// What a seated client sends: posts into the log, live frames past it, and what it says of itself.

#include <algorithm>

#include "service/relay/counters.h"
#include "service/relay/meeting/answers.h"
#include "service/relay/meeting/guests.h"
#include "service/relay/meeting/meeting.h"
#include "service/relay/memory_watch.h"
#include "service/wire/content.h"

namespace zephyl {
namespace {

constexpr std::chrono::milliseconds kSpeaks{50};  // since their last packet
constexpr int kFewSpeakers = 4;
constexpr std::size_t kRefusalsRemembered = 256;  // a client that is sane has none

bool SixteenBits(int value)
{
    return value >= -32768 && value <= 32767;
}

// Field by field: what else a sender may have put there goes to nobody.
void CopyKnown(const PictureInfo& from, PictureInfo& to)
{
    to.set_x(from.x());
    to.set_y(from.y());
    to.set_type(from.type());
    to.set_prefixed(from.prefixed());
    to.set_quality(from.quality());
}

// More than anybody could mean, and each of them costs a search.
bool TooMany(const Recipients& recipients)
{
    return recipients.handles_size() > kSeatsPerMeeting;
}

// Why this post is not taken; null when it is.
const char* FaultOf(const Post& post, std::string_view body, bool tooLarge)
{
    if (tooLarge) return "it is too large";
    if (post.to_case() == Post::TO_NOT_SET) return "it names no recipients";
    if (TooMany(post.recipients())) return "it names too many recipients";
    if (post.content_case() == Post::CONTENT_NOT_SET) return "it has no content";
    if (post.has_take_back()) return nullptr;  // FaultOfTakeBack
    if (post.has_text())
        return ChannelOfText(body) == post.channel() ? nullptr : "its text belongs to the other channel";
    if (ChannelOfPicture(post.picture().type()) != post.channel()) return "such a picture goes by no channel";
    if (!SixteenBits(post.picture().x()) || !SixteenBits(post.picture().y()))
        return "its place is outside 16 bits";
    return nullptr;
}

}  // namespace

Meeting::After Meeting::Handle(Client& client, const FrameView& frame)
{
    const SeatPtr seat = OfClient(client);
    if (!seat) return After::SeatGone;
    if (seat->session->fenced) {  // a login elsewhere: what comes here now counts no more
        client.End(BYE_REPLACED, "");
        return After::GoOn;
    }
    if (!seat->tokenHashes[1].empty()) {
        seat->TokenArrived();
        mLog->Seat(seat->Entry());
    }
    const Header& header = frame.header;
    if (ItemReader::IsLaneFrame(header)) {
        const std::optional<ItemView> item = seat->incoming.Take(frame);
        if (item) TakeItem(*seat, *item);
        return After::GoOn;
    }
    const auto message = header.message_case();
    if (message == Header::kVoice) {
        TakeVoice(*seat, header.voice(), frame.body);
        return After::GoOn;
    }
    seat->dirty = true;
    switch (message) {
        case Header::kVoiceTo: TakeVoiceTo(*seat, header.voice_to()); return After::GoOn;
        case Header::kRead: seat->OnRead(header.read(), Clock::now()); return After::GoOn;
        case Header::kPong: client.Heard(header.pong()); return After::GoOn;
        case Header::MESSAGE_NOT_SET: return After::GoOn;
        case Header::kLetIn: client.Send(LetIn(*seat, client, header.let_in())); return After::GoOn;
        case Header::kLeave:
        case Header::kLogout:
        case Header::kBye: Gone(seat); break;
        default: break;
    }
    if (const auto answer = AnswerTo(header, Standing::LoggedIn, seat->session.get()))
        client.Send(*answer);
    else if (message != Header::kBye)
        throw WireError("not at this point");
    if (message == Header::kLeave) return After::SeatGone;
    if (message == Header::kLogout || message == Header::kBye) client.End(BYE_DONE, "");
    return After::GoOn;
}

Header Meeting::LetIn(Seat& seat, const Client& client, const zephyl::LetIn& asked)
{
    Header header = LetInAnswer(asked);
    zephyl::LetInState& answer = *header.mutable_let_in_state();
    Guests* const guests = mServices.guests;
    if (!guests || client.FromOutside()) return header;
    answer.set_result(RESULT_OK);
    if (asked.wish() == zephyl::LetIn::OPEN) {
        Guests::Opening opening = guests->Open(mHead.id);
        answer.set_result(opening.result);
        if (opening.hold) seat.letsIn = std::move(opening.hold);
    } else if (asked.wish() == zephyl::LetIn::CLOSE) {
        guests->Close(mHead.id);
    }
    for (std::string& address : guests->Addresses(mHead.id)) answer.add_addresses(std::move(address));
    return header;
}

void Meeting::TakeItem(Seat& seat, const ItemView& item)
{
    if (item.header.has_post())
        TakePost(seat, item.header.post(), item.body, item.tooLarge);
    else if (item.header.has_live())
        TakeLive(seat, item.header.live(), item.body, item.tooLarge);
    else
        throw WireError("items only go down");
}

// What stands in the log is done by everybody: here alone it is decided whether it may be.
const char* Meeting::FaultOfTakeBack(const Seat& seat, const Post& post, std::string_view body) const
{
    if (!Started(seat)) return "only who started the meeting may take back";
    if (!post.everyone() || post.channel() != CHANNEL_BOARD || !body.empty())
        return "it goes to everyone, by the board, without a body";
    return HandleKey(post.take_back().handle()) ? nullptr : "it names nobody";
}

void Meeting::TakePost(Seat& seat, const Post& post, std::string_view body, bool tooLarge)
{
    const Channel channel = post.channel();
    std::uint64_t& have = seat.numbers->have[channel];
    if (post.number() <= have || mStopping) return;  // it is there already, or will be sent again
    if (mLog->Full()) return seat.client->Drop("the meeting's log takes nothing");
    have = post.number();
    ++mServices.counters.posts;
    const char* fault = FaultOf(post, body, tooLarge);
    if (!fault && post.has_take_back()) fault = FaultOfTakeBack(seat, post, body);
    if (fault) return RefusePost(seat, post, fault);
    Header header;
    Item& down = *header.mutable_item();
    down.set_channel(channel);
    down.set_from(seat.session->handle);
    down.set_stream(seat.session->stream);
    down.set_number(post.number());
    down.set_total(static_cast<std::uint32_t>(body.size()));
    if (channel == CHANNEL_BOARD) down.set_taken_ms(WallClockMs());
    if (post.has_text())
        down.mutable_text();
    else if (post.has_take_back())
        down.mutable_take_back()->set_handle(post.take_back().handle());
    else
        CopyKnown(post.picture(), *down.mutable_picture());
    auto item = std::make_shared<LogItem>();
    item->channel = channel;
    item->stream = seat.session->stream;
    item->number = post.number();
    item->sender = seat.session->key;
    item->everyone = post.everyone();
    if (!item->everyone) item->seats = SeatsOf(post.recipients().handles(), seat.number);
    const bool changes = !post.has_text() || EffectOf(body) != BoardEffect::None;
    item->kept = item->everyone && channel == CHANNEL_BOARD && changes;
    Put(std::move(item), header, body, StepIn(down, body));
    seat.numbers->Of(channel).push_back({mLog->State(channel).end, post.number()});
}

// A refusal has its place in the log, so that it is not forgotten while what came after it is remembered.
void Meeting::RefusePost(Seat& seat, const Post& post, const char* fault)
{
    Header header;
    header.mutable_refused()->set_channel(post.channel());
    header.mutable_refused()->set_number(post.number());
    header.mutable_refused()->set_reason(fault);
    auto item = std::make_shared<LogItem>();
    item->channel = post.channel();
    item->sequence = mLog->Next(item->channel);
    item->stream = seat.session->stream;
    item->number = post.number();
    item->sender = seat.session->key;
    item->refused = true;
    AppendFrame(item->frames, header, {}, Way::Down);
    seat.client->Send(header);
    seat.dirty = true;
    auto& refused = seat.numbers->refused;
    refused.push_back(item->frames);
    if (refused.size() > kRefusalsRemembered) refused.pop_front();
    seat.numbers->Of(item->channel).push_back({item->sequence, item->number});
    mPending.push_back(std::move(item));
}

std::vector<SeatNumber> Meeting::SeatsOf(const Handles& handles, SeatNumber sender) const
{
    std::vector<SeatNumber> seats;
    for (const std::string& handle : handles)
        if (const SeatPtr seat = OfHandle(handle); seat && seat->number != sender)
            seats.push_back(seat->number);
    std::sort(seats.begin(), seats.end());
    seats.erase(std::unique(seats.begin(), seats.end()), seats.end());
    return seats;
}

void Meeting::Put(std::shared_ptr<LogItem> item, Header& header, std::string_view body, BoardEffect effect)
{
    item->sequence = mLog->Next(item->channel);
    header.mutable_item()->set_sequence(item->sequence);
    const Lane lane = item->channel == CHANNEL_TALK ? LANE_TALK : LANE_BOARD;
    AppendItem(item->frames, header, lane, body, Way::Down);
    if (item->kept) mUnsafeKept.push_back({item->sequence, effect});
    mPending.push_back(std::move(item));
}

void Meeting::HandleLive(const Client& client, std::string_view bytes)
{
    const SeatPtr seat = OfClient(client);
    if (!seat || seat->session->fenced) return;
    FloodBudget& budget = seat->session->budget;
    bool voice = false;
    ReadLiveFrame(bytes, Way::Up, [&](const ItemView& item) {
        voice = item.header.has_voice();
        if (voice)
            TakeVoice(*seat, item.header.voice(), item.body);
        else
            TakeLive(*seat, item.header.live(), item.body, item.tooLarge);
    });
    if (voice) return budget.ChargeVoice(bytes.size(), Clock::now());
    budget.ChargeLive(bytes.size(), Clock::now());
    FlushSoon();
}

void Meeting::TakeLive(Seat& seat, const zephyl::Live& live, std::string_view body, bool tooLarge)
{
    const PictureInfo& picture = live.picture();
    if (tooLarge || body.empty() || !IsLiveType(picture.type()) || !SixteenBits(picture.x()) ||
        !SixteenBits(picture.y()) || TooMany(live.recipients()) || mServices.memory.Under(Pressure::ShedLive))
        return;  // live frames may always be dropped
    // Two roads, or one that changes the order: an older one must not take a newer one's place.
    if (std::uint64_t& last = seat.lastLive[picture.type()]; live.frame() > last)
        last = live.frame();
    else
        return;
    ++mServices.counters.liveFrames;
    Header header;
    zephyl::Live& down = *header.mutable_live();
    down.set_from(seat.session->handle);
    CopyKnown(picture, *down.mutable_picture());
    down.set_frame(live.frame());
    down.set_total(static_cast<std::uint32_t>(body.size()));
    auto frame = std::make_shared<LiveFrame>();
    frame->bodyBytes = body.size();
    AppendItem(frame->frames, header, LANE_LIVE, body, Way::Down);
    const std::vector<SeatNumber> seats = SeatsOf(live.recipients().handles(), seat.number);
    for (const SeatPtr& other : mSeats) {
        if (other->number == seat.number || !other->client) continue;
        if (!live.everyone() && !std::binary_search(seats.begin(), seats.end(), other->number)) continue;
        other->live.Put(seat.number, picture.type(), frame);
        other->roadDirty = true;
    }
}

void Meeting::TakeVoiceTo(Seat& seat, const zephyl::VoiceTo& to)
{
    if (to.handles_size() > kSeatsPerMeeting) return;
    std::vector<SeatNumber> named = SeatsOf(to.handles(), seat.number);
    if (to.also()) named.insert(named.end(), seat.talksWith.begin(), seat.talksWith.end());
    std::sort(named.begin(), named.end());
    named.erase(std::unique(named.begin(), named.end()), named.end());
    seat.talksWith = std::move(named);
    for (const SeatPtr& other : mSeats)
        if (!Talk(seat, *other)) other->voice.Forget(seat.number);
}

/// Both of them want it.
bool Meeting::Talk(const Seat& one, const Seat& other)
{
    return std::binary_search(one.talksWith.begin(), one.talksWith.end(), other.number) &&
           std::binary_search(other.talksWith.begin(), other.talksWith.end(), one.number);
}

void Meeting::TakeVoice(Seat& seat, const zephyl::Voice& voice, std::string_view body)
{
    const Clock::time_point now = Clock::now();
    if (body.empty() || body.size() > kVoiceBytes || voice.level() > kVoiceLevelMost ||
        !seat.session->budget.TakeVoice(now) || mServices.memory.Under(Pressure::ShedLive))
        return;  // a packet of voice may always be lost
    ++mServices.counters.voice;
    Header header;
    zephyl::Voice& down = *header.mutable_voice();
    down.set_from(seat.session->handle);
    down.set_frame(voice.frame());
    down.set_level(voice.level());
    auto frame = std::make_shared<std::string>();
    AppendFrame(*frame, header, body, Way::Down);
    seat.spokeAt = now;
    const bool together = std::count_if(mSeats.begin(), mSeats.end(), [&](const SeatPtr& one) {
                              return now - one->spokeAt < kSpeaks;
                          }) > kFewSpeakers;
    const bool crowded = mSeats.size() > kVoiceSmallMeeting;
    for (const SeatPtr& other : mSeats) {
        if (other->number == seat.number || !other->client || !Talk(seat, *other)) continue;
        other->voice.Put({seat.number, voice.level(), frame}, crowded, now);
        other->roadDirty = other->roadDirty || !together;
    }
    if (together)
        FlushVoiceSoon();
    else
        FlushSoon();
}

}  // namespace zephyl
