#include "service/relay/door/back_off.h"

#include <sodium.h>

#include <algorithm>
#include <vector>

namespace zephyl {
namespace {

constexpr int kFreePerAccount = 5;        // wrong passwords before it slows down
constexpr int kFreePerAddress = 12;       // 200 addresses with 10,000 guesses get 4,000 of them looked at
constexpr int kLongestShift = 6;          // 1 s doubling to 64 s
constexpr std::size_t kRecords = 10'000;  // then the old ones go
constexpr std::chrono::minutes kMemory{15};

std::string DeviceOf(const Attempt& attempt)
{
    return attempt.account + '\0' + attempt.device;
}

std::string NameOf(const Attempt& attempt)
{
    return attempt.device.empty() ? attempt.address : DeviceOf(attempt);
}

}  // namespace

BackOff::BackOff(std::string key) : mKey(std::move(key)), mSpare(kSpareTriesAMinute) {}

std::chrono::milliseconds BackOff::WaitFor(Attempt& attempt, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    return Wait(attempt, now);
}

std::chrono::milliseconds BackOff::WaitFor(Attempt& attempt, const Standing& known, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    TakeOver(attempt, known, now);
    return Wait(attempt, now);
}

std::chrono::milliseconds BackOff::Wait(Attempt& attempt, Clock::time_point now)
{
    Clock::time_point until =
        attempt.device.empty() ? Until(mAddresses, attempt.address) : Until(mDevices, DeviceOf(attempt));
    if (attempt.device.empty() && !attempt.spare && until <= now && Until(mAccounts, attempt.account) > now) {
        Allowance& spare = mSpare.Of(attempt.address, now);
        attempt.spare = spare.WaitFor(1, now).count() == 0;
        if (attempt.spare)
            spare.Spend(1, now);
        else
            until = std::min(Until(mAccounts, attempt.account), now + spare.WaitFor(1, now));
    }
    if (until <= now) return {};
    return std::chrono::ceil<std::chrono::milliseconds>(until - now);
}

void BackOff::Wrong(const Attempt& attempt, const std::string& password, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    CountWrong(attempt, password, now);
}

BackOff::Standing BackOff::Wrong(const Attempt& attempt, const Standing& known, const std::string& password,
                                 Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    TakeOver(attempt, known, now);
    CountWrong(attempt, password, now);
    return StandingOf(attempt);
}

BackOff::Standing BackOff::Right(const Attempt& attempt, const Standing& known)
{
    const std::lock_guard lock(mMutex);
    TakeOver(attempt, known, Clock::now());
    CountRight(attempt);
    return StandingOf(attempt);
}

// What several remember together is written down, and whoever reads that must not learn the password that
// somebody has nearly typed: so little of it is kept that one guess in 65,536 goes uncounted.
std::size_t BackOff::Salted(const Attempt& attempt, const std::string& password) const
{
    const std::string text = attempt.account + '\0' + password;
    if (mKey.empty()) return std::hash<std::string>()(text) ^ mSalt;
    unsigned char hash[crypto_generichash_BYTES];
    crypto_generichash(hash, sizeof hash, reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                       reinterpret_cast<const unsigned char*>(mKey.data()), mKey.size());
    return hash[0] | std::size_t{hash[1]} << 8u;
}

void BackOff::TakeOver(const Attempt& attempt, const Standing& known, Clock::time_point now)
{
    const auto take = [&](Records& records, const std::string& name, const Record& record) {
        Forget(records, now);
        if (record.failures > 0)
            records[name] = record;
        else
            records.erase(name);
    };
    if (!attempt.device.empty()) return take(mDevices, DeviceOf(attempt), known.device);
    take(mAccounts, attempt.account, known.account);
    take(mAddresses, attempt.address, known.address);
}

BackOff::Standing BackOff::StandingOf(const Attempt& attempt) const
{
    const auto of = [](const Records& records, const std::string& name) {
        const auto at = records.find(name);
        return at == records.end() ? Record{} : at->second;
    };
    if (!attempt.device.empty()) return {{}, {}, of(mDevices, DeviceOf(attempt))};
    return {of(mAccounts, attempt.account), of(mAddresses, attempt.address), {}};
}

void BackOff::CountWrong(const Attempt& attempt, const std::string& password, Clock::time_point now)
{
    const std::size_t wrong = Salted(attempt, password);
    for (Records* records : {&mAccounts, &mAddresses, &mDevices}) Forget(*records, now);
    if (!attempt.device.empty()) return Count(mDevices[DeviceOf(attempt)], kFreePerAddress, wrong, now);
    Count(mAccounts[attempt.account], kFreePerAccount, wrong, now);
    Count(mAddresses[attempt.address], kFreePerAddress, wrong, now);
}

void BackOff::Right(const Attempt& attempt)
{
    const std::lock_guard lock(mMutex);
    CountRight(attempt);
}

void BackOff::CountRight(const Attempt& attempt)
{
    mTurnedAway.erase(NameOf(attempt));
    if (!attempt.device.empty()) {
        mDevices.erase(DeviceOf(attempt));
        return;
    }
    const auto at = mAddresses.find(attempt.address);
    if (at != mAddresses.end() && at->second.failures > 0) --at->second.failures;
}

void BackOff::TurnedAway(const Attempt& attempt, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    if (attempt.spare) mSpare.Of(attempt.address, now).Spend(-1, now);
    Forget(mTurnedAway, now);
    Record& record = mTurnedAway[NameOf(attempt)];
    ++record.failures;
    record.last = now;
}

void BackOff::Heard(const std::string& address, int blame, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    Forget(mTurnedAway, now);
    Record& record = mTurnedAway[address];
    record.failures = std::max(record.failures, blame);
    record.last = now;
}

BackOff::Blame BackOff::Lately(const Attempt& attempt, Clock::time_point now)
{
    const std::lock_guard lock(mMutex);
    const int turnedAway = Failures(mTurnedAway, NameOf(attempt), now);
    if (!attempt.device.empty()) return {turnedAway + Failures(mDevices, DeviceOf(attempt), now), 0};
    return {turnedAway + Failures(mAddresses, attempt.address, now),
            Failures(mAccounts, attempt.account, now)};
}

BackOff::Clock::time_point BackOff::Until(const Records& records, const std::string& name)
{
    const auto at = records.find(name);
    return at == records.end() ? Clock::time_point{} : at->second.until;
}

int BackOff::Failures(const Records& records, const std::string& name, Clock::time_point now)
{
    const auto at = records.find(name);
    return at == records.end() || now - at->second.last > kMemory ? 0 : at->second.failures;
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

// A flood of names makes the older half forgotten: who guesses all the time stays known.
void BackOff::Forget(Records& records, Clock::time_point now)
{
    if (records.size() < kRecords) return;
    std::erase_if(records, [&](const auto& entry) { return now - entry.second.last > kMemory; });
    if (records.size() < kRecords) return;
    std::vector<Clock::time_point> times;
    for (const auto& [name, record] : records) times.push_back(record.last);
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    std::erase_if(records, [&](const auto& entry) { return entry.second.last <= *middle; });
}

}  // namespace zephyl
