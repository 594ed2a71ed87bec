#include "voice/jitter_buffer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "voice/sound.h"

namespace voice {

namespace {

constexpr std::size_t kPeriod = 250;       // packets: five seconds
constexpr std::size_t kLateByChance = 50;  // one in so many may come later than its turn
constexpr double kMarginMs = 25;           // beyond the latest of the others: it is taken ahead of its turn
constexpr double kFallsMs = 0.4;           // a packet, when less is needed: 20 ms in a second
constexpr std::uint64_t kFarFrames = 500;  // ten seconds: another count, not a late packet
constexpr int kConcealMost = 5;            // 100 ms, then it is silence
constexpr double kHopelessMs = 300;
constexpr double kFarBehindMs = 120;
constexpr double kTooLongMs = 45, kTooShortMs = -15;
constexpr int kBetweenChanges = 10;    // packets
constexpr double kForget = 1.0 / 500;  // of the loss: ten seconds

double Ms(JitterBuffer::Clock::duration time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

}  // namespace

double JitterBuffer::TransitOf(std::uint64_t frame, Clock::time_point now) const
{
    return Ms(now - mOrigin) - double(std::int64_t(frame - mOriginFrame)) * kPacketMs;
}

void JitterBuffer::Begin(std::uint64_t frame, Clock::time_point now)
{
    *this = JitterBuffer();
    mBegun = true;
    mOriginFrame = frame;
    mOrigin = now;
    mNext = frame;
}

void JitterBuffer::Measure(double transit)
{
    if (mLately.empty()) mBase = mQuickest = transit;
    if (mLately.size() < kPeriod)
        mLately.push_back(transit);
    else
        mLately[mLatelyAt++ % kPeriod] = transit;
    mBase = std::min(mBase, transit);
    mQuickest = std::min(mQuickest, transit);
    if (++mInPeriod >= kPeriod) {  // a way that became longer, or clocks that differ
        mBase = std::exchange(mQuickest, transit);
        mInPeriod = 0;
    }
    std::vector<double> sorted = mLately;
    const std::size_t chance =
        sorted.size() > 1 ? std::max<std::size_t>(1, sorted.size() / kLateByChance) : 0;
    const std::size_t at = sorted.size() - 1 - chance;
    std::nth_element(sorted.begin(), sorted.begin() + std::ptrdiff_t(at), sorted.end());
    const double wanted = std::clamp(sorted[at] - mBase + kMarginMs, kLeastDelayMs, kMostDelayMs);
    mDelay = std::max(wanted, mDelay - kFallsMs);
}

void JitterBuffer::Put(std::uint64_t frame, const Packet& packet, Clock::time_point now)
{
    const bool near = mBegun && frame + kFarFrames > mNext && frame < mNext + kFarFrames;
    const bool clockFits = mBegun && std::abs(TransitOf(frame, now) - mBase) < double(kFarFrames * kPacketMs);
    // So late that nobody can wait for it: the speaker's count has stood still, or the way has become
    // another.
    const bool behind = mBegun && TransitOf(frame, now) - mBase > kHopelessMs;
    if (behind || (!near && !clockFits)) Begin(frame, now);
    Measure(TransitOf(frame, now));
    if (mPlayed && frame < mNext) return Count(true);  // its turn is over
    mHeld.try_emplace(frame, Held{std::string(packet.opus), packet.first, packet.last});
    if (mHeld.size() > kMostPackets) mHeld.erase(mHeld.begin());
}

double JitterBuffer::Excess(Clock::time_point now) const
{
    return mPlaying ? TransitOf(mNext, now) - mBase - mDelay : 0;
}

void JitterBuffer::Count(bool lost)
{
    mLost += ((lost ? 1.0 : 0.0) - mLost) * kForget;
    mCounted = std::min(1.0, mCounted + kForget);
}

int JitterBuffer::LostPercent() const
{
    return mCounted == 0 ? 0 : int(std::lround(std::clamp(100 * mLost / mCounted, 0.0, 100.0)));
}

JitterBuffer::Next JitterBuffer::Quiet()
{
    mPlaying = false;
    mConcealed = 0;
    return {};
}

JitterBuffer::Next JitterBuffer::Take(Clock::time_point now)
{
    if (!mPlaying) {
        if (mHeld.empty()) return {};
        const double early = mBase + mDelay - TransitOf(mHeld.begin()->first, now);
        if (early > kPacketMs / 2.0) return {};
        mPlaying = mPlayed = true;
        mNext = mHeld.begin()->first;
        mSinceChange = 0;
    }
    // This program itself had no turn for a while: nobody wants to hear all of that later.
    for (; Excess(now) > kFarBehindMs && mHeld.size() > 1; ++mNext) mHeld.erase(mNext);
    ++mSinceChange;
    const double excess = Excess(now);
    // Far behind: what is old is left out. Far ahead: what is there waits once.
    if (excess > kTooLongMs && mHeld.size() > 1 && mSinceChange > kBetweenChanges) {
        mHeld.erase(mNext++);
        mSinceChange = 0;
    } else if (excess < kTooShortMs && mSinceChange > kBetweenChanges) {
        mSinceChange = 0;
        return {Next::What::Lost, {}};
    }
    const auto held = mHeld.find(mNext);
    if (held == mHeld.end()) return Missing();
    Next next{Next::What::Packet, std::move(held->second.opus)};
    const bool last = held->second.last;
    mHeld.erase(held);
    ++mNext;
    mConcealed = 0;
    Count(false);
    if (last) mPlaying = false;
    return next;
}

JitterBuffer::Next JitterBuffer::Missing()
{
    while (!mHeld.empty() && mHeld.begin()->first < mNext) mHeld.erase(mHeld.begin());
    const auto behind = mHeld.begin();
    if (behind != mHeld.end() && behind->second.first) return Quiet();  // its word about silence was lost
    if (mConcealed >= kConcealMost) return Quiet();
    ++mConcealed;
    Next next{Next::What::Lost, {}};
    if (behind != mHeld.end() && behind->first == mNext + 1) next.opus = behind->second.opus;
    ++mNext;
    Count(true);
    return next;
}

}  // namespace voice
