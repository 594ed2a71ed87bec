#pragma once
// What one session may send. Each frame is counted once, however many receive it. Pure: the time is passed
// in.

#include "service/relay/door/allowance.h"
#include "service/relay/options.h"
#include "service/wire/framing.h"

namespace zephyl {

class FloodBudget {
public:
    using Clock = std::chrono::steady_clock;

    FloodBudget(const RelayBudgets& budgets, Clock::time_point now);

    void Charge(const FrameView& frame, Clock::time_point now);
    /// A live frame that came beside the connection.
    void ChargeLive(std::size_t bytes, Clock::time_point now);
    /// A packet of voice, its bytes beside it. False: over the budget for these, so it goes to nobody; that
    /// alone makes nothing else wait.
    bool TakeVoice(Clock::time_point now);
    /// One that came beside the connection.
    void ChargeVoice(std::size_t bytes, Clock::time_point now);
    /// So many lines were sent to this session: it may answer each with a receipt to one.
    void MayAnswer(int lines);
    /// A time without a connection, in which nothing could be used, is over.
    void Returned(Clock::time_point now);

    /// How long nothing of it is read; 0: go on.
    std::chrono::milliseconds Pause(Clock::time_point now) const;
    /// How long it has been over its budget without a break.
    std::chrono::milliseconds Over(Clock::time_point now);

private:
    bool IsAnswer(const FrameView& frame);
    void Look(Clock::time_point now);

    Allowance mItems, mBytes, mLiveFrames, mLiveBytes, mVoice;
    int mAnswers = 0;
    Clock::time_point mOverSince;
    bool mOver = false;
};

}  // namespace zephyl
