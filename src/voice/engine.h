#pragma once
// The sound of one meeting: from the microphone to packets, from packets to the speakers. It knows no sound
// server, no socket and no window; the time is passed in. One thread at a time.

#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "voice/cleaner.h"
#include "voice/encoder.h"
#include "voice/speaker.h"

namespace voice {

class Engine {
public:
    using Clock = Speaker::Clock;

    /// `firstFrame` as in Encoder.
    Engine(Encoder::Send send, std::uint64_t firstFrame, const Cleaner::Wishes& wishes = {});

    /// Whoever is not named is not heard, from the next step on.
    void TalkWith(const std::set<std::string>& handles);
    bool Talks() const { return !mWith.empty(); }
    /// 1: as it comes; 0: not heard.
    void SetVolume(const std::string& handle, float volume) { mVolumes[handle] = volume; }
    void SetCleaning(const Cleaner::Wishes& wishes);
    Encoder& TheEncoder() { return mEncoder; }
    /// Instead of others one hears what one said a second ago.
    void SetOwnTest(bool on);
    bool OwnTest() const { return mOwnTest; }
    /// What the link knows of it, in per cent.
    void SetLinkLoss(int percent) { mLinkLoss = percent; }

    /// 10 ms that the microphone heard. `delayMs` as in Cleaner.
    void Heard(Step sound, int delayMs);
    /// A packet from somebody; what is none, or from somebody else, is dropped.
    void Arrived(const std::string& from, std::uint64_t frame, std::string_view body, Clock::time_point now);
    /// The next 10 ms to play, which leave for the sound server at `now`.
    void Play(Step& to, Clock::time_point now);

    /// Of what the microphone heard last, whether it is sent or not.
    std::uint8_t OwnLevel() const { return mLevel; }
    /// Levels of those who are heard now.
    std::map<std::string, std::uint8_t> Levels() const;
    /// The longest wait of any of them in the jitter buffer, in ms.
    double DelayMs() const;

private:
    struct Other {
        Speaker speaker;
        int theirLoss = 0;
        Clock::time_point at{};
    };
    void FollowLoss(Clock::time_point now);
    void PlayOwn(Step& to);

    Cleaner::Wishes mWishes;
    std::unique_ptr<Cleaner> mCleaner;  // null: there is nothing to clean
    Encoder mEncoder;
    std::set<std::string> mWith;
    std::map<std::string, std::unique_ptr<Other>> mOthers;  // who has been heard
    std::map<std::string, float> mVolumes;
    int mLinkLoss = 0;
    Clock::time_point mLossAt{};
    std::uint8_t mLevel = kSilence;
    bool mOwnTest = false;
    std::vector<Sample> mOwn;  // what was heard lately, for the test
};

}  // namespace voice
