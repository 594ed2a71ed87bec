#include "service/relay/door/entry_limits.h"

namespace zephyl {
namespace {
constexpr std::size_t kRecords = 10'000;  // then those that have been calm go
}

std::chrono::milliseconds EntryLimits::WaitFor(const std::string& account, const std::string& address,
                                               Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    std::chrono::milliseconds wait{};
    const auto ask = [&](const Records& records, const std::string& name) {
        const auto at = records.find(name);
        if (at != records.end()) wait = std::max(wait, at->second.WaitFor(1, now));
    };
    ask(mByAccount, account);
    ask(mEntered, account);
    const auto guessed = mByAccount.find(account);
    if (guessed != mByAccount.end() && !guessed->second.AtLeast(1, now)) ask(mByAddress, address);
    return wait;
}

void EntryLimits::WrongCode(const std::string& account, const std::string& address, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    Of(mByAccount, account, mBudgets.codesPerAccount, now).Spend(1, now);
    Of(mByAddress, address, mBudgets.codesPerAddress, now).Spend(1, now);
}

void EntryLimits::Entered(const std::string& account, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    Of(mEntered, account, mBudgets.entries, now).Spend(1, now);
}

Allowance& EntryLimits::Of(Records& records, const std::string& name, std::size_t aMinute,
                           Clock::time_point now)
{
    if (records.size() >= kRecords) {
        std::erase_if(records, [&](const auto& known) { return known.second.AtLeast(1, now); });
        if (records.size() >= kRecords) records.clear();
    }
    return records.try_emplace(name, static_cast<double>(aMinute) / 60, static_cast<double>(aMinute), now)
        .first->second;
}

}  // namespace zephyl
