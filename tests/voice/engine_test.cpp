// Two companions' sound with a network between them that exists only here: time is counted, not waited for.

#include <gtest/gtest.h>
#include <opus.h>

#include <cmath>
#include <functional>
#include <map>
#include <random>

#include "scenarios/heard.h"
#include "voice/engine.h"

namespace voice {
namespace {

using namespace std::chrono_literals;
using Clock = Engine::Clock;

/// Something like speech: a voice of many harmonics that swells and pauses, from a fixed seed.
std::vector<Sample> Speech(double seconds, unsigned seed = 3)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> pitch(95, 160), loud(0.3, 1);
    std::vector<Sample> sound(std::size_t(seconds * kRate));
    double phase = 0, hertz = 120, volume = 0.5;
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const double syllable = std::fmod(double(i) / kRate, 0.25) / 0.25;
        if (i % std::size_t(kRate / 4) == 0) {
            hertz = pitch(random);
            volume = loud(random);
        }
        phase += 2 * M_PI * hertz / kRate;
        double value = 0;
        for (int n = 1; n <= 25; ++n) value += std::sin(n * phase) / n;
        sound[i] = Sample(6000 * volume * std::sin(M_PI * syllable) * value / 2);
    }
    return sound;
}

struct Weather {
    double loss = 0, jitterMs = 0;
    double clocksApart = 0;            // millionths by which the listener's sound card runs quicker
    double cutFrom = 0, cutUntil = 0;  // seconds
};

/// Alice speaks, bob hears.
class Talk {
public:
    explicit Talk(const Weather& weather) : mWeather(weather)
    {
        const Cleaner::Wishes nothing{false, false, false};
        bob = std::make_unique<Engine>([](auto...) {}, 0, nothing);
        alice = std::make_unique<Engine>(
            [this](std::uint64_t frame, std::uint8_t, std::string_view body) {
                ++sent;
                packets.emplace_back(body);
                const double seconds = std::chrono::duration<double>(mNow - kBegin).count();
                if (seconds >= mWeather.cutFrom && seconds < mWeather.cutUntil) return;
                if (std::uniform_real_distribution<double>(0, 1)(mRandom) < mWeather.loss) return;
                const double late = std::uniform_real_distribution<double>(0, mWeather.jitterMs)(mRandom);
                mUnderway.emplace(mNow + std::chrono::microseconds(std::lround(1000 * (5 + late))),
                                  std::pair(frame, std::string(body)));
            },
            1000, nothing);
        alice->TheEncoder().SetSpeaks(Speaks::Always);
        alice->TalkWith({"bob"});
        bob->TalkWith({"Alice"});
    }
    void Run(std::span<const Sample> speech)
    {
        double played = 0;
        for (std::size_t at = 0; at + kStepSamples <= speech.size(); at += kStepSamples) {
            Step step;
            std::copy_n(speech.begin() + std::ptrdiff_t(at), kStepSamples, step.begin());
            alice->Heard(step, 0);
            for (played += 1 + mWeather.clocksApart * 1e-6; played >= 1; played -= 1) {
                for (; !mUnderway.empty() && mUnderway.begin()->first <= mNow;
                     mUnderway.erase(mUnderway.begin()))
                    bob->Arrived("Alice", mUnderway.begin()->second.first, mUnderway.begin()->second.second,
                                 mNow);
                Step out;
                bob->Play(out, mNow);
                heard.insert(heard.end(), out.begin(), out.end());
            }
            mNow += 10ms;
        }
    }
    std::unique_ptr<Engine> alice, bob;
    std::vector<Sample> heard;
    int sent = 0;
    std::vector<std::string> packets;

    /// What Opus alone makes of all that was sent.
    std::vector<Sample> Decoded() const
    {
        int failed = 0;
        OpusDecoder* const decoder = opus_decoder_create(kRate, 1, &failed);
        std::vector<Sample> sound(packets.size() * kPacketSamples);
        for (std::size_t i = 0; i < packets.size(); ++i) {
            const std::string_view opus = ReadPacket(packets[i])->opus;
            EXPECT_EQ(opus_decode(decoder, reinterpret_cast<const unsigned char*>(opus.data()),
                                  opus_int32(opus.size()), &sound[i * kPacketSamples], kPacketSamples, 0),
                      int(kPacketSamples));
        }
        opus_decoder_destroy(decoder);
        return sound;
    }

private:
    static constexpr Clock::time_point kBegin{1h};
    const Weather mWeather;
    std::mt19937 mRandom{11};
    Clock::time_point mNow = kBegin;
    std::multimap<Clock::time_point, std::pair<std::uint64_t, std::string>> mUnderway;
};

