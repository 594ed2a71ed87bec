#include "service/relay/meeting/lane_out.h"

#include <algorithm>

#include "service/wire/content.h"
#include "service/wire/framing.h"

namespace zephyl {
namespace {
constexpr std::size_t kMarkBytes = 16 * 1024;  // how exact the window is
}

LaneOut::LaneOut(Channel channel, MeetingLog& log, Receiver receiver, std::size_t window,
                 std::function<void()> wake)
    : mChannel(channel), mLog(log), mReceiver(std::move(receiver)), mWindow(window), mWake(std::move(wake))
{
}

void LaneOut::Begin(std::uint64_t cursor, std::uint64_t enteredAt)
{
    mEnteredAt = enteredAt;
    mListedAt = mLog.State(mChannel).end;
    mPulled = mSent = mRead = cursor;
    mReady.clear();
    mItem.reset();
    mMarks.clear();
    mOutstanding = 0;
    mReading.reset();
    mPlacesOwn = false;
    mOwnUpTo = 0;
}

void LaneOut::PlaceOwn(std::uint64_t number)
{
    mPlacesOwn = true;
    mOwnAt = mLog.State(mChannel).end;
    mOwnUpTo = number;
}

bool LaneOut::Concerns(const LogItem& item) const
{
    if (item.presence && (item.sequence <= mListedAt || item.about == mReceiver.number)) return false;
    if (item.sequence <= mEnteredAt) return item.kept;
    if (IsOwn(item)) return mPlacesOwn && !item.refused;
    if (item.everyone) return true;
    return std::binary_search(item.seats.begin(), item.seats.end(), mReceiver.number);
}

void LaneOut::Fill(std::string& batch, std::size_t limit)
{
    while (batch.size() < limit) {
        if (!mItem && !Pull()) return;
        const std::string_view rest = std::string_view(mItem->frames).substr(mAt);
        std::size_t take = rest.size();
        if (take > limit - batch.size())
            for (take = 0; take < rest.size() && batch.size() + take < limit;)
                take += FrameBytes(rest.substr(take));
        batch.append(rest.substr(0, take));
        mAt += take;
        if (take < rest.size()) continue;
        Sent(*mItem);
        mItem.reset();
    }
}

bool LaneOut::Pull()
{
    if (mOutstanding >= mWindow) return false;
    do {
        while (!mReady.empty()) {
            if (TakePassed(mReady.front()->sequence)) return true;
            mItem = std::move(mReady.front());
            mReady.pop_front();
            mAt = 0;
            if (Concerns(*mItem)) {
                if (IsOwn(*mItem) && mItem->sequence > mEnteredAt)
                    mItem = PlaceOf(mItem->sequence, mItem->number, false);
                return true;
            }
            mItem.reset();
        }
        if (TakePassed(mPulled + 1)) return true;
    } while (ReadMore());
    return false;
}

// `next`: everything in front of it has been taken.
bool LaneOut::TakePassed(std::uint64_t next)
{
    if (mOwnUpTo == 0 || next <= mOwnAt) return false;
    mItem = PlaceOf(mOwnAt, std::exchange(mOwnUpTo, 0), true);
    mAt = 0;
    return true;
}

ItemPtr LaneOut::PlaceOf(std::uint64_t sequence, std::uint64_t number, bool passed) const
{
    Header header;
    Item& place = *header.mutable_item();
    place.set_channel(mChannel);
    place.set_sequence(sequence);
    place.set_number(number);
    place.mutable_own_place()->set_passed(passed);
    auto item = std::make_shared<LogItem>();
    item->channel = mChannel;
    item->sequence = sequence;
    AppendFrame(item->frames, header, {}, Way::Down);
    return item;
}

// True: items are there now.
bool LaneOut::ReadMore()
{
    if (mReading) return false;
    const ChannelState state = mLog.State(mChannel);
    if (state.lost > mPulled) {
        mSkipped = mPulled = state.lost;
        mListedAt = state.end;  // the list that goes with it
    }
    if (mPulled >= state.end) return false;
    mReading = std::make_shared<bool>(true);
    const std::shared_ptr<bool> atOnce = mReading;
    mLog.Read(mChannel, mPulled, kBatchBytes, [this, wanted = std::weak_ptr<bool>(mReading)](LogChunk chunk) {
        const std::shared_ptr<bool> still = wanted.lock();
        if (!still || still != mReading) return;  // begun anew meanwhile
        mReading.reset();
        mPulled = std::max(mPulled, chunk.upTo);
        for (ItemPtr& item : chunk.items) mReady.push_back(std::move(item));
        if (!*still) mWake();
    });
    *atOnce = false;
    return !mReady.empty();
}

void LaneOut::Sent(const LogItem& item)
{
    mSent = std::max(mSent, item.sequence);
    if (item.stream != 0 && !IsReceipt(FirstBody(item.frames))) ++mSentLines;
    mOutstanding += item.frames.size();
    if (mMarks.empty() || mMarks.back().bytes >= kMarkBytes) mMarks.push_back({item.sequence, 0});
    mMarks.back().sequence = item.sequence;
    mMarks.back().bytes += item.frames.size();
}

void LaneOut::OnRead(std::uint64_t sequence)
{
    mRead = std::max(mRead, std::min(sequence, mSent));
    while (!mMarks.empty() && mMarks.front().sequence <= mRead) {
        mOutstanding -= mMarks.front().bytes;
        mMarks.pop_front();
    }
}

std::size_t LaneOut::LagBytes() const
{
    std::size_t bytes = mOutstanding + (mItem ? mItem->frames.size() : 0);
    for (const ItemPtr& item : mReady) bytes += item->frames.size();
    return bytes;
}

std::uint64_t LaneOut::ReadUpTo() const
{
    const bool nothingOnItsWay = mMarks.empty() && !mItem && mReady.empty() && !mReading;
    return nothingOnItsWay ? mPulled : mRead;
}

}  // namespace zephyl
