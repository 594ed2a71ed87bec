#include "service/relay/meeting/live_slots.h"

#include <algorithm>

#include "service/wire/framing.h"

namespace zephyl {
void LiveSlots::Put(SeatNumber from, int type, std::shared_ptr<const LiveFrame> frame)
{
    const auto same = std::find_if(mSlots.begin(), mSlots.end(),
                                   [&](const Slot& slot) { return slot.from == from && slot.type == type; });
    if (same != mSlots.end())
        *same = {from, type, std::move(frame)};
    else
        mSlots.push_back({from, type, std::move(frame)});
}

void LiveSlots::Forget(SeatNumber from)
{
    std::erase_if(mSlots, [&](const Slot& slot) { return slot.from == from; });
}

std::size_t LiveSlots::WaitingBytes() const
{
    std::size_t bytes = 0;
    for (const Slot& slot : mSlots) bytes += slot.frame->frames.size();
    return bytes;
}

void LiveSlots::OnRead(std::uint64_t bytes, Clock::time_point now)
{
    bytes = std::min(bytes, mSent);
    if (bytes <= mRead) return;
    mAllowance.Answered(bytes - mRead, now);
    mRead = bytes;
}

void LiveSlots::FillRoad(LiveRoad& road)
{
    for (auto slot = mSlots.begin(); slot != mSlots.end();) {
        slot->byRoad = road.Takes(slot->frame->bodyBytes);
        slot = slot->byRoad && road.Put(slot->frame->frames) ? mSlots.erase(slot) : slot + 1;
    }
}

std::deque<LiveSlots::Slot>::iterator LiveSlots::NextOfBatch()
{
    return std::find_if(mSlots.begin(), mSlots.end(), [](const Slot& slot) { return !slot.byRoad; });
}

bool LiveSlots::Ready(Clock::time_point now)
{
    return mNow || (NextOfBatch() != mSlots.end() && mSent - mRead < mAllowance.Bytes(now));
}

void LiveSlots::Fill(std::string& batch, std::size_t limit, Clock::time_point now)
{
    while (batch.size() < limit && Ready(now)) {
        if (!mNow) {
            const auto next = NextOfBatch();
            mNow = std::move(next->frame);
            mSlots.erase(next);
            mAt = 0;
            mSent += mNow->bodyBytes;
        }
        const std::string_view rest = std::string_view(mNow->frames).substr(mAt);
        const std::size_t take = FrameBytes(rest);
        batch.append(rest.substr(0, take));
        mAt += take;
        if (mAt == mNow->frames.size()) mNow.reset();
    }
}

}  // namespace zephyl
