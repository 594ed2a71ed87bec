#include "voice/cleaner.h"

#include <webrtc/modules/audio_processing/include/audio_processing.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace voice {

namespace {

constexpr float kScale = 32'768;
constexpr int kMostDelayMs = 500;
constexpr int kTargetBelowFull = 6;  // decibels
constexpr int kMostGain = 15;

using Floats = std::array<float, kStepSamples>;

Floats ToFloats(const Step& sound)
{
    Floats floats;
    std::transform(sound.begin(), sound.end(), floats.begin(), [](Sample s) { return float(s) / kScale; });
    return floats;
}

}  // namespace

Cleaner::Cleaner(const Wishes& wishes)
{
    webrtc::Config config;
    config.Set<webrtc::ExtendedFilter>(new webrtc::ExtendedFilter(true));
    config.Set<webrtc::DelayAgnostic>(new webrtc::DelayAgnostic(true));
    mProcessing.reset(webrtc::AudioProcessing::Create(config));
    if (!mProcessing) throw std::runtime_error("no audio processing");
    const auto layout = webrtc::AudioProcessing::kMono;
    int failed = mProcessing->Initialize(kRate, kRate, kRate, layout, layout, layout);
    failed |= mProcessing->high_pass_filter()->Enable(true);
    failed |= mProcessing->echo_cancellation()->enable_drift_compensation(false);
    failed |=
        mProcessing->echo_cancellation()->set_suppression_level(webrtc::EchoCancellation::kHighSuppression);
    failed |= mProcessing->echo_cancellation()->Enable(wishes.echo);
    failed |= mProcessing->noise_suppression()->set_level(webrtc::NoiseSuppression::kModerate);
    failed |= mProcessing->noise_suppression()->Enable(wishes.noise);
    failed |= mProcessing->gain_control()->set_mode(webrtc::GainControl::kAdaptiveDigital);
    failed |= mProcessing->gain_control()->set_target_level_dbfs(kTargetBelowFull);
    failed |= mProcessing->gain_control()->set_compression_gain_db(kMostGain);
    failed |= mProcessing->gain_control()->Enable(wishes.gain);
    if (failed != 0) throw std::runtime_error("the audio processing does not take its settings");
}

Cleaner::~Cleaner() = default;

void Cleaner::Played(const Step& sound)
{
    Floats floats = ToFloats(sound);
    float* channel = floats.data();
    const webrtc::StreamConfig mono(kRate, 1);
    mProcessing->ProcessReverseStream(&channel, mono, mono, &channel);
}

void Cleaner::Clean(Step& heard, int delayMs)
{
    Floats floats = ToFloats(heard);
    float* channel = floats.data();
    const webrtc::StreamConfig mono(kRate, 1);
    mProcessing->set_stream_delay_ms(std::clamp(delayMs, 0, kMostDelayMs));
    if (mProcessing->ProcessStream(&channel, mono, mono, &channel) != 0) return;
    std::transform(floats.begin(), floats.end(), heard.begin(),
                   [](float f) { return Sample(std::lround(std::clamp(f * kScale, -kScale, kScale - 1))); });
}

}  // namespace voice
