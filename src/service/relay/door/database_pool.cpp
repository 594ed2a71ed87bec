#include "service/relay/door/database_pool.h"

#include <utility>

namespace zephyl {

using std::chrono::milliseconds;

Deadlines::~Deadlines()
{
    {
        const std::lock_guard lock(mMutex);
        mStop = true;
    }
    mNews.notify_one();
    mThread.join();
}

Deadlines::Place Deadlines::Set(Database& connection, milliseconds within)
{
    const std::lock_guard lock(mMutex);
    const auto place = mSet.emplace(Clock::now() + within, &connection);
    if (place->first < mAwake) mNews.notify_one();
    return place;
}

// One whose time was over has stayed where it was, so that it can be lifted like any other.
bool Deadlines::Lift(Place place)
{
    const std::lock_guard lock(mMutex);
    const bool over = !place->second;
    mSet.erase(place);
    return over;
}

void Deadlines::Run()
{
    std::unique_lock lock(mMutex);
    while (!mStop) {
        const auto now = Clock::now();
        auto next = mSet.begin();
        for (; next != mSet.end() && next->first <= now; ++next)
            if (Database* const late = std::exchange(next->second, nullptr)) late->Interrupt();
        mAwake = next == mSet.end() ? Clock::time_point::max() : next->first;
        if (next == mSet.end())
            mNews.wait(lock);
        else
            mNews.wait_until(lock, Clock::time_point(mAwake));
    }
}

DatabasePool::DatabasePool(Open open, Say say, DatabaseTimes times)
    : mOpen(std::move(open)), mSay(std::move(say)), mTimes(times)
{
}

DatabasePool::Lease::Lease(DatabasePool& pool, std::unique_ptr<Database> connection)
    : mPool(pool), mConnection(std::move(connection))
{
}

DatabasePool::Lease::Lease(Lease&& other) noexcept
    : mPool(other.mPool),
      mConnection(std::move(other.mConnection)),
      mBegun(other.mBegun),
      mLost(other.mLost),
      mTaken(other.mTaken)
{
}

DatabasePool::Lease::~Lease()
{
    if (!mConnection) return;
    try {
        if (mBegun && !mLost) Run("ROLLBACK");
    } catch (const std::exception&) {
        mLost = true;  // which undoes it as well
    }
    if (!mLost) mPool.GiveBack(std::move(mConnection), mTaken);
}

template <class Work>
auto DatabasePool::Lease::Bounded(milliseconds within, Work work) -> decltype(work())
{
    struct Bound {
        Deadlines& deadlines;
        Deadlines::Place place;
        bool& over;
        ~Bound() { over = deadlines.Lift(place); }
    };
    bool over = false;
    try {
        const Bound bound{mPool.mDeadlines, mPool.mDeadlines.Set(*mConnection, within), over};
        return work();
    } catch (const DatabaseAway& away) {
        mLost = true;
        mPool.GiveUpFree();
        // One that was closed may be the only one: who takes the next will see.
        if (over) mPool.Trouble(away.what());
        throw;
    }
}

Database::Answer DatabasePool::Lease::Ask(const std::string& sql, const std::vector<std::string>& values)
{
    return Bounded(mPool.mTimes.answer, [&] { return mConnection->Ask(sql, values); });
}

void DatabasePool::Lease::Run(const std::string& sql)
{
    Run(sql, mPool.mTimes.answer);
}

void DatabasePool::Lease::Run(const std::string& sql, milliseconds within)
{
    Bounded(within, [&] { mConnection->Run(sql); });
}

void DatabasePool::Lease::Begin(const std::string& how)
{
    Begin(how, mPool.mTimes.answer);
}

void DatabasePool::Lease::Begin(const std::string& how, milliseconds within)
{
    mBegun = true;
    Run(how, within);
}

void DatabasePool::Lease::Commit()
{
    Run("COMMIT");
    mBegun = false;
}

std::vector<std::string> DatabasePool::Lease::Heard(const std::string& channel, milliseconds patience)
{
    return Bounded(patience + mPool.mTimes.answer, [&] { return mConnection->Heard(channel, patience); });
}

DatabasePool::Lease DatabasePool::Take()
{
    std::vector<std::unique_ptr<Database>> closed;  // behind the lock
    {
        const std::lock_guard lock(mMutex);
        while (!mFree.empty()) {
            std::unique_ptr<Database> one = std::move(mFree.back());
            mFree.pop_back();
            if (one->Alive()) return {*this, std::move(one)};
            closed.push_back(std::move(one));
        }
        const auto now = Deadlines::Clock::now();
        if (!mTrouble.empty() && now < mTryAgain) throw DatabaseAway(mTrouble);
        if (!mTrouble.empty())
            mTryAgain = now + mTimes.pause + mTimes.answer;  // whoever comes meanwhile does not
    }
    return TakeNew();
}

DatabasePool::Lease DatabasePool::TakeNew()
{
    Lease lease(*this, Opened());
    // Of a session: what nobody can wait for any more is not done, and what was answered is on its disk.
    lease.Run("SET statement_timeout = " + std::to_string(mTimes.answer.count() * 3 / 4) +
              "; SET lock_timeout = " + std::to_string(mTimes.lock.count()) +
              "; SET idle_in_transaction_session_timeout = " + std::to_string(5 * mTimes.answer.count()) +
              "; SELECT set_config('synchronous_commit', 'on', false)"
              " WHERE current_setting('synchronous_commit') = 'off'");
    Well();
    return lease;
}

std::unique_ptr<Database> DatabasePool::Opened()
{
    try {
        return mOpen();
    } catch (const DatabaseAway& away) {
        Trouble(away.what());
        throw;
    }
}

void DatabasePool::GiveBack(std::unique_ptr<Database> connection, Deadlines::Clock::time_point taken)
{
    if (!Answered(taken)) return;
    const std::lock_guard lock(mMutex);
    if (mFree.size() < kKept) mFree.push_back(std::move(connection));
}

bool DatabasePool::Answered(Deadlines::Clock::time_point asked)
{
    {
        const std::lock_guard lock(mMutex);
        if (!mTrouble.empty() && asked < mTroubleSince) return false;
    }
    Well();
    return true;
}

// Those that nobody uses are no better than one that was lost: each would be waited for in turn.
void DatabasePool::GiveUpFree()
{
    std::vector<std::unique_ptr<Database>> useless;
    {
        const std::lock_guard lock(mMutex);
        useless.swap(mFree);
    }
    for (const auto& one : useless) one->Interrupt();
}

void DatabasePool::Trouble(const std::string& what)
{
    const auto now = Deadlines::Clock::now();
    bool isNew = false;
    {
        const std::lock_guard lock(mMutex);
        isNew = mTrouble.empty();
        if (isNew) mTroubleSince = now;
        mTrouble = what.empty() ? "it does not answer" : what;
        mTryAgain = now + mTimes.pause;
    }
    if (isNew) mSay(what);
}

void DatabasePool::Well()
{
    {
        const std::lock_guard lock(mMutex);
        if (mTrouble.empty()) return;
        mTrouble.clear();
    }
    mSay("");
}

DatabasePool::State DatabasePool::Now() const
{
    const std::lock_guard lock(mMutex);
    if (mTrouble.empty()) return {};
    return {mTrouble,
            std::chrono::duration_cast<std::chrono::seconds>(Deadlines::Clock::now() - mTroubleSince)};
}

}  // namespace zephyl
