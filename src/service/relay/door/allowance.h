#pragma once
// So much a second, and what was not used of it up to a bound. Pure: the time is passed in.

#include <algorithm>
#include <chrono>
#include <string>
#include <unordered_map>

namespace zephyl {

class Allowance {
public:
    using Clock = std::chrono::steady_clock;

    /// Begins full. Nothing a second: there is no limit.
    Allowance(double aSecond, double most, Clock::time_point now)
        : mASecond(aSecond), mMost(most), mLeft(most), mAt(now)
    {
    }
    /// Taken in any case; what is missing becomes a debt.
    void Spend(double amount, Clock::time_point now)
    {
        if (mASecond <= 0) return;
        mLeft = Left(now) - amount;
        mAt = now;
    }
    double Left(Clock::time_point now) const
    {
        return std::max(mLeft, std::min(mMost, mLeft + mASecond * Seconds(now)));
    }
    /// Nothing could be used until now: all of it is added, whatever the bound.
    void Unspent(Clock::time_point now)
    {
        mLeft += mASecond * Seconds(now);
        mAt = now;
    }
    /// Until this much is there; 0: it is.
    std::chrono::milliseconds WaitFor(double amount, Clock::time_point now) const
    {
        if (mASecond <= 0 || Left(now) >= amount) return {};
        const double seconds = (amount - Left(now)) / mASecond;
        return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    }
    /// At least this part of the bound is there.
    bool AtLeast(double part, Clock::time_point now) const
    {
        return mASecond <= 0 || Left(now) >= part * mMost;
    }

private:
    double Seconds(Clock::time_point now) const { return std::chrono::duration<double>(now - mAt).count(); }

    double mASecond, mMost, mLeft;
    Clock::time_point mAt;
};

/// One for each name that others give. At their bound those go first that have used least of theirs.
class Allowances {
public:
    explicit Allowances(double aMinute) : mAMinute(aMinute) {}

    Allowance& Of(const std::string& name, Allowance::Clock::time_point now)
    {
        for (const double part : {1.0, 0.5, 0.0})
            if (mByName.size() >= kMost)
                std::erase_if(mByName, [&](const auto& one) { return one.second.AtLeast(part, now); });
        if (mByName.size() >= kMost) mByName.clear();
        return mByName.try_emplace(name, mAMinute / 60, mAMinute, now).first->second;
    }
    /// So much of it is used at least, as others know.
    void AtLeastUsed(const std::string& name, double used, Allowance::Clock::time_point now)
    {
        if (used <= 0 || mAMinute <= 0) return;
        Allowance& one = Of(name, now);
        one.Spend(std::max(0.0, one.Left(now) - (mAMinute - used)), now);
    }
    double AMinute() const { return mAMinute; }
    /// Null: nothing of it was used.
    const Allowance* Find(const std::string& name) const
    {
        const auto at = mByName.find(name);
        return at == mByName.end() ? nullptr : &at->second;
    }

private:
    static constexpr std::size_t kMost = 10'000;
    double mAMinute;
    std::unordered_map<std::string, Allowance> mByName;
};

}  // namespace zephyl
