#include "service/relay/meeting/live_slots.h"

#include <algorithm>

#include "service/wire/framing.h"

namespace zephyl {
namespace {

constexpr std::chrono::milliseconds kLately{250};
constexpr std::chrono::milliseconds kGrain{5};  // how exact it is remembered
constexpr std::uint64_t kAlwaysBytes = 64 * 1024;

}  // namespace

void LiveSlots::Put(SeatNumber from, int type, std::shared_ptr<const LiveFrame> frame)
{
    const auto same = std::find_if(mSlots.begin(), mSlots.end(),
                                   [&](const Slot& slot) { return slot.from == from && slot.type == type; });
    if (same != mSlots.end())
        same->frame = std::move(frame);
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
    if (mLately.empty() || now - mLately.back().at >= kGrain) mLately.push_back({now, 0});
    mLately.back().bytes += bytes - mRead;
    mLatelyBytes += bytes - mRead;
    mRead = bytes;
}

bool LiveSlots::MayBegin(Clock::time_point now)
{
    while (!mLately.empty() && now - mLately.front().at > kLately) {
        mLatelyBytes -= mLately.front().bytes;
        mLately.pop_front();
    }
    return mSent - mRead < std::max(kAlwaysBytes, mLatelyBytes);
}

bool LiveSlots::Ready(Clock::time_point now)
{
    return mNow || (!mSlots.empty() && MayBegin(now));
}

void LiveSlots::Fill(std::string& batch, std::size_t limit, Clock::time_point now)
{
    while (batch.size() < limit && Ready(now)) {
        if (!mNow) {
            mNow = std::move(mSlots.front().frame);
            mSlots.pop_front();
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
