#pragma once
// The accounts, in one SQLite file. Any thread: each call is a step of its own under a lock. What a call
// has answered is on the disk.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "service/relay/door/ban_list.h"

struct sqlite3;

namespace zephyl {

/// The store cannot do what was asked: disk, damage, or a name that is taken.
struct AccountError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// How long a mailed password is good.
inline constexpr std::int64_t kMailedSeconds = 15 * 60;

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

class Accounts {
public:
    /// Opens or makes `data`/accounts.sqlite, mode 0600. Throws AccountError.
    explicit Accounts(const std::filesystem::path& data);
    ~Accounts();
    Accounts(const Accounts&) = delete;
    Accounts& operator=(const Accounts&) = delete;

    /// By any spelling. None: no such account, or no handle at all.
    std::optional<Account> Find(const std::string& handle) const;
    /// In order of the handles.
    std::vector<Account> List() const;
    /// Throws AccountError when it is no handle, or is taken by an equal or a look-alike one.
    Account Add(const std::string& handle, const std::string& passwordHash, const std::string& address);
    Account AddGuest(const std::string& handle, const std::string& passwordHash);
    /// The handles of those who were there.
    std::vector<std::string> RemoveGuests();
    // These return false when there is no such account.
    bool Remove(const std::string& handle);
    bool SetPassword(const std::string& handle, const std::string& passwordHash);
    bool SetPermitted(const std::string& handle, bool permitted);
    bool SetAddress(const std::string& handle, const std::string& address);

    // Mailed passwords.
    /// Takes the account's turn: one in ten minutes. Otherwise how many seconds until the next. Throws
    /// AccountError when there is no such account.
    std::int64_t TakeMailTurn(const std::string& handle, std::int64_t now);
    /// No mail went after all.
    void GiveMailTurnBack(const std::string& handle, std::int64_t now);
    /// False: `before` is not the one that is there any more.
    bool SetMailed(const std::string& handle, const MailedPassword& before, const MailedPassword& after);
    /// It was used, and is the account's password from now on. False: it was used, replaced or taken back
    /// meanwhile.
    bool UseMailed(const std::string& handle, const std::string& hash);

    // What is known of each account's devices, in KnownDevices' own words. Goes with the account.
    std::vector<std::pair<std::string, std::string>> Devices() const;  // by folded handle
    void SaveDevices(const std::string& key, const std::string& text);

    /// Those that still hold, the ones for good first.
    std::vector<Ban> Bans() const;
    /// Throws AccountError, also when there are too many.
    void SetBan(const Ban& ban);
    /// False: there is none.
    bool RemoveBan(const Ban& ban);

    /// The whole store at one moment, as the bytes of a file. Throws AccountError.
    std::string Image() const;
    /// Whether a store that Image gave is sound; "" when it is. Any thread.
    static std::string FaultOf(std::string image);

    /// 20 hexadecimal digits, drawn once for the whole service.
    std::string ServerKey();

private:
    class Statement;
    class AllOrNothing;
    void Run(const char* sql) const;
    Account Insert(const std::string& handle, const std::string& passwordHash, const std::string& address,
                   bool guest);
    bool Change(const char* sql, const std::string& handle, const std::string& value);

    mutable std::mutex mMutex;
    sqlite3* mDb = nullptr;
};

}  // namespace zephyl
