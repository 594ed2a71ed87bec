#include "voice/engine.h"

#include <algorithm>

namespace voice {

namespace {
constexpr std::size_t kOwnTestSamples = kRate;  // a second
constexpr std::chrono::seconds kLossEvery{1};
constexpr std::chrono::seconds kLossHolds{10};  // what somebody said of it

std::unique_ptr<Cleaner> CleanerFor(const Cleaner::Wishes& wishes)
{
    return wishes == Cleaner::Wishes{false, false, false} ? nullptr : std::make_unique<Cleaner>(wishes);
}

}  // namespace

Engine::Engine(Encoder::Send send, std::uint64_t firstFrame, const Cleaner::Wishes& wishes)
    : mWishes(wishes), mCleaner(CleanerFor(wishes)), mEncoder(std::move(send), firstFrame)
{
}

void Engine::TalkWith(const std::set<std::string>& handles)
{
    mWith = handles;
    std::erase_if(mOthers, [&](const auto& one) { return !mWith.contains(one.first); });
}

void Engine::SetCleaning(const Cleaner::Wishes& wishes)
{
    if (wishes == mWishes) return;
    mCleaner = CleanerFor(wishes);
    mWishes = wishes;
}

void Engine::SetOwnTest(bool on)
{
    mOwnTest = on;
    mOwn.clear();
}

void Engine::Heard(Step sound, int delayMs)
{
    if (mCleaner) mCleaner->Clean(sound, delayMs);
    mLevel = LevelOf(sound);
    if (mOwnTest)
        mOwn.insert(mOwn.end(), sound.begin(), sound.end());
    else if (Talks())
        mEncoder.Take(sound);
}

void Engine::Arrived(const std::string& from, std::uint64_t frame, std::string_view body,
                     Clock::time_point now)
{
    if (!mWith.contains(from)) return;
    const auto packet = ReadPacket(body);
    if (!packet) return;
    auto& other = mOthers[from];
    if (!other) other = std::make_unique<Other>();
    other->speaker.Put(frame, *packet, now);
    other->theirLoss = packet->lost;
    other->at = now;
}

/// Whoever hears us worst sets the pace.
void Engine::FollowLoss(Clock::time_point now)
{
    if (now - mLossAt < kLossEvery) return;
    mLossAt = now;
    int theirs = mLinkLoss, own = 0;
    for (const auto& [handle, other] : mOthers) {
        if (now - other->at > kLossHolds) continue;
        theirs = std::max(theirs, other->theirLoss);
        own = std::max(own, other->speaker.LostPercent());
    }
    mEncoder.SetLoss(theirs, own);
}

void Engine::PlayOwn(Step& to)
{
    to.fill(0);
    if (mOwn.size() < kOwnTestSamples) return;
    std::copy_n(mOwn.begin(), to.size(), to.begin());
    mOwn.erase(mOwn.begin(), mOwn.begin() + std::ptrdiff_t(to.size()));
}

void Engine::Play(Step& to, Clock::time_point now)
{
    FollowLoss(now);
    std::array<std::int32_t, kStepSamples> sums{};
    for (const auto& [handle, other] : mOthers) {
        Step sound;
        other->speaker.Play(sound, now);
        const auto volume = mVolumes.find(handle);
        AddTo(sums, sound, volume == mVolumes.end() ? 1 : volume->second);
    }
    if (mOwnTest)
        PlayOwn(to);
    else
        Settle(sums, to);
    if (mCleaner) mCleaner->Played(to);
}

std::map<std::string, std::uint8_t> Engine::Levels() const
{
    std::map<std::string, std::uint8_t> levels;
    for (const auto& [handle, other] : mOthers)
        if (other->speaker.Level() < kSilence) levels[handle] = other->speaker.Level();
    return levels;
}

double Engine::DelayMs() const
{
    double longest = 0;
    for (const auto& [handle, other] : mOthers) longest = std::max(longest, other->speaker.DelayMs());
    return longest;
}

}  // namespace voice