TEST(Engine, WhatIsSaidIsHeardOnGoodAndBadLines)
{
    const auto speech = Speech(8);
    const struct {
        Weather weather;
        double decibels;  // at least
        double lagMs;     // at most
    } rows[] = {
        {{}, 26, 100},
        {{.loss = 0.05}, 24, 100},
        {{.loss = 0.2}, 18, 100},
        {{.jitterMs = 50}, 23, 130},
    };
    for (const auto& row : rows) {
        Talk talk(row.weather);
        talk.Run(speech);
        SCOPED_TRACE("loss " + std::to_string(row.weather.loss) + " jitter " +
                     std::to_string(row.weather.jitterMs));
        const heard::Way way = heard::Measure(talk.Decoded(), talk.heard);
        EXPECT_GE(way.decibels, row.decibels);
        EXPECT_GE(way.found, 0.98);
        EXPECT_LE(way.At(0.5), row.lagMs);
        EXPECT_GE(way.At(0.5), 60);
    }
}

TEST(Engine, ComesBackAtOnceAfterACutAndIsSilentInIt)
{
    const auto speech = Speech(8);
    Talk talk({.cutFrom = 3, .cutUntil = 6});
    talk.Run(speech);
    const auto levelAt = [&](double from, double until) {
        return LevelOf(
            std::span(talk.heard).subspan(std::size_t(from * kRate), std::size_t((until - from) * kRate)));
    };
    EXPECT_LT(levelAt(2, 3), 40);
    EXPECT_EQ(levelAt(3.5, 6), kSilence);  // no stuck tone
    EXPECT_LT(levelAt(6.2, 7), 40);
}

TEST(Engine, TenMinutesWithAQuickerOrSlowerListenerHaveNoClick)
{
    // A tone that swells shows every click: the second difference of what is played never jumps.
    std::vector<Sample> tone(std::size_t(kRate) * 60);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = Sample(8000 * (0.51 + 0.49 * std::sin(2 * M_PI * 4 * double(i) / kRate)) *
                         std::sin(2 * M_PI * 440 * double(i) / kRate));
    for (const double apart : {200, -200}) {
        Talk talk({.clocksApart = apart});
        int clicks = 0;
        for (int minute = 0; minute < 10; ++minute) {
            talk.heard.clear();
            talk.Run(tone);
            const std::size_t from = minute == 0 ? kRate : 2;
            for (std::size_t i = from; i < talk.heard.size(); ++i)
                clicks += std::abs(talk.heard[i] - 2 * talk.heard[i - 1] + talk.heard[i - 2]) > 400;
        }
        EXPECT_EQ(clicks, 0) << apart;
    }
}

TEST(Engine, NothingIsSaidOrHeardThatNobodyWants)
{
    const auto speech = Speech(2);
    const std::function<void(Engine&)> silences[] = {[](Engine& alice) { alice.TalkWith({}); },
                                                     [](Engine& alice) { alice.TheEncoder().SetMuted(true); },
                                                     [](Engine& alice) { alice.SetOwnTest(true); }};
    for (const auto& silence : silences) {
        Talk talk({});
        silence(*talk.alice);
        talk.Run(speech);
        EXPECT_EQ(talk.sent, 0);
    }
    Talk deaf({});
    deaf.bob->TalkWith({"carol"});
    deaf.Run(speech);
    EXPECT_EQ(LevelOf(deaf.heard), kSilence);
    deaf.bob->TalkWith({"Alice", "carol"});
    deaf.Run(speech);
    deaf.bob->TalkWith({});  // in the midst of a word
    deaf.heard.clear();
    deaf.Run(speech);
    EXPECT_EQ(LevelOf(deaf.heard), kSilence);
}

TEST(Engine, SilenceCostsNothing)
{
    std::vector<Sample> silence(2 * kRate);
    Talk activated({});
    activated.alice->TheEncoder().SetSpeaks(Speaks::Activated);
    activated.Run(silence);
    EXPECT_EQ(activated.sent, 0);
    activated.Run(Speech(1));
    const int said = activated.sent;
    EXPECT_GE(said, 49);
    activated.Run(silence);
    EXPECT_LE(activated.sent - said, 27);  // half a second of the room behind the last word
    Talk always({});
    always.Run(std::vector<Sample>(4 * kRate));
    EXPECT_LE(always.sent, 60);  // of 200
}

TEST(Engine, HoldsDownTheEchoOfWhatItPlays)
{
    // What bob's speakers play comes into bob's microphone 20 ms later, half as loud.
    double before = 0, after = 0;
    const auto speech = Speech(8, 5);
    std::vector<Sample> played(960, 0);
    Cleaner cleaner({true, true, false});
    for (std::size_t at = 0; at + kStepSamples <= speech.size(); at += kStepSamples) {
        Step far, near;
        std::copy_n(speech.begin() + std::ptrdiff_t(at), kStepSamples, far.begin());
        cleaner.Played(far);
        played.insert(played.end(), far.begin(), far.end());
        for (std::size_t i = 0; i < kStepSamples; ++i) near[i] = Sample(played[at + i] / 2);
        const Step echo = near;
        cleaner.Clean(near, 20);
        if (at < 3 * kRate) continue;
        for (std::size_t i = 0; i < kStepSamples; ++i) {
            before += double(echo[i]) * echo[i];
            after += double(near[i]) * near[i];
        }
    }
    const double lowered = 10 * std::log10(before / std::max(1.0, after));
    EXPECT_GE(lowered, 25);
}

}  // namespace
}  // namespace voice
