#pragma once
// Which relays of a service live, and whether this one does. Each writes its record into the engine again
// and again; who has not written for `goneAfter`, by the clock of whoever watches, is gone. No two clocks are
// ever compared. Whoever does not see its own record come back knows nothing of the others' either.

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "service/relay/cluster/engine.h"
#include "service/relay/keepers/cluster_facts.h"
#include "service/relay/meeting/shared_meetings.h"
#include "service/relay/options.h"

namespace spdlog {
class logger;
}

namespace zephyl {

class Membership final : public std::enable_shared_from_this<Membership> {
public:
    using Clock = std::chrono::steady_clock;

    struct Member {
        RelayId id;
        std::string address;  // HOST:PORT for clients
        bool draining = false;
        bool stranger = false;  // its key is another
        bool roomy = false;     // clients of its meetings may come
    };
    /// On a thread of the relay's, in order.
    struct Listener {
        std::function<void(const RelayId&)> gone;
        /// This relay is out of touch and others are not, or may not be: its clients go there. Or it is back.
        std::function<void(bool cutOff)> cutOff;
    };

    /// What this one says of itself.
    struct Own {
        std::string name;
        std::string address;                                 // as above
        std::string fingerprint;                             // of its key: clients know one for all relays
        std::function<bool()> roomy = [] { return false; };  // on a thread of the relay's
    };
    Membership(boost::asio::io_context& io, Engine& engine, spdlog::logger& log, Own own, ClusterTimes times);
    /// Once.
    void Start(Listener listener);
    /// Nobody is told anything any more, and nothing is written.
    void Stop();

    // --- any thread ---
    const RelayId& Self() const { return mSelf; }
    const ClusterTimes& Times() const { return mTimes; }
    enum class Standing { Unknown, Lives, Gone };  // unknown: it has not been watched for long enough
    Standing Of(const RelayId& relay) const;
    /// Those that live.
    std::vector<Member> Others() const;
    /// Where clients of the meetings that it keeps may come; "": nowhere.
    std::string RoomAt(const RelayId& relay) const;
    /// Of all that have been heard of, this one first. Only what membership knows.
    std::vector<RelayFacts> Facts() const;
    bool MayDecide() const;
    bool Draining() const;
    /// Out of touch, on its way out, or its key is another than that of those who were there before.
    bool TakesNobody() const;
    /// From now on it takes nobody any more.
    void Drain();

private:
    struct Watched {
        Member member;
        std::uint64_t sequence = 0;
        Clock::time_point changed{};
        bool left = false;    // since then nobody was there who hears its questions
        bool asking = false;  // whether somebody is
    };
    void Tick();
    void Look(Clock::time_point now, std::vector<RelayId>& gone);
    void SayGone(const std::vector<RelayId>& gone);
    void AskSilent(Clock::time_point now);
    void Answered(const RelayId& relay, EngineResult result);
    void Write();
    void Written(Clock::time_point asked, EngineResult result, std::uint64_t sequence);
    void Learn(const EngineEntry& entry);
    void Seen(const EngineEntry& entry, bool removed);
    std::chrono::nanoseconds SilentFor(const Watched& watched, Clock::time_point now) const;
    bool HasGone(const Watched& watched, Clock::time_point now) const;
    bool Listens(Clock::time_point now) const;
    void HeardInTouch(std::string_view name);
    void HeardOutOfTouch(std::string_view name);
    bool OthersAreBetterOff(Clock::time_point now) const;
    bool HearsNobody(Clock::time_point now) const;
    void Post(std::function<void()> work);

    Engine& mEngine;
    spdlog::logger& mLog;
    const Own mOwn;
    const RelayId mSelf;
    const ClusterTimes mTimes;
    boost::asio::strand<boost::asio::io_context::executor_type> mStrand;
    boost::asio::steady_timer mTimer;
    Listener mListener;
    Engine::Ears mWatch, mConnection, mWords, mOtherWords;
    bool mWriting = false;
    bool mLearned = false;  // what stands in the own place

    mutable std::mutex mMutex;  // for what follows
    std::map<std::string, Watched> mOthers;
    std::map<RelayId, bool> mSaidGone;
    std::uint64_t mSequence = 0;                  // of the own record
    Clock::time_point mTouched{};                 // when the last record that was taken was on its way
    Clock::time_point mListening{};               // since then nothing was missed
    Clock::time_point mEchoed{};                  // when the own record was seen last
    Clock::time_point mBetter{}, mBetterSince{};  // when others said that they are in touch, without a pause
    Clock::time_point mHeard{};                   // when they said anything
    Clock::time_point mTicked{};
    std::uint64_t mBeat = 0;  // its records
    bool mSawAll = false;
    bool mStranger = false;
    bool mTaken = false;     // the own record, at some time
    bool mReplaced = false;  // another relay has begun with this one's name
    bool mCutOff = false;
    bool mRefused = false;  // not cut off, but what it writes is not taken
    bool mDraining = false;
    bool mStopped = false;
};

}  // namespace zephyl
