#pragma once
// The accounts in a PostgreSQL database that several relays share. A call blocks for four seconds at most;
// while the database is away it fails at once, and what it throws says so. What a call has answered is on the
// server's disk, unless that was told not to use it.

#include <boost/asio/thread_pool.hpp>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "service/relay/door/accounts.h"
#include "service/relay/door/database_pool.h"
#include "service/relay/door/shared_counts.h"

namespace zephyl {

class PostgresAccounts final : public Accounts, private SharedCounts {
public:
    /// Connects, and brings the tables to what this version knows. `name`: what people are told. Throws
    /// AccountError.
    PostgresAccounts(const DatabasePool::Open& open, std::string name, const DatabasePool::Say& say,
                     DatabaseTimes times = {});
    ~PostgresAccounts() override;

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
    SharedCounts* Shared() const override;
    void Watch(std::function<void(const AccountNews&)> tell) override;
    void EndWatch() override;
    AccountsHealth Health() const override;

    /// Takes over all that an image has. Throws AccountError, also when there are accounts already.
    void Fill(const std::string& image);
    /// What an operator should know of the server; "" when all is well.
    std::string Advice() const;

private:
    class HeldTurn;
    std::unique_ptr<Turn> TakeTurn(const Attempt& attempt) override;
    std::vector<double> Used(const std::vector<Share>& shares) override;
    void Spend(const std::vector<Share>& shares) override;
    std::chrono::milliseconds Take(const Share& share) override;
    void Run(std::function<void()> work) override;

    Account Insert(const std::string& handle, const std::string& passwordHash, const std::string& address,
                   bool guest);
    bool Change(const std::string& sql, const std::string& handle, const std::string& value);
    void Listen(const std::function<void(const AccountNews&)>& tell);
    void ForgetOld() const;
    bool Pause();

    const std::string mName;
    mutable DatabasePool mPool;
    boost::asio::thread_pool mBeside;
    std::mutex mMutex;
    std::condition_variable mEnd;
    bool mStop = false;
    bool mListened = false;
    Database* mEars = nullptr;  // to be interrupted
    std::thread mWatch;
};

}  // namespace zephyl
