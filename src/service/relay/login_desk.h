#pragma once
// Checks passwords beside the io threads: a small pool with a short queue. Logins of one handle are
// answered in the order in which they came. Any thread may ask.

#include <boost/asio/thread_pool.hpp>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>

#include "service/relay/accounts.h"
#include "service/relay/back_off.h"
#include "service/relay/passwords.h"
#include "service/wire/zephyl.pb.h"

namespace zephyl {

struct LoginVerdict {
    Result result = RESULT_WRONG;      // ok, wrong, later
    Account account;                   // when ok
    std::string key;                   // the handle, folded
    std::chrono::milliseconds wait{};  // when later
};

class LoginDesk {
public:
    /// `registers`: an unknown handle becomes an account with the password it came with.
    LoginDesk(Accounts& accounts, bool registers, HashCost cost);
    ~LoginDesk();

    /// `done` runs on a thread of the pool, or at once on the caller's when the answer needs no hash.
    void Check(const std::string& handle, const std::string& password, const std::string& address,
               std::function<void(LoginVerdict)> done);
    /// Runs short work on the database beside the io threads.
    void Run(std::function<void()> work);

private:
    bool Queue(const std::string& key, bool suspected, std::function<void()> check);
    void Finished(const std::string& key, bool suspected);
    LoginVerdict Decide(const std::string& handle, const std::string& key, const std::string& password);
    LoginVerdict Register(const std::string& handle, const std::string& key, const std::string& password);

    Accounts& mAccounts;
    const bool mRegisters;
    const HashCost mCost;
    const std::string mNobody;  // a hash that fits nothing: unknown handles cost the same
    BackOff mBackOff;
    std::mutex mMutex;
    std::unordered_map<std::string, std::deque<std::function<void()>>> mByHandle;  // the first one is at work
    int mWaiting = 0;
    int mSuspected = 0;  // of them
    boost::asio::thread_pool mPool;
};

}  // namespace zephyl
