#pragma once
// How often an account may try meeting codes that are none, and enter meetings at all. Any thread; the time
// is passed in.

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "service/relay/door/allowance.h"
#include "service/relay/door/shared_counts.h"
#include "service/relay/options.h"

namespace zephyl {

/// Outside an address is as cheap as an account.
enum class Side { Inside, Outside };

class EntryLimits {
public:
    using Clock = std::chrono::steady_clock;

    explicit EntryLimits(const RelayBudgets& budgets);
    /// From now on; what was used is forgotten.
    void Replace(const RelayBudgets& budgets);
    /// How long until a code of this account is looked at; 0: now. An address that guesses too much slows
    /// down only those of its accounts that have guessed: somebody else there with a right code gets in.
    /// Outside it slows down everybody.
    std::chrono::milliseconds WaitFor(const std::string& account, const std::string& address,
                                      Clock::time_point now, Side side = Side::Inside);
    void WrongCode(const std::string& account, const std::string& address, Clock::time_point now);
    void Entered(const std::string& account, Clock::time_point now);

    // Where several relays count together. What is used of these they know, and are told.
    std::vector<SharedCounts::Share> Guesses(const std::string& account, const std::string& address) const;
    SharedCounts::Share Entries(const std::string& account) const;
    /// `used`: of Guesses, and of Entries behind them.
    void Learn(const std::string& account, const std::string& address, const std::vector<double>& used,
               Clock::time_point now);

private:
    mutable std::mutex mMutex;
    Allowances mByAccount, mByAddress, mEntered;
};

}  // namespace zephyl
