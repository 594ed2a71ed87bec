#include "voice/sound.h"

#include <algorithm>
#include <cmath>

namespace voice {

namespace {
constexpr double kFull = 32'767;
constexpr double kBendsAt = 0.75;  // of the scale
}  // namespace

std::uint8_t LevelOf(std::span<const Sample> sound)
{
    double power = 0;
    for (const Sample sample : sound) power += double(sample) * sample;
    if (sound.empty() || power == 0) return kSilence;
    const double below = -10 * std::log10(power / double(sound.size()) / (kFull * kFull));
    return std::uint8_t(std::clamp(std::lround(below), 0L, long{kSilence}));
}

void AddTo(std::span<std::int32_t> sums, std::span<const Sample> from, float volume)
{
    for (std::size_t i = 0; i < std::min(sums.size(), from.size()); ++i)
        sums[i] += volume == 1 ? from[i] : std::int32_t(std::lround(double(from[i]) * double(volume)));
}

void Settle(std::span<const std::int32_t> sums, std::span<Sample> to)
{
    constexpr double knee = kBendsAt * kFull, room = kFull - knee;
    for (std::size_t i = 0; i < std::min(sums.size(), to.size()); ++i) {
        const double loud = std::abs(double(sums[i]));
        if (loud <= knee) {
            to[i] = Sample(sums[i]);
            continue;
        }
        const double bent = knee + room * std::tanh((loud - knee) / room);
        to[i] = Sample(std::lround(sums[i] < 0 ? -bent : bent));
    }
}

}  // namespace voice
