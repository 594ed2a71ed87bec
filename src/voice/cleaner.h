#pragma once
// Takes out of what the microphone hears what the speakers play, and noise; and makes it as loud as others
// are. One thread at a time.

#include <memory>

#include "voice/sound.h"

namespace webrtc {
class AudioProcessing;
}

namespace voice {

class Cleaner {
public:
    struct Wishes {
        bool echo = true, noise = true, gain = true;
        bool operator==(const Wishes&) const = default;
    };

    /// Throws std::runtime_error when the library refuses.
    explicit Cleaner(const Wishes& wishes);
    ~Cleaner();

    /// What is played now, 10 ms.
    void Played(const Step& sound);
    /// Of what was heard, 10 ms. `delayMs`: from Played to where its echo is in here.
    void Clean(Step& heard, int delayMs);

private:
    std::unique_ptr<webrtc::AudioProcessing> mProcessing;
};

}  // namespace voice
