#pragma once
// An engine that several relays of one process share, and that a test can disturb.

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "service/relay/cluster/ear.h"
#include "service/relay/cluster/engine.h"

namespace zephyl {

class MemoryEngine;

/// What is behind all of them. Outlives them.
class MemoryCluster {
public:
    /// While it is, nothing is taken: Full.
    void SetFull(bool full);
    /// Returns once so many values were refused for that.
    void WaitForRefusals(int count);
    /// The last one is not there any more, as with servers that come back with older disks.
    void LoseLast(const std::string& subject);
    /// Entries that stand there.
    std::size_t Entries(const std::string& subject) const;

private:
    friend class MemoryEngine;
    struct Value {
        EngineEntry entry;
        bool removed = false;
    };

    mutable std::mutex mMutex;
    bool mFull = false;
    int mRefused = 0;
    std::condition_variable mRefusal;
    std::uint64_t mLast = 0;  // sequence
    std::map<std::string, std::map<std::uint64_t, std::string>> mLogs;
    std::map<std::string, std::map<std::string, Value>> mBuckets;
    std::set<MemoryEngine*> mEngines;
};

class MemoryEngine final : public Engine {
public:
    explicit MemoryEngine(MemoryCluster& cluster);
    ~MemoryEngine() override;

    // --- what a test does to it ---
    /// The connection is lost: what is under way was done, and is answered Away.
    void Cut();
    void Mend();
    /// Nothing is called any more, until Release.
    void Hold();
    void Release();
    /// The next `count` entries and values that are written are answered Away all the same.
    void LoseAnswers(int count);
    /// Of the words to other relays each so-and-so-manieth is lost; 0: none.
    void LoseEvery(unsigned words) { mLosesEvery = words; }
    /// Nobody hears the next `count` entries that are written.
    void WriteUnheard(int count) { mUnheard = count; }
    /// In words, lost ones too.
    std::size_t BytesToRelays() const { return mBytesToRelays; }
    /// Returns when nothing is left to be called. Not while held.
    void Settle();

    bool Connected() const override;
    Ears WhenChanged(Changed changed) override;
    void Look(GotFacts got) override;
    void Publish(std::string subject, std::string bytes) override;
    Ears Listen(std::string subject, Heard heard) override;
    void Ask(std::string subject, std::string bytes, std::chrono::milliseconds patience,
             Answered answered) override;
    void Append(std::string subject, std::string bytes, std::uint64_t expectedLast, Stored stored) override;
    void Read(std::string subject, std::uint64_t from, std::size_t bytes, GotAll got) override;
    void Last(std::string subject, Got got) override;
    void Purge(std::string subject, std::uint64_t before, Done done) override;
    void Get(std::string bucket, std::string key, Got got) override;
    void Put(std::string bucket, std::string key, std::string bytes, std::uint64_t expected,
             Stored stored) override;
    void Remove(std::string bucket, std::string key, std::uint64_t expected, Stored stored) override;
    Ears Watch(std::string bucket, Seen seen, std::function<void()> all) override;

private:
    using Clock = std::chrono::steady_clock;
    enum class Kind { Answer, Word, News };
    struct Call {
        Kind kind;
        std::function<void(bool away)> run;
        bool away = false;
    };
    struct Asked {
        Clock::time_point until;
        Answered answered;
    };
    template <class Listener>
    struct Place {
        std::string where;
        std::weak_ptr<Listener> ear;
    };
    using WordEar = Ear<const EngineWord&>;
    using ValueEar = Ear<const EngineEntry&, bool>;

    // All of these with the cluster's lock held.
    void Post(Kind kind, std::function<void(bool away)> run);
    std::size_t Say(const EngineWord& word);
    bool Hear(const EngineWord& word);
    EngineResult Write(const std::string& bucket, MemoryCluster::Value value, std::uint64_t expected);
    void Show(const std::string& bucket, const MemoryCluster::Value& value);
    void ShowAll(const std::string& bucket, std::weak_ptr<ValueEar> ear, std::function<void()> all);
    void Tell(bool connected);
    void AnswerWrite(EngineResult result, std::uint64_t sequence, Stored stored);
    void Run();

    MemoryCluster& mCluster;
    bool mConnected = true;
    bool mHeld = false;
    bool mStop = false;
    bool mBusy = false;
    int mLoses = 0;
    std::atomic<unsigned> mLosesEvery{0}, mWords{0};
    std::atomic<std::size_t> mBytesToRelays{0};
    std::atomic<int> mUnheard{0};
    std::uint64_t mInboxes = 0;
    std::deque<Call> mCalls;
    std::map<std::string, Asked> mAsked;  // by inbox
    std::vector<Place<WordEar>> mListeners;
    std::vector<Place<ValueEar>> mWatchers;
    std::vector<std::weak_ptr<Ear<bool>>> mChanged;
    std::condition_variable mNews, mSettled;
    std::thread mThread;
};

}  // namespace zephyl
