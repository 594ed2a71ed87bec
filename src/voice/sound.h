#pragma once
// Sound as this program has it everywhere: 48 kHz, one channel, 16 bits, in steps of 10 ms; a packet holds
// two of them. Pure; any thread.

#include <array>
#include <cstdint>
#include <span>

namespace voice {

inline constexpr int kRate = 48'000;
inline constexpr std::size_t kStepSamples = 480;
inline constexpr std::size_t kPacketSamples = 960;
inline constexpr int kPacketMs = 20;
inline constexpr std::uint8_t kSilence = 127;  // decibels below full scale

using Sample = std::int16_t;
using Step = std::array<Sample, kStepSamples>;

/// How loud, in decibels below full scale: 0 to 127, which is silence.
std::uint8_t LevelOf(std::span<const Sample> sound);

/// Adds `from`, at `volume` (1: as it is), to the sums.
void AddTo(std::span<std::int32_t> sums, std::span<const Sample> from, float volume);
/// What fits 16 bits stays as it is up to three quarters of the scale; beyond that it is bent, so that
/// several who speak at once do not crackle.
void Settle(std::span<const std::int32_t> sums, std::span<Sample> to);

}  // namespace voice
