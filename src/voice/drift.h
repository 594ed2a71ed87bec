#pragma once
// Two sound cards never run alike. Says by how much to hurry what is played so that it neither piles up nor
// runs dry. Pure.

#include <algorithm>

namespace voice {

class Drift {
public:
    /// `excessMs`: how much longer than meant the next packet has waited. Asked for each packet that is
    /// played. The result, in millionths: above 0 plays quicker. Nobody hears half a per cent.
    int Follow(double excessMs)
    {
        constexpr double kFollows = 0.02, kPerMs = 60, kSums = 0.05, kMostSum = 1000, kMost = 5000;
        mSmooth += (excessMs - mSmooth) * kFollows;
        mSum = std::clamp(mSum + mSmooth * kSums, -kMostSum, kMostSum);
        const double wanted = std::clamp(mSmooth * kPerMs + mSum, -kMost, kMost);
        return int(wanted / kGrain) * kGrain;
    }

private:
    static constexpr int kGrain = 20;  // so that the resampler is not changed for nothing
    double mSmooth = 0, mSum = 0;
};

}  // namespace voice
