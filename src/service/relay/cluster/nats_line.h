#pragma once
// A connection to one of several NATS servers, made anew for as long as it is wanted, and the words that go
// by it: the half of the engine that keeps nothing.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "service/relay/cluster/ear.h"
#include "service/relay/cluster/engine.h"
#include "service/relay/cluster/nats_connection.h"

namespace zephyl {

class NatsLine : public Engine {
public:
    using Open = std::function<std::unique_ptr<NatsConnection>(const NatsServer&, NatsConnection::Take,
                                                               NatsConnection::Ended)>;
    /// Of each trouble once, and "" when it is over. On a thread of the engine's.
    using Say = std::function<void(const std::string& trouble)>;

    bool Connected() const override;
    Ears WhenChanged(Changed changed) override;
    void Publish(std::string subject, std::string bytes) override;
    Ears Listen(std::string subject, Heard heard) override;
    void Ask(std::string subject, std::string bytes, std::chrono::milliseconds patience,
             Answered answered) override;

protected:
    using Clock = std::chrono::steady_clock;
    /// An answer, or null: none has come in time, or none will. True: that was all.
    using TakeAnswer = std::function<bool(const NatsMessage*)>;
    /// Outlives the line, for whoever lets go of something later.
    struct Alive {
        std::mutex mutex;
        NatsLine* line = nullptr;
    };

    NatsLine(std::vector<NatsServer> servers, Open open, Say say);
    /// At the end of the constructor.
    void Start();
    /// First in the destructor.
    void Stop();

    /// What is asked of the first connection before it counts; may wait. False: it is none that helps.
    virtual bool Prepare() = 0;
    /// It counts. With the lock held.
    virtual void BeginAnew() = 0;
    /// Ten times a second while it does. With the lock held.
    virtual void LookAround() = 0;
    /// What a server is asked that is well, and whether that is its answer. Any thread.
    virtual std::string Probe() const = 0;
    virtual bool IsWell(const NatsMessage& answer) const = 0;
    /// This server answers nothing: where another one does, there. With the lock held.
    void Doubt();
    /// Whether every server lets somebody in is found out, and said soon. With the lock held.
    void LookWhoIsThere();
    virtual void SeeWhoIsThere(bool everybody) = 0;
    /// "": all is well. Also tells those who want to know of each change.
    void Tell(const std::string& trouble);

    // --- with the lock held ---
    bool IsConnected() const { return mConnected; }
    /// What can be said of the connection.
    EngineFacts OfConnection() const;
    void Send(std::string subject, std::string answerTo, std::string bytes, NatsHeaders headers = {});
    /// Returns the subject for the answer. Own: for what comes under other subjects than it was asked for.
    enum class Inbox { Shared, Own };
    std::string Await(std::chrono::milliseconds patience, TakeAnswer take, Inbox inbox = Inbox::Shared);
    std::uint64_t LastAsked() const { return mLastAsked; }
    void Forget(std::uint64_t asked);
    /// An answer counts for so long yet at most.
    void Hurry(std::uint64_t asked, std::chrono::milliseconds patience);
    void Request(std::string subject, std::string bytes, NatsHeaders headers,
                 std::chrono::milliseconds patience, TakeAnswer take, Inbox inbox = Inbox::Shared);

    mutable std::mutex mMutex;
    const std::shared_ptr<Alive> mAlive = std::make_shared<Alive>();

private:
    using WordEar = Ear<const EngineWord&>;
    using Wire = std::shared_ptr<NatsConnection>;
    struct Asked {
        Clock::time_point until;
        std::shared_ptr<TakeAnswer> take;
        std::string own;  // its inbox
    };
    struct Outgoing {
        Wire wire;
        std::function<void(NatsConnection&)> work;
    };

    // the thread that connects
    void KeepConnected();
    Wire Connect();
    void Lose();
    bool AnotherIsBetter();
    bool AllLetSomebodyIn();
    bool IsWell(const NatsServer& server) const;
    // the thread that sends, and calls when the time has come
    void Work();
    void Beat();
    void GiveUp();
    void CallOverdue();
    void Do(std::function<void(NatsConnection&)> work);
    // what comes
    void Take(const NatsMessage& message);
    void TakeAnswered(std::string_view token, const NatsMessage& message);
    void Call(const std::function<void()>& call);
    void Quit(const std::string& subject);

    const std::vector<NatsServer> mServers;
    const Open mOpen;
    const Say mSay;
    const std::string mInbox, mOwnInbox;
    std::mutex mCalls;  // held while somebody is called
    std::condition_variable mNews, mWork;
    bool mStop = false;
    bool mSent = false;  // all that will be
    bool mLost = false;
    bool mDoubted = false;
    bool mWhoIsThere = false;  // is wanted
    bool mPrepared = false;    // at some time. Of the thread that connects
    bool mConnected = false;
    Wire mWire;
    std::size_t mServer;              // the next to be tried, behind that of mWire
    std::string mHere;                // the server of mWire
    std::string mTrouble;             // said last
    std::set<std::string> mTroubles;  // said since it was well; under mCalls
    Clock::time_point mHeard, mBeaten, mTicked;
    std::deque<Outgoing> mOutgoing;
    std::uint64_t mLastAsked = 0;
    std::map<std::uint64_t, Asked> mAsked;
    std::map<std::string, std::vector<std::weak_ptr<WordEar>>, std::less<>> mListeners;
    std::vector<std::weak_ptr<Ear<bool>>> mChanged;
    std::thread mSender, mConnector;
};

}  // namespace zephyl
