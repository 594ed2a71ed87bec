#include "service/relay/meeting/seat.h"

#include <sodium.h>

#include <algorithm>

#include "service/relay/door/passwords.h"

namespace zephyl {
namespace {

constexpr std::size_t kTokenBytes = 32;

std::string HashOf(const std::string& token)
{
    std::string hash(crypto_generichash_BYTES, '\0');
    crypto_generichash(reinterpret_cast<unsigned char*>(hash.data()), hash.size(),
                       reinterpret_cast<const unsigned char*>(token.data()), token.size(), nullptr, 0);
    return hash;
}

}  // namespace

Seat::Seat(SeatNumber seatNumber, std::shared_ptr<Session> whose, std::shared_ptr<MeetingHold> held,
           std::shared_ptr<StreamMemory> ownNumbers, SeatSurroundings& around, const RelayBounds& bounds)
    : number(seatNumber),
      session(std::move(whose)),
      hold(std::move(held)),
      numbers(std::move(ownNumbers)),
      mAround(around),
      mTalk(CHANNEL_TALK, around.Log(), {seatNumber, session->stream, session->key}, bounds.talkWindow,
            [this] { mAround.Wake(number); }),
      mBoard(CHANNEL_BOARD, around.Log(), {seatNumber, session->stream, session->key}, bounds.boardWindow,
             [this] { mAround.Wake(number); })
{
}

void Seat::Fill(std::string& batch, std::size_t limit)
{
    if (acceptedNews) {
        AppendFrame(batch, AcceptedNow(), {}, Way::Down);
        acceptedNews = false;
    }
    const Clock::time_point now = Clock::now();
    voice.Fill(batch, now);
    const std::size_t reliable = live.Ready(now) ? limit - limit / 5 : limit;
    mTalk.Fill(batch, reliable);
    session->budget.MayAnswer(mTalk.TakeSentLines());
    if (const std::uint64_t upTo = mTalk.TakeSkipped()) PutSkipped(batch, CHANNEL_TALK, upTo);
    mBoard.Fill(batch, reliable);
    if (const std::uint64_t upTo = mBoard.TakeSkipped()) PutSkipped(batch, CHANNEL_BOARD, upTo);
    live.Fill(batch, limit, now);
}

Header Seat::AcceptedNow() const
{
    Header header;
    header.mutable_accepted()->set_talk(numbers->safe.talk);
    header.mutable_accepted()->set_board(numbers->safe.board);
    return header;
}

void Seat::PutSkipped(std::string& batch, Channel channel, std::uint64_t upTo)
{
    Header header;
    Skipped& skipped = *header.mutable_skipped();
    skipped.set_channel(channel);
    skipped.set_up_to(upTo);
    mAround.AddAttendees(*skipped.mutable_attendees());
    AppendFrame(batch, header, {}, Way::Down);
}

void Seat::BeginAt(const Sequences& cursor, const Sequences& entered)
{
    enteredAt = entered;
    mTalk.Begin(cursor.talk, entered.talk);
    mBoard.Begin(cursor.board, entered.board);
    if (placesOwn) mBoard.PlaceOwn(numbers->have.board);
    live.Reset();
    voice.Reset();
    talksWith.clear();  // said anew on every connection
    incoming = ItemReader();
}

void Seat::GoOnAt(const Sequences& cursor)
{
    Sequences read = ReadUpTo();
    for (const Channel channel : {CHANNEL_TALK, CHANNEL_BOARD})
        read[channel] = std::max(read[channel], std::min(cursor[channel], mAround.Log().State(channel).end));
    BeginAt(read, enteredAt);
}

void Seat::OnRead(const zephyl::Read& read, Clock::time_point now)
{
    mTalk.OnRead(read.talk());
    mBoard.OnRead(read.board());
    live.OnRead(read.live_bytes(), now);
}

std::string Seat::NewToken(const std::string& shown)
{
    std::string token = RandomBytes(kTokenBytes);
    tokenHashes[1] = shown.empty() ? std::move(tokenHashes[0]) : HashOf(shown);
    tokenHashes[0] = HashOf(token);
    return token;
}

bool Seat::TokenFits(const std::string& token) const
{
    const std::string hash = HashOf(token);
    bool fits = false;
    for (const std::string& known : tokenHashes)
        fits |= known.size() == hash.size() && sodium_memcmp(known.data(), hash.data(), hash.size()) == 0;
    return fits;
}

SeatEntry Seat::Entry() const
{
    SeatEntry entry;
    entry.number = number;
    entry.away = state == SeatState::Away;
    entry.handle = session->handle;
    entry.address = session->address;
    entry.stream = session->stream;
    entry.generation = session->generation;
    entry.tokenHashes = tokenHashes;
    entry.enteredAt = enteredAt;
    entry.read = ReadUpTo();
    return entry;
}

}  // namespace zephyl
