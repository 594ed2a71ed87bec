#pragma once
// The accounts, wherever they stand: in a file of the service's own (sqlite_accounts.h), or in a database
// that several relays share (postgres_accounts.h). Any thread: each call is a step of its own, and blocks.
// What a call has answered is safe.

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "service/relay/door/ban_list.h"

namespace zephyl {

class SharedCounts;

/// The store cannot do what was asked: disk, damage, a database that is away, or a name that is taken.
struct AccountError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// How long a mailed password is good.
inline constexpr std::int64_t kMailedSeconds = 15 * 60;
/// How long an account waits between two mails.
inline constexpr std::int64_t kMailTurnSeconds = 10 * 60;

/// A password that was mailed to somebody and not used yet. Seconds since 1970.
struct MailedPassword {
    std::string hash;  // "": none
    std::int64_t at = 0;

    /// For 15 minutes; a clock that was set back does not make them longer.
    bool Good(std::int64_t now) const;
};

struct Account {
    std::string handle;  // the account's own spelling
    std::string passwordHash;
    std::string address;          // for mail; may be empty
    bool permitted = true;        // may enter meetings
    std::int64_t generation = 0;  // rises with each new password
    bool guest = false;           // made from outside a person's own service; goes when that closes
    MailedPassword mailed;        // gone with each new password, and with a new address
};

/// What somebody else has changed in a store that is shared.
struct AccountNews {
    enum class Of { Anything, Account, Bans, Devices } of = Of::Anything;
    std::string key;  // the folded handle, of an account and its devices
};

/// How the store is doing. Of a file of one's own there is nothing to say.
struct AccountsHealth {
    std::string where;             // "": a file in the data folder
    std::string problem;           // "": it answers
    std::int64_t awaySeconds = 0;  // since when it does not
};

class Accounts {
public:
    Accounts() = default;
    virtual ~Accounts() = default;
    Accounts(const Accounts&) = delete;
    Accounts& operator=(const Accounts&) = delete;

    /// By any spelling. None: no such account, or no handle at all.
    virtual std::optional<Account> Find(const std::string& handle) const = 0;
    /// In order of the handles.
    virtual std::vector<Account> List() const = 0;
    /// Throws AccountError when it is no handle, or is taken by an equal or a look-alike one.
    virtual Account Add(const std::string& handle, const std::string& passwordHash,
                        const std::string& address) = 0;
    virtual Account AddGuest(const std::string& handle, const std::string& passwordHash) = 0;
    /// The handles of those who were there.
    virtual std::vector<std::string> RemoveGuests() = 0;
    // These return false when there is no such account.
    virtual bool Remove(const std::string& handle) = 0;
    virtual bool SetPassword(const std::string& handle, const std::string& passwordHash) = 0;
    virtual bool SetPermitted(const std::string& handle, bool permitted) = 0;
    virtual bool SetAddress(const std::string& handle, const std::string& address) = 0;

    // Mailed passwords.
    /// Takes the account's turn: one in ten minutes. Otherwise how many seconds until the next. Throws
    /// AccountError when there is no such account.
    virtual std::int64_t TakeMailTurn(const std::string& handle, std::int64_t now) = 0;
    /// No mail went after all.
    virtual void GiveMailTurnBack(const std::string& handle, std::int64_t now) = 0;
    /// False: `before` is not the one that is there any more.
    virtual bool SetMailed(const std::string& handle, const MailedPassword& before,
                           const MailedPassword& after) = 0;
    /// It was used, and is the account's password from now on. False: it was used, replaced or taken back
    /// meanwhile.
    virtual bool UseMailed(const std::string& handle, const std::string& hash) = 0;

    // What is known of each account's devices, in KnownDevices' own words. Goes with the account.
    virtual std::vector<std::pair<std::string, std::string>> Devices() const = 0;  // by folded handle
    /// "" where there are none.
    virtual std::string DevicesOf(const std::string& key) const = 0;
    virtual void SaveDevices(const std::string& key, const std::string& text) = 0;

    /// Those that still hold, the ones for good first.
    virtual std::vector<Ban> Bans() const = 0;
    /// Throws AccountError, also when there are too many.
    virtual void SetBan(const Ban& ban) = 0;
    /// False: there is none.
    virtual bool RemoveBan(const Ban& ban) = 0;

    /// The whole store at one moment, as the bytes of a file as SqliteAccounts has it. Throws AccountError.
    virtual std::string Image() const = 0;

    /// 20 hexadecimal digits, drawn once for the whole service.
    virtual std::string ServerKey() = 0;

    // --- of a store that several relays share ---
    /// What they count together; null: this one counts alone.
    virtual SharedCounts* Shared() const { return nullptr; }
    /// From now on `tell` runs, on a thread of the store's, for whatever changes, and with Of::Anything when
    /// something may have been missed. Once. EndWatch waits for it,
    /// and for what Shared was given to do.
    virtual void Watch(std::function<void(const AccountNews&)> tell);
    virtual void EndWatch() {}
    virtual AccountsHealth Health() const { return {}; }
};

/// Says why it is none.
[[noreturn]] void RefuseHandle(const std::string& handle);
[[noreturn]] void RefuseTaken(const std::string& handle, const std::string& like);
[[noreturn]] void RefuseBans();

}  // namespace zephyl
