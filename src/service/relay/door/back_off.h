#pragma once
// Slows down whoever guesses, before a hash is computed: per account and per address for strangers, per
// device for whoever has logged in before. So nobody is locked out by what others try. Any thread.

#include <chrono>
#include <compare>
#include <mutex>
#include <string>
#include <unordered_map>

#include "service/relay/door/allowance.h"

namespace zephyl {

/// Of one address, at accounts that are guessed at.
inline constexpr double kSpareTriesAMinute = 3;

/// One attempt to log in.
struct Attempt {
    std::string account;  // folded handle
    std::string address;  // as AddressGroup says
    std::string device;   // by what it is known to have been in before; "": a stranger
    bool spare =
        false;  // set by WaitFor: only its own address speaks for it, the account is being guessed at

    /// Whose attempts are one after the other.
    const std::string& Who() const { return device.empty() ? address : device; }
};

class BackOff {
public:
    using Clock = std::chrono::steady_clock;

    /// What is held against one account, address or device.
    struct Record {
        int failures = 0;
        std::size_t lastWrong = 0;  // salted
        Clock::time_point until{}, last{};
    };
    /// Against an attempt. Of who is known it is the device's alone that counts, of strangers the others.
    struct Standing {
        Record account, address, device;
    };

    /// `key`: of several that count together, so that they know the same wrong password.
    explicit BackOff(std::string key = {});

    /// How long this attempt has to wait; zero: go ahead. An address that is not slowed down itself has a few
    /// tries a minute at accounts that are.
    std::chrono::milliseconds WaitFor(Attempt& attempt, Clock::time_point now);
    /// The same wrong password again counts once: a client with an old one stored is no guesser.
    void Wrong(const Attempt& attempt, const std::string& password, Clock::time_point now);
    /// The account stays slow for strangers: whoever is right is known from now on.
    void Right(const Attempt& attempt);
    /// Too many waited, so this one was not looked at. Who asks again at once is behind those who do not.
    void TurnedAway(const Attempt& attempt, Clock::time_point now);
    /// Another one has so much to say against an address: here it comes behind others, too. It does not have
    /// to wait for that.
    void Heard(const std::string& address, int blame, Clock::time_point now);
    /// What speaks against an attempt: wrong passwords lately, and for whom it comes from how often that was
    /// turned away since it was right. Less is better, and the address says more than the account, which is
    /// at the mercy of others.
    struct Blame {
        int ofAddress = 0, ofAccount = 0;
        auto operator<=>(const Blame&) const = default;
    };
    Blame Lately(const Attempt& attempt, Clock::time_point now);

    // Where several count together. These take over what they all know, and give back what that has become.
    /// As WaitFor, but once more: a spare try is not taken again.
    std::chrono::milliseconds WaitFor(Attempt& attempt, const Standing& known, Clock::time_point now);
    Standing Wrong(const Attempt& attempt, const Standing& known, const std::string& password,
                   Clock::time_point now);
    Standing Right(const Attempt& attempt, const Standing& known);

private:
    using Records = std::unordered_map<std::string, Record>;
    std::chrono::milliseconds Wait(Attempt& attempt, Clock::time_point now);
    void CountWrong(const Attempt& attempt, const std::string& password, Clock::time_point now);
    void CountRight(const Attempt& attempt);
    void TakeOver(const Attempt& attempt, const Standing& known, Clock::time_point now);
    Standing StandingOf(const Attempt& attempt) const;
    std::size_t Salted(const Attempt& attempt, const std::string& password) const;
    static void Count(Record& record, int free, std::size_t wrong, Clock::time_point now);
    static void Forget(Records& records, Clock::time_point now);
    static Clock::time_point Until(const Records& records, const std::string& name);
    static int Failures(const Records& records, const std::string& name, Clock::time_point now);

    const std::string mKey;
    std::mutex mMutex;
    Records mAccounts, mAddresses, mDevices;  // strangers', strangers', of an account and a device
    Records mTurnedAway;  // apart, so that no flood without hashes makes the others forgotten
    Allowances mSpare;    // of addresses, at accounts that are guessed at
    std::size_t mSalt =
        std::hash<const void*>()(this) ^ static_cast<std::size_t>(Clock::now().time_since_epoch().count());
};

}  // namespace zephyl
