#pragma once
// From sound to packets: what is loud enough, or said while a key is held; its bit rate follows what is lost
// on the way. One thread at a time.

#include <functional>
#include <memory>
#include <string_view>

#include "voice/packet.h"
#include "voice/sound.h"

struct OpusEncoder;

namespace voice {

enum class Speaks { Activated, WhileHeld, Always };

/// Bits a second where so many per cent are lost: 40 kbit/s on a good line, 24 from 10 % on.
int BitrateFor(int lostPercent);

class Encoder {
public:
    /// `body`: as WritePacket makes it.
    using Send = std::function<void(std::uint64_t frame, std::uint8_t level, std::string_view body)>;

    /// `firstFrame`: where the count of packets begins; it should be beyond every earlier one. Throws
    /// std::runtime_error when the library refuses.
    Encoder(Send send, std::uint64_t firstFrame);
    ~Encoder();
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    void SetSpeaks(Speaks speaks) { mSpeaks = speaks; }
    void SetHeld(bool held) { mHeld = held; }
    void SetMuted(bool muted) { mMuted = muted; }
    /// What speaks by itself: louder than this, in decibels below full scale.
    void SetThreshold(std::uint8_t level) { mThreshold = level; }
    /// What the listeners lose, and what we lose of them.
    void SetLoss(int theirPercent, int ownPercent);

    /// 10 ms of a cleaned microphone. Calls Send at every second one at most.
    void Take(const Step& sound);
    bool Speaking() const { return mSpeaking; }

private:
    bool Open(std::uint8_t level);
    void Encode();

    const Send mSend;
    std::unique_ptr<OpusEncoder, void (*)(OpusEncoder*)> mEncoder;
    std::array<Sample, kPacketSamples> mSound{};
    std::size_t mHas = 0;
    std::uint64_t mFrame;
    Speaks mSpeaks = Speaks::Activated;
    bool mHeld = false, mMuted = false;
    std::uint8_t mThreshold = 50;
    int mHangover = 0;  // packets
    bool mSpeaking = false;
    int mTheirLoss = -1, mOwnLoss = 0;
};

}  // namespace voice
