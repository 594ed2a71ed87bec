#pragma once
// What was heard beside what was said: two runs of 48 kHz that begin at the same moment.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace heard {

using Sound = std::vector<std::int16_t>;
constexpr std::size_t kRate = 48'000, kStep = kRate / 100;

/// Of each 10 ms.
inline std::vector<double> Loudness(const Sound& sound)
{
    std::vector<double> loudness;
    for (std::size_t at = 0; at + kStep <= sound.size(); at += kStep) {
        double power = 0;
        for (std::size_t i = at; i < at + kStep; ++i) power += double(sound[i]) * sound[i];
        loudness.push_back(std::sqrt(power / kStep));
    }
    return loudness;
}

/// The loudest sample between two seconds; `until` 0: the end.
inline int Loudest(const Sound& sound, double from = 0, double until = 0)
{
    const std::size_t end = until > 0 ? std::min(sound.size(), std::size_t(until * kRate)) : sound.size();
    int loudest = 0;
    for (std::size_t i = std::size_t(from * kRate); i < end; ++i)
        loudest = std::max(loudest, std::abs(int(sound[i])));
    return loudest;
}

/// When something is heard again from that second on; -1: it is not.
inline double FirstAfter(const Sound& sound, double from)
{
    constexpr int kAudible = 300;
    for (std::size_t i = std::size_t(from * kRate); i < sound.size(); ++i)
        if (std::abs(int(sound[i])) > kAudible) return double(i) / kRate;
    return -1;
}

/// The longest stretch of silence within these seconds.
inline double LongestGap(const Sound& sound, double from, double until)
{
    double longest = 0;
    for (double at = from; at < until;) {
        const double next = FirstAfter(sound, at);
        longest = std::max(longest, (next < 0 ? until : std::min(next, until)) - at);
        if (next < 0) break;
        at = next + 0.01;
    }
    return longest;
}

/// How alike the loudness of both runs, of 1, where the second one fits best within half a second.
inline double Alike(const Sound& said, const Sound& heard)
{
    const std::vector<double> a = Loudness(said), b = Loudness(heard);
    double best = 0;
    for (std::size_t lag = 0; lag < 50; ++lag) {
        double both = 0, own = 0, other = 0;
        for (std::size_t i = 0; i + lag < std::min(a.size(), b.size()); ++i) {
            both += a[i] * b[i + lag];
            own += a[i] * a[i];
            other += b[i + lag] * b[i + lag];
        }
        if (own > 0 && other > 0) best = std::max(best, both / std::sqrt(own * other));
    }
    return best;
}

struct Way {
    std::vector<double> delaysMs;  // of each loud tenth of a second that can be found again, sorted
    double decibels = 0;           // mean over those of signal to difference, each as loud as it fits best
    double found = 0;              // of those that are loud, of 1
    double At(double part) const
    {
        return delaysMs.empty() ? -1 : delaysMs[std::size_t(part * double(delaysMs.size() - 1))];
    }
};

/// From mouth to ear, piece by piece, by the sound itself.
inline Way Measure(const Sound& said, const Sound& heard)
{
    constexpr std::size_t kPiece = kRate / 10, kMost = 2 * kRate / 5, kCoarse = 8, kFine = 1;
    constexpr double kLoud = 400, kFound = 0.5;
    Way way;
    int loud = 0;
    for (std::size_t at = 0; at + kPiece + kMost < std::min(said.size(), heard.size()); at += kPiece) {
        double own = 0;
        for (std::size_t i = at; i < at + kPiece; ++i) own += double(said[i]) * said[i];
        if (std::sqrt(own / kPiece) < kLoud) continue;
        ++loud;
        double best = 0;
        std::size_t bestLag = 0;
        const auto look = [&](std::size_t from, std::size_t until, std::size_t step) {
            for (std::size_t lag = from; lag < until; lag += step) {
                double both = 0, other = 0;
                for (std::size_t i = at; i < at + kPiece; i += step == kFine ? 1 : 4) {
                    both += double(said[i]) * heard[i + lag];
                    other += double(heard[i + lag]) * heard[i + lag];
                }
                const double scale = step == kFine ? 1 : 4;
                if (both <= 0 || other == 0) continue;
                const double fit = std::min(1.0, scale * both * both / (own * other));
                if (fit > best) best = fit, bestLag = lag;
            }
        };
        look(0, kMost, kCoarse);
        best = 0;
        look(bestLag > kCoarse ? bestLag - kCoarse : 0, bestLag + kCoarse, kFine);
        if (best < kFound * kFound) continue;
        way.delaysMs.push_back(1000.0 * double(bestLag) / kRate);
        way.decibels -= 10 * std::log10(std::max(1e-4, 1 - best));
    }
    way.found = loud == 0 ? 0 : double(way.delaysMs.size()) / loud;
    way.decibels /= std::max<double>(1, double(way.delaysMs.size()));
    std::sort(way.delaysMs.begin(), way.delaysMs.end());
    return way;
}

}  // namespace heard
