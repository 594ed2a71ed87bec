#pragma once
// One of the others, from packets to sound. One thread at a time.

#include <chrono>
#include <memory>
#include <vector>

#include "voice/drift.h"
#include "voice/jitter_buffer.h"
#include "voice/sound.h"

struct OpusDecoder;
struct SpeexResamplerState_;

namespace voice {

class Speaker {
public:
    using Clock = JitterBuffer::Clock;

    /// Throws std::runtime_error when a library refuses.
    Speaker();
    ~Speaker();
    Speaker(const Speaker&) = delete;
    Speaker& operator=(const Speaker&) = delete;

    void Put(std::uint64_t frame, const Packet& packet, Clock::time_point now);
    /// The next 10 ms, which leave for the sound server at `now`.
    void Play(Step& to, Clock::time_point now);
    /// Of what was played last; kSilence in silence.
    std::uint8_t Level() const { return mLevel; }
    int LostPercent() const { return mBuffer.LostPercent(); }
    double DelayMs() const { return mBuffer.DelayMs(); }

private:
    void Decode(const JitterBuffer::Next& next);
    int Restore(const std::string& behind, std::span<Sample> to);
    void Stretch(std::span<const Sample> sound);

    JitterBuffer mBuffer;
    Drift mDrift;
    std::unique_ptr<OpusDecoder, void (*)(OpusDecoder*)> mDecoder;
    std::unique_ptr<SpeexResamplerState_, void (*)(SpeexResamplerState_*)> mResampler;
    int mMillionths = 0;
    bool mSounding = false;
    std::vector<Sample> mReady;  // decoded, not yet played
    std::uint8_t mLevel = kSilence;
};

}  // namespace voice
