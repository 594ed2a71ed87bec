#include "service/relay/meeting/flood_budget.h"

#include "service/wire/content.h"

namespace zephyl {
namespace {

constexpr std::uint32_t kAnswerBytes = 1024;
constexpr int kMostAnswers = 1000;
constexpr double kLiveBurstSeconds = 2;  // one application image is a second's bytes
// Over its budget until this part of the burst is there again: nobody who just sends on gets so far.
constexpr double kCalm = 0.1;

double Of(std::size_t number)
{
    return static_cast<double>(number);
}

}  // namespace

FloodBudget::FloodBudget(const RelayBudgets& budgets, Clock::time_point now)
    : mItems(Of(budgets.items), Of(budgets.itemsBurst), now),
      mBytes(Of(budgets.bytes), Of(budgets.bytesBurst), now),
      mLiveFrames(Of(budgets.liveFrames), kLiveBurstSeconds * Of(budgets.liveFrames), now),
      mLiveBytes(Of(budgets.liveBytes), kLiveBurstSeconds * Of(budgets.liveBytes), now),
      mVoice(Of(kVoicePacketsEachSecond), kLiveBurstSeconds * Of(kVoicePacketsEachSecond), now)
{
}

void FloodBudget::Charge(const FrameView& frame, Clock::time_point now)
{
    const Header& header = frame.header;
    const double bytes = Of(frame.bytes);
    if (header.has_live() || (header.has_more() && header.more().lane() == LANE_LIVE)) {
        mLiveBytes.Spend(bytes, now);
        if (header.has_live()) mLiveFrames.Spend(1, now);
    } else if (header.has_voice()) {
        mLiveBytes.Spend(bytes, now);
    } else if (!IsAnswer(frame)) {
        mBytes.Spend(bytes, now);
        if (header.has_post()) mItems.Spend(1, now);
    }
    Look(now);
}

void FloodBudget::ChargeLive(std::size_t bytes, Clock::time_point now)
{
    mLiveBytes.Spend(Of(bytes), now);
    mLiveFrames.Spend(1, now);
    Look(now);
}

bool FloodBudget::TakeVoice(Clock::time_point now)
{
    if (mVoice.Left(now) < 1) return false;
    mVoice.Spend(1, now);
    return true;
}

void FloodBudget::ChargeVoice(std::size_t bytes, Clock::time_point now)
{
    mLiveBytes.Spend(Of(bytes), now);
    Look(now);
}

void FloodBudget::Look(Clock::time_point now)
{
    if (Pause(now).count() == 0 || mOver) return;
    mOver = true;
    mOverSince = now;
}

bool FloodBudget::IsAnswer(const FrameView& frame)
{
    if (mAnswers == 0 || !frame.header.has_post()) return false;
    const Post& post = frame.header.post();
    if (post.channel() != CHANNEL_TALK || post.total() > kAnswerBytes ||
        post.recipients().handles_size() != 1 || !IsReceipt(frame.body))
        return false;
    --mAnswers;
    return true;
}

void FloodBudget::MayAnswer(int lines)
{
    mAnswers = std::min(mAnswers + lines, kMostAnswers);
}

void FloodBudget::Returned(Clock::time_point now)
{
    for (Allowance* each : {&mItems, &mBytes, &mLiveFrames, &mLiveBytes}) each->Unspent(now);
    mOver = false;
}

std::chrono::milliseconds FloodBudget::Pause(Clock::time_point now) const
{
    std::chrono::milliseconds longest{};
    for (const Allowance* each : {&mItems, &mBytes, &mLiveFrames, &mLiveBytes})
        longest = std::max(longest, each->WaitFor(0, now));
    return longest;
}

std::chrono::milliseconds FloodBudget::Over(Clock::time_point now)
{
    bool calm = true;
    for (const Allowance* each : {&mItems, &mBytes, &mLiveFrames, &mLiveBytes})
        calm = calm && each->AtLeast(kCalm, now);
    if (calm) mOver = false;
    return mOver ? std::chrono::floor<std::chrono::milliseconds>(now - mOverSince)
                 : std::chrono::milliseconds();
}

}  // namespace zephyl
