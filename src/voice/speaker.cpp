#include "voice/speaker.h"

#include <opus.h>
#include <speex/speex_resampler.h>

#include <array>
#include <stdexcept>

namespace voice {

namespace {

constexpr int kQuality = 3;  // of ten: speech, at nearly equal rates
constexpr spx_uint32_t kMillion = 1'000'000;
constexpr std::size_t kFadeSamples = 240;  // 5 ms

OpusDecoder* NewDecoder()
{
    int failed = 0;
    OpusDecoder* const decoder = opus_decoder_create(kRate, 1, &failed);
    if (!decoder) throw std::runtime_error(opus_strerror(failed));
    return decoder;
}

SpeexResamplerState* NewResampler()
{
    int failed = 0;
    SpeexResamplerState* const resampler =
        speex_resampler_init_frac(1, kMillion, kMillion, kRate, kRate, kQuality, &failed);
    if (!resampler) throw std::runtime_error(speex_resampler_strerror(failed));
    speex_resampler_skip_zeros(resampler);
    return resampler;
}

}  // namespace

Speaker::Speaker()
    : mDecoder(NewDecoder(), opus_decoder_destroy), mResampler(NewResampler(), speex_resampler_destroy)
{
}

Speaker::~Speaker() = default;

void Speaker::Put(std::uint64_t frame, const Packet& packet, Clock::time_point now)
{
    mBuffer.Put(frame, packet, now);
}

void Speaker::Play(Step& to, Clock::time_point now)
{
    while (mReady.size() < to.size()) {
        const double ahead = 1000.0 * double(mReady.size()) / kRate;
        const int wanted = mDrift.Follow(mBuffer.Excess(now) + ahead);
        if (wanted != mMillionths) {
            mMillionths = wanted;
            speex_resampler_set_rate_frac(mResampler.get(), spx_uint32_t(int(kMillion) + wanted), kMillion,
                                          kRate, kRate);
        }
        Decode(mBuffer.Take(now));
    }
    std::copy_n(mReady.begin(), to.size(), to.begin());
    mReady.erase(mReady.begin(), mReady.begin() + std::ptrdiff_t(to.size()));
    mLevel = LevelOf(to);
}

/// From what is known of what is missing.
int Speaker::Restore(const std::string& behind, std::span<Sample> to)
{
    const auto* const opus = reinterpret_cast<const unsigned char*>(behind.data());
    return behind.empty()
               ? opus_decode(mDecoder.get(), nullptr, 0, to.data(), int(to.size()), 0)
               : opus_decode(mDecoder.get(), opus, opus_int32(behind.size()), to.data(), int(to.size()), 1);
}

void Speaker::Decode(const JitterBuffer::Next& next)
{
    std::array<Sample, kPacketSamples> sound{};
    int samples = 0;
    const bool sounded = mSounding;
    mSounding = next.what != JitterBuffer::Next::What::Silence;
    if (next.what == JitterBuffer::Next::What::Packet)
        samples = opus_decode(mDecoder.get(), reinterpret_cast<const unsigned char*>(next.opus.data()),
                              opus_int32(next.opus.size()), sound.data(), int(sound.size()), 0);
    else if (mSounding || sounded)
        samples = Restore(next.opus, sound);
    if (samples < 0) sound.fill(0);  // what no decoder can read is silence
    // Neither begins nor ends with a step.
    for (std::size_t i = 0; i < sound.size() && sounded != mSounding; ++i) {
        const std::size_t part = std::min(i, kFadeSamples);
        sound[i] = Sample(sound[i] * int(mSounding ? part : kFadeSamples - part) / int(kFadeSamples));
    }
    Stretch(sound);
}

void Speaker::Stretch(std::span<const Sample> sound)
{
    std::array<Sample, 2 * kPacketSamples> out;
    auto taken = spx_uint32_t(sound.size()), made = spx_uint32_t(out.size());
    speex_resampler_process_int(mResampler.get(), 0, sound.data(), &taken, out.data(), &made);
    mReady.insert(mReady.end(), out.begin(), out.begin() + made);
}

}  // namespace voice
