#pragma once
// Checks passwords beside the io threads: a small pool with a short queue. Who has not been wrong lately and
// does not press is served before those who guess, and puts them out when the queue is full; among equals the
// newest comes first, so a crowd that came before does not decide how long somebody waits. One handle's
// passwords are checked one after the other, and those of one device in the order in which they came; tries
// that only a clean address speaks for have one worker at most. Any thread may ask.

#include <boost/asio/thread_pool.hpp>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "service/relay/door/accounts.h"
#include "service/relay/door/back_off.h"
#include "service/relay/door/known_devices.h"
#include "service/relay/door/passwords.h"
#include "service/wire/zephyl.pb.h"

namespace zephyl {

/// What a client says of itself.
struct LoginWords {
    std::string handle, password;
    std::string address;                   // by which the relay knows it
    std::optional<std::string> device;     // the word of an earlier login, or ""; none: it would not keep one
    bool outside = false;                  // let in from the local network by a person's own service
    std::optional<std::string> wish = {};  // a new password, to take the place of the one above
};

struct LoginVerdict {
    Result result = RESULT_WRONG;      // ok, wrong, later; with a wish also unfit, not permitted
    Account account;                   // when ok
    std::string key;                   // the handle, folded
    std::chrono::milliseconds wait{};  // when later
    std::string device;                // when ok: a new word for the client to keep; may be empty
    bool replaced = false;             // when ok: the account has another password now
    std::string fault;                 // when unfit
};

class LoginDesk {
public:
    /// `registers`: an unknown handle becomes an account with the password it came with.
    LoginDesk(Accounts& accounts, bool registers, HashCost cost);
    ~LoginDesk();

    /// Once, before anybody asks: other relays are to know, now and then, what speaks against an address.
    using Tell = std::function<void(const std::string& address, int blame)>;
    void SetTell(Tell tell) { mTell = std::move(tell); }
    /// What another relay has told.
    void Heard(const std::string& address, int blame)
    {
        mBackOff.Heard(address, blame, BackOff::Clock::now());
    }

    /// `done` runs on a thread of the pool, or on that of a caller when the answer needs no hash.
    void Check(const LoginWords& words, std::function<void(LoginVerdict)> done);
    /// As a new password is hashed. Slow.
    std::string Hash(const std::string& password) const { return HashPassword(password, mCost); }
    /// Runs short work on the database beside the io threads.
    void Run(std::function<void()> work);
    /// Another relay has written what it knows of an account's devices; "": perhaps of any. Blocks. Throws
    /// AccountError.
    void DevicesChanged(const std::string& key);
    /// The accounts of guests are gone.
    void ForgetGuests();

private:
    struct Asked {
        LoginWords words;
        Attempt attempt;
        std::function<void(LoginVerdict)> done;
        BackOff::Clock::time_point since = BackOff::Clock::now();
    };
    using Waiting = std::list<Asked>;  // in the order in which they came

    BackOff::Blame BlameOf(const Attempt& attempt);
    void TellOthers(const Attempt& attempt);
    Waiting Queue(Asked asked);
    void GiveWork();
    Waiting::iterator Next();
    Waiting::iterator Last();
    void Answer(const Asked& asked);
    LoginVerdict Counted(const Asked& asked);
    LoginVerdict Decide(const Asked& asked);
    LoginVerdict Wished(LoginVerdict verdict, const Asked& asked);
    Account Anew(const Account& account) const;
    LoginVerdict Register(const Asked& asked);
    LoginVerdict RegisterGuest(const Asked& asked);

    Accounts& mAccounts;
    const bool mRegisters;
    const HashCost mCost;
    const std::string mNobody;  // a hash that fits nothing: unknown handles cost the same
    BackOff mBackOff;
    Tell mTell;
    KnownDevices mDevices;
    std::mutex mMutex;
    Waiting mWaiting;
    std::set<std::string> mAtWork;  // handles of those whom the workers have
    bool mSpareAtWork = false;
    std::map<std::string, std::size_t> mGuests;  // how many accounts an address has made
    boost::asio::thread_pool mPool;
};

}  // namespace zephyl
