#include "service/relay/door/entry_limits.h"

#include "service/relay/door/address_group.h"

namespace zephyl {

EntryLimits::EntryLimits(const RelayBudgets& budgets)
    : mByAccount(static_cast<double>(budgets.codesPerAccount)),
      mByAddress(static_cast<double>(budgets.codesPerAddress)),
      mEntered(static_cast<double>(budgets.entries))
{
}

void EntryLimits::Replace(const RelayBudgets& budgets)
{
    const std::lock_guard lock(mMutex);
    mByAccount = Allowances(static_cast<double>(budgets.codesPerAccount));
    mByAddress = Allowances(static_cast<double>(budgets.codesPerAddress));
    mEntered = Allowances(static_cast<double>(budgets.entries));
}

std::chrono::milliseconds EntryLimits::WaitFor(const std::string& account, const std::string& address,
                                               Clock::time_point now, Side side)
{
    const std::lock_guard lock(mMutex);
    std::chrono::milliseconds wait{};
    const auto ask = [&](const Allowance* used) {
        if (used) wait = std::max(wait, used->WaitFor(1, now));
    };
    const Allowance* guessed = mByAccount.Find(account);
    ask(guessed);
    ask(mEntered.Find(account));
    if (side == Side::Outside || (guessed && !guessed->AtLeast(1, now)))
        ask(mByAddress.Find(AddressGroup(address)));
    return wait;
}

void EntryLimits::WrongCode(const std::string& account, const std::string& address, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    mByAccount.Of(account, now).Spend(1, now);
    mByAddress.Of(AddressGroup(address), now).Spend(1, now);
}

void EntryLimits::Entered(const std::string& account, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    mEntered.Of(account, now).Spend(1, now);
}

std::vector<SharedCounts::Share> EntryLimits::Guesses(const std::string& account,
                                                      const std::string& address) const
{
    const std::lock_guard lock(mMutex);
    return {{"codes of " + account, mByAccount.AMinute()},
            {"codes from " + AddressGroup(address), mByAddress.AMinute()}};
}

SharedCounts::Share EntryLimits::Entries(const std::string& account) const
{
    const std::lock_guard lock(mMutex);
    return {"entries of " + account, mEntered.AMinute()};
}

void EntryLimits::Learn(const std::string& account, const std::string& address,
                        const std::vector<double>& used, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    mByAccount.AtLeastUsed(account, used.at(0), now);
    mByAddress.AtLeastUsed(AddressGroup(address), used.at(1), now);
    mEntered.AtLeastUsed(account, used.at(2), now);
}

}  // namespace zephyl
