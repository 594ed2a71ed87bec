#include "service/link/lanes.h"

#include <algorithm>

#include "service/wire/limits.h"

namespace zephyl::link {

namespace {

constexpr std::size_t kLiveShare = kBatchBytes / 5;

Header LiveHeader(const Outgoing& what, std::uint64_t frame)
{
    Header header;
    Live& live = *header.mutable_live();
    if (what.audience.everyone) live.set_everyone(true);
    for (const std::string& handle : what.audience.handles) live.mutable_recipients()->add_handles(handle);
    PictureInfo& info = *live.mutable_picture();
    info.set_x(what.picture->x);
    info.set_y(what.picture->y);
    info.set_type(what.picture->type);
    info.set_prefixed(what.picture->prefixed);
    info.set_quality(what.picture->quality);
    live.set_frame(frame);
    live.set_total(std::uint32_t(what.body->size()));
    return header;
}

}  // namespace

void Lanes::SetLive(Outgoing picture)
{
    const int type = picture.picture->type;
    std::vector<Outgoing> parts = SplitAudience(std::move(picture));
    std::reverse(parts.begin(), parts.end());
    mLiveWaiting[type] = std::move(parts);
}

void Lanes::Reset()
{
    mTalk = {};
    mBoard = {};
    mLiveWaiting.clear();
    mLiveGoing.clear();
    mLiveCutter.reset();
}

void Lanes::Fill(std::string& batch)
{
    if (!mOpen) return;
    const bool live = !mLiveWaiting.empty() || !mLiveGoing.empty();
    const std::size_t reliable = live ? kBatchBytes - kLiveShare : kBatchBytes;
    while (batch.size() < reliable &&
           (Step(mTalk, CHANNEL_TALK, batch) || Step(mBoard, CHANNEL_BOARD, batch))) {
    }
    while (batch.size() < kBatchBytes && StepLive(batch)) {
    }
}

bool Lanes::Step(Going& lane, Channel channel, std::string& batch)
{
    if (!lane.cutter) {
        lane.entry = mOutbox.Next(channel);
        if (!lane.entry) return false;
        const Lane wire = channel == CHANNEL_BOARD ? LANE_BOARD : LANE_TALK;
        lane.cutter.emplace(PostHeader(*lane.entry), wire, *lane.entry->what.body, Way::Up);
    }
    lane.cutter->AppendNext(batch);
    if (lane.cutter->Done()) lane = {};
    return true;
}

void Lanes::BeginLive()
{
    if (mLiveGoing.empty() && !mLiveWaiting.empty()) {
        mLiveGoing = std::move(mLiveWaiting.begin()->second);
        mLiveWaiting.erase(mLiveWaiting.begin());
    }
    if (!mLiveGoing.empty() && !mLiveCutter)
        mLiveCutter.emplace(LiveHeader(mLiveGoing.back(), ++mLiveFrames), LANE_LIVE, *mLiveGoing.back().body,
                            Way::Up);
}

bool Lanes::StepLive(std::string& batch)
{
    BeginLive();
    if (!mLiveCutter) return false;
    mLiveCutter->AppendNext(batch);
    if (mLiveCutter->Done()) {
        mLiveCutter.reset();
        mLiveGoing.pop_back();
    }
    return true;
}

}  // namespace zephyl::link
