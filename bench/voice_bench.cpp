// What the voice companion's sound costs: one speaks and hears four others, beside the codec alone doing the
// same.

#include <benchmark/benchmark.h>
#include <opus.h>

#include <cmath>
#include <string>
#include <vector>

#include "voice/engine.h"

namespace {

using namespace std::chrono_literals;
using voice::Sample;

constexpr int kOthers = 4;
constexpr std::size_t kSeconds = 10;

/// A voice of many harmonics that swells and pauses.
std::vector<Sample> Speech()
{
    std::vector<Sample> sound(kSeconds * voice::kRate);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const double at = double(i) / voice::kRate;
        double value = 0;
        for (int n = 1; n <= 20; ++n) value += std::sin(2 * M_PI * 130 * n * at) / n;
        sound[i] = Sample(4000 * std::sin(M_PI * std::fmod(at, 0.25) / 0.25) * value);
    }
    return sound;
}

const std::vector<Sample>& TheSpeech()
{
    static const std::vector<Sample> speech = Speech();
    return speech;
}

std::vector<std::string> Packets()
{
    std::vector<std::string> packets;
    voice::Engine engine(
        [&](std::uint64_t, std::uint8_t, std::string_view body) { packets.emplace_back(body); }, 0,
        {false, false, false});
    engine.TheEncoder().SetSpeaks(voice::Speaks::Always);
    engine.TalkWith({"other"});
    for (std::size_t at = 0; at < TheSpeech().size(); at += voice::kStepSamples) {
        voice::Step step;
        std::copy_n(TheSpeech().begin() + std::ptrdiff_t(at), step.size(), step.begin());
        engine.Heard(step, 0);
    }
    return packets;
}

/// Ten seconds.
void Companion(benchmark::State& run, const voice::Cleaner::Wishes& wishes)
{
    const std::vector<std::string> packets = Packets();
    const std::vector<std::string> names{"ann", "bob", "eve", "sam"};
    for (auto _ : run) {
        std::size_t sent = 0;
        voice::Engine engine([&](auto, auto, std::string_view body) { sent += body.size(); }, 0, wishes);
        engine.TheEncoder().SetSpeaks(voice::Speaks::Always);
        engine.TalkWith({names.begin(), names.end()});
        voice::Engine::Clock::time_point now(1h);
        for (std::size_t at = 0; at < TheSpeech().size(); at += voice::kStepSamples, now += 10ms) {
            voice::Step step;
            std::copy_n(TheSpeech().begin() + std::ptrdiff_t(at), step.size(), step.begin());
            engine.Heard(step, 0);
            const std::size_t packet = at / voice::kPacketSamples;
            if (at % voice::kPacketSamples == 0 && packet < packets.size())
                for (const std::string& name : names) engine.Arrived(name, packet, packets[packet], now);
            engine.Play(step, now);
            benchmark::DoNotOptimize(step);
        }
        benchmark::DoNotOptimize(sent);
    }
}

void CompanionWithoutCleaning(benchmark::State& run)
{
    Companion(run, {false, false, false});
}

void CompanionWhole(benchmark::State& run)
{
    Companion(run, {});
}

void CodecAlone(benchmark::State& run)
{
    const std::vector<std::string> packets = Packets();
    for (auto _ : run) {
        int failed = 0;
        OpusEncoder* const encoder = opus_encoder_create(voice::kRate, 1, OPUS_APPLICATION_VOIP, &failed);
        opus_encoder_ctl(encoder, OPUS_SET_BITRATE(voice::BitrateFor(0)));
        opus_encoder_ctl(encoder, OPUS_SET_SIGNAL(OPUS_SIGNAL_VOICE));
        opus_encoder_ctl(encoder, OPUS_SET_INBAND_FEC(1));
        opus_encoder_ctl(encoder, OPUS_SET_PACKET_LOSS_PERC(5));
        opus_encoder_ctl(encoder, OPUS_SET_DTX(1));
        opus_encoder_ctl(encoder, OPUS_SET_COMPLEXITY(5));
        OpusDecoder* decoders[kOthers];
        for (OpusDecoder*& decoder : decoders) decoder = opus_decoder_create(voice::kRate, 1, &failed);
        std::vector<Sample> sound(voice::kPacketSamples);
        std::vector<unsigned char> bytes(voice::kMostPacketBytes);
        for (std::size_t packet = 0; packet < packets.size(); ++packet) {
            benchmark::DoNotOptimize(opus_encode(encoder, &TheSpeech()[packet * voice::kPacketSamples],
                                                 int(voice::kPacketSamples), bytes.data(),
                                                 int(bytes.size())));
            const std::string_view opus = voice::ReadPacket(packets[packet])->opus;
            for (OpusDecoder* decoder : decoders)
                benchmark::DoNotOptimize(opus_decode(decoder,
                                                     reinterpret_cast<const unsigned char*>(opus.data()),
                                                     int(opus.size()), sound.data(), int(sound.size()), 0));
        }
        opus_encoder_destroy(encoder);
        for (OpusDecoder* decoder : decoders) opus_decoder_destroy(decoder);
    }
}

BENCHMARK(CompanionWithoutCleaning)->Unit(benchmark::kMillisecond);
BENCHMARK(CompanionWhole)->Unit(benchmark::kMillisecond);
BENCHMARK(CodecAlone)->Unit(benchmark::kMillisecond);

}  // namespace

// Of our own: the library for echo and noise brings a main of another program, and may be found first.
int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
