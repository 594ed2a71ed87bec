#pragma once
// The accounts in one SQLite file. Each call is under a lock, and what it has answered is on the disk.

#include <filesystem>
#include <mutex>

#include "service/relay/door/accounts.h"

struct sqlite3;

namespace zephyl {

/// What a store has of one kind, as text.
struct StoredTable {
    std::string name, columns;
    std::vector<std::vector<std::string>> rows;
};
using StoredTables = std::vector<StoredTable>;

class SqliteAccounts final : public Accounts {
public:
    /// Opens or makes `data`/accounts.sqlite, mode 0600. Throws AccountError.
    explicit SqliteAccounts(const std::filesystem::path& data);
    ~SqliteAccounts() override;

    std::optional<Account> Find(const std::string& handle) const override;
    std::vector<Account> List() const override;
    Account Add(const std::string& handle, const std::string& passwordHash,
                const std::string& address) override;
    Account AddGuest(const std::string& handle, const std::string& passwordHash) override;
    std::vector<std::string> RemoveGuests() override;
    bool Remove(const std::string& handle) override;
    bool SetPassword(const std::string& handle, const std::string& passwordHash) override;
    bool SetPermitted(const std::string& handle, bool permitted) override;
    bool SetAddress(const std::string& handle, const std::string& address) override;
    std::int64_t TakeMailTurn(const std::string& handle, std::int64_t now) override;
    void GiveMailTurnBack(const std::string& handle, std::int64_t now) override;
    bool SetMailed(const std::string& handle, const MailedPassword& before,
                   const MailedPassword& after) override;
    bool UseMailed(const std::string& handle, const std::string& hash) override;
    std::vector<std::pair<std::string, std::string>> Devices() const override;
    std::string DevicesOf(const std::string& key) const override;
    void SaveDevices(const std::string& key, const std::string& text) override;
    std::vector<Ban> Bans() const override;
    void SetBan(const Ban& ban) override;
    bool RemoveBan(const Ban& ban) override;
    std::string Image() const override;
    std::string ServerKey() override;

    /// Whether a store that Image gave is sound; "" when it is. Any thread.
    static std::string FaultOf(std::string image);
    // An image taken apart, and put together. These throw AccountError. Any thread.
    static StoredTables NoTables();
    static StoredTables TablesOf(std::string image);
    static std::string ImageOf(const StoredTables& tables);

private:
    class Statement;
    class AllOrNothing;
    void Run(const char* sql) const;
    Account Insert(const std::string& handle, const std::string& passwordHash, const std::string& address,
                   bool guest);
    bool Change(const char* sql, const std::string& handle, const std::string& value);

    mutable std::mutex mMutex;
    /// Closed also when what was opened is no store.
    struct Handle {
        ~Handle();
        operator sqlite3*() const { return open; }
        sqlite3* open = nullptr;
    };
    Handle mDb;
};

}  // namespace zephyl
