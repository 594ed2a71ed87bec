#pragma once
// A few connections to one database, and how long anybody waits for it. Once it is away nobody waits: one
// tries anew each second, all others are told at once. Any thread.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "service/relay/door/database.h"

namespace zephyl {

struct DatabaseTimes {
    std::chrono::milliseconds answer{4000};  // to one statement; clients give up after ten seconds
    std::chrono::milliseconds lock{2000};    // behind other relays
    std::chrono::milliseconds pause{1000};   // until it is tried again
};

/// Interrupts connections whose time is over, on a thread of its own.
class Deadlines {
public:
    Deadlines() : mThread([this] { Run(); }) {}
    ~Deadlines();
    Deadlines(const Deadlines&) = delete;
    Deadlines& operator=(const Deadlines&) = delete;
    using Clock = std::chrono::steady_clock;
    using Place = std::multimap<Clock::time_point, Database*>::iterator;
    Place Set(Database& connection, std::chrono::milliseconds within);
    /// True: it was over before.
    bool Lift(Place place);

private:
    void Run();
    std::mutex mMutex;
    std::condition_variable mNews;
    std::multimap<Clock::time_point, Database*> mSet;
    Clock::time_point mAwake = Clock::time_point::max();  // when the thread looks again by itself
    bool mStop = false;
    std::thread mThread;
};

class DatabasePool {
public:
    using Open = std::function<std::unique_ptr<Database>()>;
    using Say = std::function<void(const std::string& trouble)>;  // "": it is back

    DatabasePool(Open open, Say say, DatabaseTimes times = {});

    /// A connection, given back by the destructor; what was begun on it and not committed is undone.
    class Lease {
    public:
        Lease(Lease&&) noexcept;
        ~Lease();
        Lease& operator=(Lease&&) = delete;

        // These throw DatabaseAway and DatabaseRefusal.
        Database::Answer Ask(const std::string& sql, const std::vector<std::string>& values = {});
        void Run(const std::string& sql);
        void Run(const std::string& sql, std::chrono::milliseconds within);
        void Begin(const std::string& how = "BEGIN");
        void Begin(const std::string& how, std::chrono::milliseconds within);
        void Commit();
        std::vector<std::string> Heard(const std::string& channel, std::chrono::milliseconds patience);
        Database& Connection() { return *mConnection; }

    private:
        friend class DatabasePool;
        Lease(DatabasePool& pool, std::unique_ptr<Database> connection);
        template <class Work>
        auto Bounded(std::chrono::milliseconds within, Work work) -> decltype(work());

        DatabasePool& mPool;
        std::unique_ptr<Database> mConnection;
        bool mBegun = false;
        bool mLost = false;
        Deadlines::Clock::time_point mTaken = Deadlines::Clock::now();
    };
    /// Throws DatabaseAway.
    Lease Take();
    /// A new one, whatever was tried lately. Throws DatabaseAway.
    Lease TakeNew();
    /// It has, to what was asked then: which says nothing, and is false, when that was before the trouble.
    bool Answered(Deadlines::Clock::time_point asked);

    struct State {
        std::string trouble;  // "": it answers
        std::chrono::seconds since{};
    };
    State Now() const;

private:
    static constexpr std::size_t kKept = 8;  // connections that nobody uses

    std::unique_ptr<Database> Opened();
    void GiveBack(std::unique_ptr<Database> connection, Deadlines::Clock::time_point taken);
    void Trouble(const std::string& what);
    void GiveUpFree();
    void Well();

    const Open mOpen;
    const Say mSay;
    const DatabaseTimes mTimes;
    Deadlines mDeadlines;
    mutable std::mutex mMutex;
    std::vector<std::unique_ptr<Database>> mFree;
    std::string mTrouble;
    Deadlines::Clock::time_point mTroubleSince, mTryAgain;
};

}  // namespace zephyl
