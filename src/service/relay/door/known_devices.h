#pragma once
// From where, and with what, each account has logged in before: who comes like that is no stranger, and has
// an own budget for wrong passwords. Nobody gets in by it. Any thread.

#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "service/relay/door/accounts.h"

namespace zephyl {

class KnownDevices {
public:
    /// Of each account as many addresses, and as many words; then the ones not used for longest go.
    static constexpr std::size_t kEach = 8;

    /// Reads what the store has. Throws AccountError.
    explicit KnownDevices(Accounts& accounts);

    /// The name of what is known of this login: its word, else its address. None: a stranger.
    std::optional<std::string> Recognise(const std::string& account, const std::string& address,
                                         const std::optional<std::string>& word) const;
    /// The password was right. `word`: what the device has; none: it would not keep one. Returns a new word
    /// for it, or "" when it needs none.
    std::string Met(const std::string& account, const std::string& address,
                    const std::optional<std::string>& word);
    /// Writes down what Met has changed. What cannot be written is known until the process ends.
    void Save(const std::string& account);
    /// Another relay has written that.
    void Learn(const std::string& account, const std::string& text);

private:
    struct Known {
        std::vector<std::string> addresses, words;  // of words the hashes; the last used first
        bool changed = false;
    };
    static Known Read(const std::string& text);
    Accounts& mAccounts;
    mutable std::mutex mMutex;
    std::unordered_map<std::string, Known> mKnown;  // by folded handle
};

}  // namespace zephyl
