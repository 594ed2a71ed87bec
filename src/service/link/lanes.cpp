#include "service/link/lanes.h"

#include <algorithm>

namespace zephyl::link {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kLiveShare = kBatchBytes / 5;
constexpr double kOfTheLimit = 0.9;
constexpr auto kLiveCredit = 500ms;  // what was not sent so long may follow at once; the service gives 2 s

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

void Lanes::SetLiveLimits(std::uint64_t frames, std::uint64_t bytes)
{
    mFramesEachSecond = frames ? frames : kLiveFramesEachSecond;
    mBytesEachSecond = bytes ? bytes : kLiveBytesEachSecond;
}

/// How long this one keeps the next waiting.
Lanes::Clock::duration Lanes::LiveCost(std::size_t bytes) const
{
    const double seconds = std::max(1 / double(mFramesEachSecond), double(bytes) / double(mBytesEachSecond));
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds / kOfTheLimit));
}

void Lanes::SetLive(Outgoing picture)
{
    const int type = picture.picture->type;
    std::vector<Outgoing> parts = SplitAudience(std::move(picture));
    std::reverse(parts.begin(), parts.end());
    mLiveWaiting[type] = std::move(parts);
    mByRoad.erase(type);
}

void Lanes::PutVoice(std::string frame, Clock::time_point now)
{
    DropStaleVoice(now);
    if (mVoice.size() < kVoiceWaiting) mVoice.push_back({std::move(frame), now});
}

void Lanes::DropStaleVoice(Clock::time_point now)
{
    while (!mVoice.empty() && now - mVoice.front().at > kVoiceStale) mVoice.pop_front();
}

void Lanes::Reset()
{
    mVoice.clear();
    mTalk = {};
    mBoard = {};
    mLiveWaiting.clear();
    mByRoad.clear();
    mLiveGoing.clear();
    mLiveCutter.reset();
}

Lanes::Clock::time_point Lanes::Fill(std::string& batch, Clock::time_point now)
{
    if (!mOpen) return Clock::time_point::max();
    DropStaleVoice(now);
    for (; !mVoice.empty(); mVoice.pop_front()) batch += mVoice.front().frame;
    const bool live = mLiveCutter || BeginLive(now);
    const std::size_t reliable = live ? kBatchBytes - kLiveShare : kBatchBytes;
    while (batch.size() < reliable &&
           (Step(mTalk, CHANNEL_TALK, batch) || Step(mBoard, CHANNEL_BOARD, batch))) {
    }
    while (batch.size() < kBatchBytes && StepLive(batch, now)) {
    }
    return WaitsForBatch() ? mLiveDue : Clock::time_point::max();
}

Lanes::Clock::time_point Lanes::FillRoad(LiveRoad& road, Clock::time_point now)
{
    mByRoad.clear();
    if (!mOpen) return Clock::time_point::max();
    DropStaleVoice(now);
    if (road.Takes(kVoiceBytes))
        for (; !mVoice.empty(); mVoice.pop_front()) road.Put(mVoice.front().frame, now);
    for (const auto& [type, parts] : mLiveWaiting)
        if (road.Takes(parts.front().body->size())) mByRoad.insert(type);
    while (!mByRoad.empty()) {
        const Clock::time_point free = std::max(mLiveDue, road.Free(now));
        if (free > now) return free;
        std::vector<Outgoing> parts = TakeNext(true);
        for (; !parts.empty(); parts.pop_back()) {
            std::string frame;
            AppendItem(frame, LiveHeader(parts.back(), ++mLiveFrames), LANE_LIVE, *parts.back().body,
                       Way::Up);
            road.Put(frame, now);
            mLiveDue = std::max(mLiveDue, now - kLiveCredit) + LiveCost(parts.back().body->size());
        }
    }
    return Clock::time_point::max();
}

bool Lanes::WaitsForBatch() const
{
    return !mLiveGoing.empty() || mLiveWaiting.size() > mByRoad.size();
}

/// The picture whose turn it is among those that go that way; its parts, the first one at the end.
std::vector<Outgoing> Lanes::TakeNext(bool byRoad)
{
    const auto goes = [&](const auto& one) { return mByRoad.contains(one.first) == byRoad; };
    auto next = std::find_if(mLiveWaiting.upper_bound(mLiveType), mLiveWaiting.end(), goes);
    if (next == mLiveWaiting.end()) next = std::find_if(mLiveWaiting.begin(), mLiveWaiting.end(), goes);
    mLiveType = next->first;
    std::vector<Outgoing> parts = std::move(next->second);
    mLiveWaiting.erase(next);
    mByRoad.erase(mLiveType);
    return parts;
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

/// False: none waits, or it is too early.
bool Lanes::BeginLive(Clock::time_point now)
{
    if (now < mLiveDue || !WaitsForBatch()) return false;
    if (mLiveGoing.empty()) mLiveGoing = TakeNext(false);
    const Outgoing& picture = mLiveGoing.back();
    mLiveCutter.emplace(LiveHeader(picture, ++mLiveFrames), LANE_LIVE, *picture.body, Way::Up);
    mLiveDue = std::max(mLiveDue, now - kLiveCredit) + LiveCost(picture.body->size());
    return true;
}

bool Lanes::StepLive(std::string& batch, Clock::time_point now)
{
    if (!mLiveCutter && !BeginLive(now)) return false;
    mLiveCutter->AppendNext(batch);
    if (mLiveCutter->Done()) {
        mLiveCutter.reset();
        mLiveGoing.pop_back();
    }
    return true;
}

}  // namespace zephyl::link
