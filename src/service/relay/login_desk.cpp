#include "service/relay/login_desk.h"

#include <boost/asio/post.hpp>

#include "service/relay/handle_rules.h"

namespace zephyl {
namespace {

constexpr int kWorkers = 2;
constexpr int kQueue = 32;
constexpr int kForSuspects = 16;  // of the queue: guessers never fill it for the others
constexpr std::chrono::milliseconds kBusyWait{1000};

}  // namespace

LoginDesk::LoginDesk(Accounts& accounts, bool registers, HashCost cost)
    : mAccounts(accounts),
      mRegisters(registers),
      mCost(cost),
      mNobody(HashPassword(RandomHex(32), cost)),
      mPool(kWorkers)
{
}

LoginDesk::~LoginDesk()
{
    mPool.join();
}

void LoginDesk::Run(std::function<void()> work)
{
    boost::asio::post(mPool, std::move(work));
}

void LoginDesk::Check(const std::string& handle, const std::string& password, const std::string& address,
                      std::function<void(LoginVerdict)> done)
{
    const std::optional<HandleForms> forms = ReadHandle(handle);
    const std::string key = forms ? forms->key : std::string();
    LoginVerdict verdict;
    verdict.wait = mBackOff.WaitFor(key, address, BackOff::Clock::now());
    const bool suspected = mBackOff.Suspected(address);
    const auto check = [this, handle, key, password, address, suspected, done] {
        LoginVerdict answer;
        try {
            answer = Decide(handle, key, password);
        } catch (const std::exception&) {
            answer.result = RESULT_LATER;  // no memory, or a store that is busy
            answer.wait = kBusyWait;
        }
        if (answer.result == RESULT_WRONG) mBackOff.Wrong(key, address, password, BackOff::Clock::now());
        if (answer.result == RESULT_OK) mBackOff.Right(key, address);
        done(std::move(answer));
        Finished(key, suspected);
    };
    if (verdict.wait.count() == 0 && !Queue(key, suspected, check)) verdict.wait = kBusyWait;
    if (verdict.wait.count() == 0) return;
    verdict.result = RESULT_LATER;
    done(std::move(verdict));
}

// False: too many wait.
bool LoginDesk::Queue(const std::string& key, bool suspected, std::function<void()> check)
{
    const std::lock_guard lock(mMutex);
    if (mWaiting >= kQueue + kWorkers || (suspected && mSuspected >= kForSuspects)) return false;
    ++mWaiting;
    if (suspected) ++mSuspected;
    auto& waiting = mByHandle[key];
    waiting.push_back(std::move(check));
    if (waiting.size() == 1) boost::asio::post(mPool, waiting.front());
    return true;
}

void LoginDesk::Finished(const std::string& key, bool suspected)
{
    const std::lock_guard lock(mMutex);
    --mWaiting;
    if (suspected) --mSuspected;
    const auto at = mByHandle.find(key);
    at->second.pop_front();
    if (at->second.empty())
        mByHandle.erase(at);
    else
        boost::asio::post(mPool, at->second.front());
}

LoginVerdict LoginDesk::Decide(const std::string& handle, const std::string& key, const std::string& password)
{
    const std::optional<Account> account = mAccounts.Find(handle);
    if (!account && mRegisters && !key.empty()) return Register(handle, key, password);
    if (!PasswordFits(account ? account->passwordHash : mNobody, password) || !account) return {};
    return {RESULT_OK, *account, key, {}};
}

LoginVerdict LoginDesk::Register(const std::string& handle, const std::string& key,
                                 const std::string& password)
{
    if (PasswordFault(password)) return {};
    try {
        return {RESULT_OK, mAccounts.Add(handle, HashPassword(password, mCost), ""), key, {}};
    } catch (const AccountError&) {
        return {};  // looks like another one, or came in at the same moment
    }
}

}  // namespace zephyl
