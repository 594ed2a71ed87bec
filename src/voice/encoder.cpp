#include "voice/encoder.h"

#include <opus.h>

#include <algorithm>
#include <stdexcept>

namespace voice {

namespace {

constexpr int kMostBits = 40'000, kLeastBits = 24'000;
constexpr int kGoodLoss = 2, kBadLoss = 10;  // per cent
constexpr int kExpectedLoss = 5;             // so that there is always something to restore from
constexpr int kHangoverPackets = 25;         // half a second: the end of a word is quiet
constexpr int kComplexity = 5;

OpusEncoder* NewEncoder()
{
    int failed = 0;
    OpusEncoder* const encoder = opus_encoder_create(kRate, 1, OPUS_APPLICATION_VOIP, &failed);
    if (!encoder) throw std::runtime_error(opus_strerror(failed));
    opus_encoder_ctl(encoder, OPUS_SET_SIGNAL(OPUS_SIGNAL_VOICE));
    opus_encoder_ctl(encoder, OPUS_SET_INBAND_FEC(1));
    opus_encoder_ctl(encoder, OPUS_SET_DTX(1));
    opus_encoder_ctl(encoder, OPUS_SET_COMPLEXITY(kComplexity));
    return encoder;
}

}  // namespace

int BitrateFor(int lostPercent)
{
    const double bad = std::clamp(double(lostPercent - kGoodLoss) / (kBadLoss - kGoodLoss), 0.0, 1.0);
    return int(kMostBits - bad * (kMostBits - kLeastBits));
}

Encoder::Encoder(Send send, std::uint64_t firstFrame)
    : mSend(std::move(send)), mEncoder(NewEncoder(), opus_encoder_destroy), mFrame(firstFrame)
{
    SetLoss(0, 0);
}

Encoder::~Encoder() = default;

void Encoder::SetLoss(int theirPercent, int ownPercent)
{
    mOwnLoss = std::clamp(ownPercent, 0, 100);
    if (theirPercent == mTheirLoss) return;
    mTheirLoss = theirPercent;
    opus_encoder_ctl(mEncoder.get(), OPUS_SET_BITRATE(BitrateFor(theirPercent)));
    opus_encoder_ctl(mEncoder.get(), OPUS_SET_PACKET_LOSS_PERC(std::clamp(theirPercent, kExpectedLoss, 100)));
}

void Encoder::Take(const Step& sound)
{
    std::copy(sound.begin(), sound.end(), mSound.begin() + std::ptrdiff_t(mHas));
    mHas += sound.size();
    if (mHas < mSound.size()) return;
    mHas = 0;
    Encode();
}

bool Encoder::Open(std::uint8_t level)
{
    if (mMuted) return false;
    if (mSpeaks == Speaks::Always) return true;
    if (mSpeaks == Speaks::WhileHeld) return mHeld;
    mHangover = level <= mThreshold ? kHangoverPackets : std::max(0, mHangover - 1);
    return mHangover > 0;
}

void Encoder::Encode()
{
    const std::uint8_t level = LevelOf(mSound);
    const bool wasSpeaking = mSpeaking;
    const bool open = Open(level);
    ++mFrame;
    if (!open) mHangover = 0;
    if (!open && !wasSpeaking) return;
    if (!open) mSound.fill(0);  // the last packet closes what was said; nothing more of the room is in it
    std::array<unsigned char, kMostPacketBytes - 2> opus;
    const int bytes =
        opus_encode(mEncoder.get(), mSound.data(), int(mSound.size()), opus.data(), opus_int32(opus.size()));
    if (bytes < 0) return;
    opus_int32 silent =
        0;  // discontinuous transmission has begun; what it would send now and then is not needed
    opus_encoder_ctl(mEncoder.get(), OPUS_GET_IN_DTX(&silent));
    mSpeaking = open && silent == 0;
    if (!mSpeaking && !wasSpeaking) return;
    Packet packet;
    packet.first = !wasSpeaking;
    packet.last = !mSpeaking;
    packet.lost = std::uint8_t(mOwnLoss);
    packet.opus = {reinterpret_cast<const char*>(opus.data()), std::size_t(bytes)};
    mSend(mFrame, open ? level : kSilence, WritePacket(packet));
}

}  // namespace voice
