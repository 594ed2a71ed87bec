#include "service/relay/cluster/handing_over.h"

namespace zephyl::jetstream {
using namespace std::chrono_literals;
using std::chrono::milliseconds;
namespace {

constexpr milliseconds kWell = 10s;
constexpr milliseconds kNew = 2s;    // who leads has had no time to hear everybody
constexpr milliseconds kOver = 3s;   // who has not said so for so long leads no more
constexpr milliseconds kAgain = 3s;  // one that was told chooses for itself who follows
// Who hands over chooses among those that it has heard within three seconds. One that hears no leader asks to
// be chosen after four to nine, and then it is late.
constexpr std::uint64_t kNotChosen = kSecond * 61 / 20;

bool IsOne(const std::string& names)
{
    return !names.empty() && names.find(' ') == std::string::npos;
}

}  // namespace

bool HandingOver::MayHelp(const StreamFacts& facts, Clock::time_point now)
{
    if (!facts.led) return false;
    std::erase_if(mLeaders, [&](const auto& one) { return now - one.second.last > kOver; });
    mLeaders.try_emplace(facts.leader, Leader{now, now}).first->second.last = now;
    if (facts.unheard.empty() && facts.away.empty()) {
        if (!mWellSince) mWellSince = now;
    } else if (mWellSince) {
        mWasWell = now - *mWellSince >= kWell;
        mWellSince.reset();
    }
    if (facts.unheard.empty()) {
        mUnheard.clear();
        mInVain = false;
    }
    if (!LeadsBadly(facts, now)) return false;
    if (facts.unheard != mUnheard) {
        mUnheard = facts.unheard;
        mUnheardBy = facts.leader;
        mInVain = false;
    }
    mInVain = mInVain || facts.leader != mUnheardBy;  // the next one does not hear it either
    if (mInVain || (mTried && now - *mTried < kAgain)) return false;
    mTried = now;
    return true;
}

bool HandingOver::WasWell(Clock::time_point now) const
{
    return mWellSince ? now - *mWellSince >= kWell : mWasWell;
}

bool HandingOver::IsTime(const StreamFacts& facts, Clock::time_point now) const
{
    return LeadsBadly(facts, now) && facts.unheardFor >= kNotChosen;
}

bool HandingOver::LeadsBadly(const StreamFacts& facts, Clock::time_point now) const
{
    if (!mWasWell) return false;
    // Who has not everything yet must not lead: what it lacks would be gone for all.
    if (!facts.away.empty() && facts.away != facts.unheard) return false;
    if (mAsked && now - *mAsked < kAgain) return false;
    const auto leader = mLeaders.find(facts.leader);
    return leader != mLeaders.end() && now - leader->second.since >= kNew && IsOne(facts.unheard);
}

}  // namespace zephyl::jetstream
