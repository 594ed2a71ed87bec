// A meeting as its log remembers it.

#include <spdlog/logger.h>

#include <algorithm>

#include "service/relay/accounts.h"
#include "service/relay/handle_rules.h"
#include "service/relay/meeting.h"
#include "service/wire/content.h"

namespace zephyl {
namespace {

// What a kept item does to the board, read from its first frame.
BoardEffect StoredEffect(const LogItem& item)
{
    FrameReader reader(Way::Down);
    reader.Feed(std::string_view(item.frames).substr(0, FrameBytes(item.frames)));
    const auto frame = reader.Next();
    return frame && frame->header.item().has_text() ? EffectOf(frame->body) : BoardEffect::Change;
}

}  // namespace

boost::asio::awaitable<bool> Meeting::Ready()
{
    if (!mOpen && !mClosed) {
        try {
            OpenLog();
            mOpen = true;
        } catch (const std::exception& error) {
            mServices.log.error("the log of meeting {} cannot be used: {}", mHead.code, error.what());
        }
    }
    co_return mOpen && !mClosed;
}

void Meeting::OpenLog()
{
    const LogContents contents = mLog->Open();
    mLog->WhenSafe([this](const Sequences& upTo) { OnSafe(upTo); });
    mLog->NumbersFrom([this] { return AllNumbers(); });
    RestoreNumbers(contents);
    RestoreBoard(contents);
    for (const SeatEntry& entry : contents.seats) RestoreSeat(entry);
}

void Meeting::RestoreNumbers(const LogContents& contents)
{
    for (const NumbersEntry& entry : contents.numbers) {
        const auto numbers = NumbersOf(entry.key, entry.stream);
        numbers->have = entry.have;
        numbers->refused.assign(entry.refused.begin(), entry.refused.end());
    }
    for (const ItemPtr& item : contents.items) {
        if (item->stream == 0) continue;
        const auto numbers = NumbersOf(item->sender, item->stream);
        const bool news = item->number > numbers->have[item->channel];
        numbers->have[item->channel] = std::max(numbers->have[item->channel], item->number);
        if (item->refused && news) numbers->refused.push_back(item->frames);
    }
    for (const auto& [key, streams] : mNumbers)
        for (const auto& numbers : streams) numbers->safe = numbers->have;
}

void Meeting::RestoreBoard(const LogContents& contents)
{
    for (const ItemPtr& item : contents.items)
        if (item->kept)
            if (const auto begin = mHistory.Take(item->sequence, StoredEffect(*item))) mBoardBegin = *begin;
    mLog->Trim(CHANNEL_BOARD, mBoardBegin, 0);
}

// Fresh grace: nobody could come back while there was no service. One whose account has changed is dropped.
void Meeting::RestoreSeat(const SeatEntry& entry)
{
    mLastSeat = std::max(mLastSeat, entry.number);
    if (entry.gone) return;
    const std::optional<Account> account = mServices.accounts.Find(entry.handle);
    const std::optional<HandleForms> forms = ReadHandle(entry.handle);
    if (!account || !forms || !account->permitted || account->generation != entry.generation) return;
    auto session = std::make_shared<Session>();
    session->handle = entry.handle;
    session->key = forms->key;
    session->address = entry.address;
    session->stream = entry.stream;
    session->generation = entry.generation;
    session->permitted = true;
    auto seat =
        std::make_shared<Seat>(entry.number, session, std::make_shared<MeetingHold>(shared_from_this()),
                               NumbersOf(session->key, session->stream),
                               static_cast<SeatSurroundings&>(*this), mServices.options.bounds);
    seat->tokenHashes = entry.tokenHashes;
    seat->state = entry.away ? SeatState::Away : SeatState::Detached;
    seat->cutOff = Clock::now() - (entry.away ? mServices.options.times.grace : std::chrono::milliseconds(0));
    seat->BeginAt(entry.read, entry.enteredAt);
    mSeats.push_back(std::move(seat));
    mServices.directory.SeatRestored(session, shared_from_this());
}

std::vector<NumbersEntry> Meeting::AllNumbers() const
{
    std::vector<NumbersEntry> all;
    for (const auto& [key, streams] : mNumbers)
        for (const auto& numbers : streams)
            all.push_back(
                {key, numbers->stream, numbers->have, {numbers->refused.begin(), numbers->refused.end()}});
    return all;
}

void Meeting::OnTrouble(bool refused)
{
    mServices.log.error("the volume of meeting {} {}", mHead.code,
                        refused ? "takes nothing; it goes on in memory" : "takes again");
    Header header;
    header.mutable_item()->set_channel(CHANNEL_TALK);
    header.mutable_item()->mutable_notice()->set_text(
        refused ? "The service cannot save this meeting at the moment."
                : "The service saves this meeting again.");
    auto item = std::make_shared<LogItem>();
    item->channel = CHANNEL_TALK;
    item->everyone = true;
    Put(std::move(item), header, {}, BoardEffect::None);
    FlushSoon();
}

}  // namespace zephyl
