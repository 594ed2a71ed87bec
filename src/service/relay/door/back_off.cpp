#include "service/relay/door/back_off.h"

#include <algorithm>

namespace zephyl {
namespace {

constexpr int kFreePerAccount = 5;        // wrong passwords before it slows down
constexpr int kFreePerAddress = 12;       // 200 addresses with 10,000 guesses get 4,000 of them looked at
constexpr int kLongestShift = 6;          // 1 s doubling to 64 s
constexpr std::size_t kRecords = 10'000;  // then the old ones go
constexpr std::chrono::minutes kMemory{15};

}  // namespace

std::chrono::milliseconds BackOff::WaitFor(const std::string& account, const std::string& address,
                                           Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    Clock::time_point until{};
    if (const auto at = mAccounts.find(account); at != mAccounts.end()) until = at->second.until;
    if (const auto at = mAddresses.find(address); at != mAddresses.end())
        until = std::max(until, at->second.until);
    if (until <= now) return {};
    return std::chrono::ceil<std::chrono::milliseconds>(until - now);
}

void BackOff::Wrong(const std::string& account, const std::string& address, const std::string& password,
                    Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    Forget(mAccounts, now);
    Forget(mAddresses, now);
    const std::size_t wrong = std::hash<std::string>()(account + '\0' + password) ^ mSalt;
    Count(mAccounts[account], kFreePerAccount, wrong, now);
    Count(mAddresses[address], kFreePerAddress, wrong, now);
}

void BackOff::Right(const std::string& account, const std::string& address)
{
    const std::lock_guard lock(mMutex);
    mAccounts.erase(account);
    mTurnedAway.erase(address);
    const auto at = mAddresses.find(address);
    if (at != mAddresses.end() && at->second.failures > 0) --at->second.failures;
}

void BackOff::TurnedAway(const std::string& address, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    Forget(mTurnedAway, now);
    Record& record = mTurnedAway[address];
    ++record.failures;
    record.last = now;
}

BackOff::Blame BackOff::Lately(const std::string& account, const std::string& address, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    const auto failures = [now](const Records& records, const std::string& name) {
        const auto at = records.find(name);
        return at == records.end() || now - at->second.last > kMemory ? 0 : at->second.failures;
    };
    return {failures(mAddresses, address) + failures(mTurnedAway, address), failures(mAccounts, account)};
}

void BackOff::Count(Record& record, int free, std::size_t wrong, Clock::time_point now)
{
    if (now - record.last > kMemory) record = {};
    record.last = now;
    if (record.failures > 0 && record.lastWrong == wrong) return;
    record.lastWrong = wrong;
    if (++record.failures < free) return;
    record.until = now + std::chrono::seconds(1 << std::min(record.failures - free, kLongestShift));
}

void BackOff::Forget(Records& records, Clock::time_point now)
{
    if (records.size() < kRecords) return;
    std::erase_if(records, [&](const auto& entry) { return now - entry.second.last > kMemory; });
    if (records.size() >= kRecords) records.clear();  // a flood of names: the addresses still slow it down
}

}  // namespace zephyl
