#include "service/relay/door/login_desk.h"

#include <algorithm>
#include <bit>
#include <boost/asio/post.hpp>

#include "service/relay/door/address_group.h"
#include "service/relay/door/handle_rules.h"
#include "service/relay/door/shared_counts.h"
#include "service/wire/limits.h"

namespace zephyl {
namespace {

constexpr std::size_t kWorkers = 2;
constexpr std::size_t kQueue = 32;
constexpr std::chrono::milliseconds kBusyWait{1000};
constexpr std::chrono::seconds kLongestWait{3};  // clients give up after ten
constexpr std::size_t kGuestsOfAnAddress = 10;
constexpr std::size_t kGuestsInAll = 2 * kSeatsPerMeeting;
constexpr std::chrono::milliseconds kGuestWait{60'000};

/// By what guesses are counted. What strangers outside try at a handle is nothing to who is inside.
std::string CountedBy(const LoginWords& words)
{
    const std::string key = HandleKey(words.handle).value_or("");
    return words.outside && !key.empty() ? "\nguest " + key : key;
}

std::int64_t WallSeconds()
{
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

LoginVerdict Admitted(Account account, std::string key)
{
    LoginVerdict verdict;
    verdict.result = RESULT_OK;
    verdict.account = std::move(account);
    verdict.key = std::move(key);
    return verdict;
}

LoginVerdict Later(std::chrono::milliseconds wait)
{
    LoginVerdict verdict;
    verdict.result = RESULT_LATER;
    verdict.wait = wait;
    return verdict;
}

}  // namespace

LoginDesk::LoginDesk(Accounts& accounts, bool registers, HashCost cost)
    : mAccounts(accounts),
      mRegisters(registers),
      mCost(cost),
      mNobody(HashPassword(RandomHex(32), cost)),
      mBackOff(accounts.Shared() ? accounts.ServerKey() : std::string()),
      mDevices(accounts),
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

void LoginDesk::Check(const LoginWords& words, std::function<void(LoginVerdict)> done)
{
    if (words.wish) {
        LoginVerdict unfit;
        unfit.fault = PasswordFault(*words.wish).value_or("");
        unfit.result = words.outside ? RESULT_NOT_PERMITTED : RESULT_UNFIT;
        if (words.outside || !unfit.fault.empty()) return done(unfit);
    }
    Attempt attempt{CountedBy(words), AddressGroup(words.address), {}};
    attempt.device = mDevices.Recognise(attempt.account, attempt.address, words.device).value_or("");
    const std::chrono::milliseconds wait = mBackOff.WaitFor(attempt, BackOff::Clock::now());
    if (wait.count() > 0) return done(Later(wait));
    for (const Asked& out : Queue({words, std::move(attempt), std::move(done)})) {
        mBackOff.TurnedAway(out.attempt, BackOff::Clock::now());
        TellOthers(out.attempt);
        out.done(Later(kBusyWait));
    }
}

BackOff::Blame LoginDesk::BlameOf(const Attempt& attempt)
{
    return mBackOff.Lately(attempt, BackOff::Clock::now());
}

// Or a crowd that goes on to the next relay would be as good as anybody there, for as long as it takes to
// hash a password for each. Less and less often of one that goes on.
void LoginDesk::TellOthers(const Attempt& attempt)
{
    if (!mTell || !attempt.device.empty()) return;
    const int blame = BlameOf(attempt).ofAddress;
    if (std::has_single_bit(static_cast<unsigned>(blame))) mTell(attempt.address, blame);
}

// Gives back who has to go: the last when too many wait, and those whom others always pass.
LoginDesk::Waiting LoginDesk::Queue(Asked asked)
{
    const auto passed = asked.since - kLongestWait;
    const std::lock_guard lock(mMutex);
    mWaiting.push_back(std::move(asked));
    GiveWork();
    Waiting out;
    if (mWaiting.size() > kQueue) out.splice(out.end(), mWaiting, Last());
    while (!mWaiting.empty() && mWaiting.front().since < passed)
        out.splice(out.end(), mWaiting, mWaiting.begin());
    return out;
}

void LoginDesk::GiveWork()
{
    while (mAtWork.size() < kWorkers) {
        const auto next = Next();
        if (next == mWaiting.end()) return;
        mAtWork.insert(next->attempt.account);
        mSpareAtWork = mSpareAtWork || next->attempt.spare;
        boost::asio::post(mPool, [this, asked = std::move(*next)] { Answer(asked); });
        mWaiting.erase(next);
    }
}

// Whoever waits behind another of the same device lends it the own rank.
LoginDesk::Waiting::iterator LoginDesk::Next()
{
    auto best = mWaiting.end();
    BackOff::Blame least{};
    for (auto at = mWaiting.begin(); at != mWaiting.end(); ++at) {
        if (mAtWork.contains(at->attempt.account) || (mSpareAtWork && at->attempt.spare)) continue;
        const BackOff::Blame blame = BlameOf(at->attempt);
        if (best != mWaiting.end() && least < blame) continue;
        best = at;
        least = blame;
    }
    if (best == mWaiting.end()) return best;
    return std::ranges::find_if(mWaiting, [&](const Asked& one) {
        return one.attempt.account == best->attempt.account && one.attempt.Who() == best->attempt.Who();
    });
}

// The oldest among equals.
LoginDesk::Waiting::iterator LoginDesk::Last()
{
    return std::ranges::max_element(mWaiting, {}, [this](const Asked& one) { return BlameOf(one.attempt); });
}

void LoginDesk::Answer(const Asked& asked)
{
    LoginVerdict verdict;
    try {
        verdict = Counted(asked);
    } catch (const std::exception&) {
        verdict = Later(kBusyWait);  // no memory, or a store that is busy or away
    }
    const bool right = verdict.result == RESULT_OK;
    const std::string account = asked.attempt.account;
    if (right && !asked.words.outside)
        verdict.device = mDevices.Met(account, asked.attempt.address, asked.words.device);
    asked.done(std::move(verdict));
    {
        const std::lock_guard lock(mMutex);
        mAtWork.erase(account);
        if (asked.attempt.spare) mSpareAtWork = false;
        GiveWork();
    }
    if (right && !asked.words.outside) mDevices.Save(account);
}

// Where several relays count together, what is here is what this one has seen of it; they agree before a hash
// is computed, and no verdict leaves before it is counted.
LoginVerdict LoginDesk::Counted(const Asked& asked)
{
    const auto now = [] { return BackOff::Clock::now(); };
    SharedCounts* const shared = mAccounts.Shared();
    const auto turn = shared ? shared->TakeTurn(asked.attempt) : nullptr;
    Attempt attempt = asked.attempt;
    BackOff::Standing known;
    if (turn) {
        known = turn->Now();
        std::chrono::milliseconds wait = mBackOff.WaitFor(attempt, known, now());
        if (wait.count() == 0 && attempt.spare)
            wait = shared->Take({"spare tries of " + attempt.address, kSpareTriesAMinute});
        if (wait.count() > 0) return Later(wait);
    }
    LoginVerdict verdict = Decide(asked);
    if (verdict.result == RESULT_WRONG) {
        if (turn)
            turn->Save(mBackOff.Wrong(attempt, turn->Alone(), asked.words.password, now()));
        else
            mBackOff.Wrong(attempt, asked.words.password, now());
        TellOthers(attempt);
    } else if (verdict.result == RESULT_OK) {
        if (known.device.failures > 0 || known.address.failures > 0)
            turn->Save(mBackOff.Right(attempt, turn->Alone()));
        else
            mBackOff.Right(attempt);
    }
    return verdict;
}

LoginVerdict LoginDesk::Decide(const Asked& asked)
{
    std::optional<Account> account = mAccounts.Find(asked.words.handle);
    const std::string key = HandleKey(asked.words.handle).value_or("");
    if (!account && mRegisters && !key.empty() && !asked.words.wish)
        return asked.words.outside ? RegisterGuest(asked) : Register(asked);
    // From outside nobody even tries the passwords of those who live here.
    if (account && asked.words.outside && !account->guest) account.reset();
    const std::string& password = asked.words.password;
    if (account && PasswordFits(account->passwordHash, password))
        return Wished(Admitted(*account, key), asked);
    if (!account) PasswordFits(mNobody, password);
    const std::optional<std::string> drawn = AsDrawn(password);
    if (!drawn) return {};
    // Whether there is such an account or a mail on its way, this takes as long.
    if (!account) account.emplace().passwordHash = mNobody;
    const bool waits = account->mailed.Good(WallSeconds());
    const std::string& other = waits ? account->mailed.hash : account->passwordHash;
    if (!PasswordFits(other, *drawn)) return {};
    if (waits && !mAccounts.UseMailed(account->handle, other)) return {};
    LoginVerdict verdict = Admitted(waits ? Anew(*account) : *account, key);
    verdict.replaced = waits;
    return Wished(std::move(verdict), asked);
}

Account LoginDesk::Anew(const Account& account) const
{
    return mAccounts.Find(account.handle).value_or(account);
}

// Right up to here. Whoever only wanted to log in does.
LoginVerdict LoginDesk::Wished(LoginVerdict verdict, const Asked& asked)
{
    if (!asked.words.wish) return verdict;
    if (!mAccounts.SetPassword(verdict.account.handle, HashPassword(*asked.words.wish, mCost))) return {};
    verdict.account = Anew(verdict.account);
    verdict.replaced = true;
    return verdict;
}

LoginVerdict LoginDesk::Register(const Asked& asked)
{
    if (PasswordFault(asked.words.password)) return {};
    try {
        const Account made = mAccounts.Add(asked.words.handle, HashPassword(asked.words.password, mCost), "");
        return Admitted(made, asked.attempt.account);
    } catch (const AccountError&) {
        return {};  // looks like another one, or came in at the same moment
    }
}

LoginVerdict LoginDesk::RegisterGuest(const Asked& asked)
{
    if (PasswordFault(asked.words.password)) return {};
    {
        const std::lock_guard lock(mMutex);
        std::size_t inAll = 0;
        for (const auto& [address, made] : mGuests) inAll += made;
        if (inAll >= kGuestsInAll) return Later(kGuestWait);
        std::size_t& made = mGuests[asked.attempt.address];
        if (made >= kGuestsOfAnAddress) return Later(kGuestWait);
        ++made;
    }
    try {
        const Account made =
            mAccounts.AddGuest(asked.words.handle, HashPassword(asked.words.password, mCost));
        return Admitted(made, HandleKey(made.handle).value_or(""));
    } catch (const AccountError&) {
        return {};  // looks like another one, or came in at the same moment
    }
}

void LoginDesk::DevicesChanged(const std::string& key)
{
    if (!key.empty()) return mDevices.Learn(key, mAccounts.DevicesOf(key));
    for (const auto& [account, text] : mAccounts.Devices()) mDevices.Learn(account, text);
}

void LoginDesk::ForgetGuests()
{
    const std::lock_guard lock(mMutex);
    mGuests.clear();
}

}  // namespace zephyl
