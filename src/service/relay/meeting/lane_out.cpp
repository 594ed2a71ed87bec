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
    : mChannel(channel), mLog(log), mReceiver(receiver), mWindow(window), mWake(std::move(wake))
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
}

bool LaneOut::Concerns(const LogItem& item) const
{
    if (item.presence && (item.sequence <= mListedAt || item.about == mReceiver.number)) return false;
    if (item.sequence <= mEnteredAt) return item.kept;
    if (item.stream != 0 && item.stream == mReceiver.stream) return false;
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
            mItem = std::move(mReady.front());
            mReady.pop_front();
            mAt = 0;
            if (Concerns(*mItem)) return true;
            mItem.reset();
        }
    } while (ReadMore());
    return false;
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
    mSent = item.sequence;
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
