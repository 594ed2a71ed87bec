#pragma once
// Checks passwords beside the io threads: a small pool with a short queue. Who has not been wrong lately and
// does not press is served before those who guess, and puts them out when the queue is full; among equals the
// newest comes first, so a crowd that came before does not decide how long somebody waits. Logins of one
// handle are answered in the order in which they came. Any thread may ask.

#include <boost/asio/thread_pool.hpp>
#include <functional>
#include <list>
#include <mutex>
#include <set>
#include <string>

#include "service/relay/door/accounts.h"
#include "service/relay/door/back_off.h"
#include "service/relay/door/passwords.h"
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

    /// `done` runs on a thread of the pool, or on that of a caller when the answer needs no hash.
    void Check(const std::string& handle, const std::string& password, const std::string& address,
               std::function<void(LoginVerdict)> done);
    /// Runs short work on the database beside the io threads.
    void Run(std::function<void()> work);

private:
    struct Asked {
        std::string handle, key, password, address;
        std::function<void(LoginVerdict)> done;
        BackOff::Clock::time_point since = BackOff::Clock::now();
    };
    using Waiting = std::list<Asked>;  // in the order in which they came

    BackOff::Blame BlameOf(const Asked& asked);
    Waiting Queue(Asked asked);
    void GiveWork();
    Waiting::iterator Next();
    Waiting::iterator Last();
    void Answer(const Asked& asked);
    LoginVerdict Decide(const Asked& asked);
    LoginVerdict Register(const Asked& asked);

    Accounts& mAccounts;
    const bool mRegisters;
    const HashCost mCost;
    const std::string mNobody;  // a hash that fits nothing: unknown handles cost the same
    BackOff mBackOff;
    std::mutex mMutex;
    Waiting mWaiting;
    std::set<std::string> mAtWork;  // keys of those whom the workers have
    boost::asio::thread_pool mPool;
};

}  // namespace zephyl
