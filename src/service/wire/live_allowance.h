#pragma once
// How many live bytes may be on the way to one receiver: what it has answered for just now, and a little
// always, so that a picture is never old because buffers are large. Pure: the time is passed in.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>

namespace zephyl {

class LiveAllowance {
public:
    using Clock = std::chrono::steady_clock;

    void Answered(std::uint64_t bytes, Clock::time_point now)
    {
        if (mLately.empty() || now - mLately.back().at >= kGrain) mLately.push_back({now, 0});
        mLately.back().bytes += bytes;
        mBytes += bytes;
    }
    std::uint64_t Bytes(Clock::time_point now)
    {
        for (; !mLately.empty() && now - mLately.front().at > kWindow; mLately.pop_front())
            mBytes -= mLately.front().bytes;
        return std::max(kAlways, mBytes);
    }

private:
    static constexpr std::chrono::milliseconds kWindow{250};
    static constexpr std::chrono::milliseconds kGrain{5};  // how exact it is remembered
    static constexpr std::uint64_t kAlways = 64 * 1024;

    struct Answer {
        Clock::time_point at;
        std::uint64_t bytes;
    };
    std::deque<Answer> mLately;
    std::uint64_t mBytes = 0;
};

}  // namespace zephyl
