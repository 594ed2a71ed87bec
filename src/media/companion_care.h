#pragma once
// What is owed to a voice companion while "Talk" is checked: one that has ended is started again, and one
// that has come is told with whom to talk. Pure; the time is passed in.

#include <chrono>

class CompanionCare {
public:
    using Clock = std::chrono::steady_clock;
    enum class Due { Nothing, Start, Tell };

    /// Asked a few times a second. `there`: a companion is at the door. One that keeps ending is started
    /// kMostStarts times, and again when one has stayed.
    Due Look(bool talks, bool there, Clock::time_point now)
    {
        const bool came = there && !mThere;
        mThere = there;
        if (came) mCameAt = now;
        if (there) {
            mWasThere = true;
            if (now - mCameAt >= kStays) mStarts = 0;
            return came && talks ? Due::Tell : Due::Nothing;
        }
        if (!talks || !mWasThere || mStarts == kMostStarts || now - mStartedAt < kStartEvery)
            return Due::Nothing;
        ++mStarts;
        mStartedAt = now;
        return Due::Start;
    }
    /// One was at the door and none is.
    bool HasEnded() const { return mWasThere && !mThere; }

private:
    static constexpr std::chrono::milliseconds kStartEvery{500};  // its window may outlive it a little
    static constexpr std::chrono::seconds kStays{10};
    static constexpr int kMostStarts = 5;

    bool mThere = false, mWasThere = false;
    int mStarts = 0;
    Clock::time_point mCameAt{}, mStartedAt{};
};
