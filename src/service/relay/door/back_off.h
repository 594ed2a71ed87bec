#pragma once
// Slows down whoever guesses: per account and per address, before a hash is computed. Nobody is locked
// out for good. Any thread.

#include <chrono>
#include <compare>
#include <mutex>
#include <string>
#include <unordered_map>

namespace zephyl {

class BackOff {
public:
    using Clock = std::chrono::steady_clock;

    /// How long this attempt has to wait; zero: go ahead.
    std::chrono::milliseconds WaitFor(const std::string& account, const std::string& address,
                                      Clock::time_point now);
    /// The same wrong password again counts once: a client with an old one stored is no guesser.
    void Wrong(const std::string& account, const std::string& address, const std::string& password,
               Clock::time_point now);
    void Right(const std::string& account, const std::string& address);
    /// Too many waited, so this one was not looked at. Who asks again at once is behind those who do not.
    void TurnedAway(const std::string& address, Clock::time_point now);
    /// What speaks against an attempt: wrong passwords lately, and for the address how often it was turned
    /// away since it was right. Less is better, and the address says more than the account, which is at the
    /// mercy of others.
    struct Blame {
        int ofAddress = 0, ofAccount = 0;
        auto operator<=>(const Blame&) const = default;
    };
    Blame Lately(const std::string& account, const std::string& address, Clock::time_point now);

private:
    struct Record {
        int failures = 0;
        std::size_t lastWrong = 0;  // salted
        Clock::time_point until{}, last{};
    };
    using Records = std::unordered_map<std::string, Record>;
    static void Count(Record& record, int free, std::size_t wrong, Clock::time_point now);
    static void Forget(Records& records, Clock::time_point now);

    std::mutex mMutex;
    Records mAccounts, mAddresses;
    Records mTurnedAway;  // addresses; apart, so that no flood without hashes makes the others forgotten
    std::size_t mSalt =
        std::hash<const void*>()(this) ^ static_cast<std::size_t>(Clock::now().time_since_epoch().count());
};

}  // namespace zephyl
