#include "service/relay/meeting/voice_out.h"

#include <algorithm>

namespace zephyl {

bool LoudestSpeakers::Hears(SeatNumber from, std::uint32_t level, Clock::time_point now)
{
    const auto own =
        std::find_if(mPlaces.begin(), mPlaces.end(), [&](const Place& place) { return place.from == from; });
    if (own != mPlaces.end()) {
        own->level += kFollows * (double(level) - own->level);
        own->heard = now;
        return true;
    }
    // Who has been silent longest, or is the most quiet of all: more decibels below are more quiet.
    const auto free = std::find_if(mPlaces.begin(), mPlaces.end(), [&](const Place& place) {
        return place.from == 0 || now - place.heard > kTurn;
    });
    const auto place =
        free != mPlaces.end()
            ? free
            : std::max_element(mPlaces.begin(), mPlaces.end(),
                               [](const Place& a, const Place& b) { return a.level < b.level; });
    if (free == mPlaces.end() && double(level) + kClearlyLouder > place->level) return false;
    *place = {from, double(level), now};
    return true;
}

void LoudestSpeakers::Forget(SeatNumber from)
{
    for (Place& place : mPlaces)
        if (place.from == from) place = {};
}

void VoiceOut::DropStale(Clock::time_point now)
{
    while (!mWaiting.empty() && now - mWaiting.front().since > kVoiceStale) mWaiting.pop_front();
}

void VoiceOut::Put(Packet packet, bool crowded, Clock::time_point now)
{
    if (crowded && !mLoudest.Hears(packet.from, packet.level, now)) return;
    DropStale(now);
    if (mWaiting.size() < kVoiceWaiting) mWaiting.push_back({std::move(packet), now});
}

void VoiceOut::Forget(SeatNumber from)
{
    mLoudest.Forget(from);
    std::erase_if(mWaiting, [&](const Waiting& one) { return one.packet.from == from; });
}

void VoiceOut::FillRoad(LiveRoad& road, Clock::time_point now)
{
    DropStale(now);
    if (mWaiting.empty() || !road.Takes(kVoiceBytes)) return;
    std::string together;
    for (const Waiting& one : mWaiting) {
        const std::string& frame = *one.packet.frame;
        if (!together.empty() && together.size() + frame.size() > kVoiceTogetherBytes) {
            road.PutVoice(together);
            together.clear();
        }
        together.append(frame);
    }
    road.PutVoice(together);
    mWaiting.clear();
}

void VoiceOut::Fill(std::string& batch, Clock::time_point now)
{
    DropStale(now);
    for (const Waiting& one : mWaiting) batch.append(*one.packet.frame);
    mWaiting.clear();
}

std::size_t VoiceOut::WaitingBytes() const
{
    std::size_t bytes = 0;
    for (const Waiting& one : mWaiting) bytes += one.packet.frame->size();
    return bytes;
}

}  // namespace zephyl
