#pragma once
// One subject of a meeting's log, and this relay as the one who writes it. On the meeting's strand.

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "service/relay/cluster/chain_message.h"
#include "service/relay/cluster/engine.h"

namespace zephyl {

/// What a chain needs of its log. All of it outlives the chain.
struct ChainSurroundings {
    Engine& engine;
    std::uint64_t epoch;  // no other writer has, or has had, the same
    /// Runs work on the strand, later, if the log still exists then. Any thread.
    std::function<void(std::function<void()>)> post;
    /// Somebody with a later epoch writes: this one does not, any more.
    std::function<void()> fenced;
    /// Something waits until the engine takes it, or waits no more.
    std::function<void()> changed;
};

/// An entry that was not answered is sent again with what it expected, so that it cannot stand there behind
/// something else; when something is in its place, that says by its epoch and number whose it is. One is
/// under way at a time: what the next one expects is its answer.
class LogChain {
public:
    using Opened = std::function<void(std::uint64_t last)>;
    using Stored = std::function<void(std::uint64_t first, std::uint64_t last)>;

    LogChain(std::string subject, ChainSurroundings& around);

    /// From `opened` on nobody with an earlier epoch writes, and what they have written stands up to `last`;
    /// 0: there was nothing.
    void Open(Opened opened);
    bool Busy() const { return !mParts.empty() || mAsking; }
    /// What Append writes first.
    ChainName Next() const { return {mSubject, mAround.epoch, mNumber + 1}; }
    /// Precondition: opened, and not busy.
    void Append(std::string_view batch, Stored stored);
    /// The engine has not taken what waits.
    bool Refused() const { return mRefused; }
    /// The engine may take it now: what waits is sent again.
    void GoOn();
    /// Lets go what stands in front of `before`, an entry of this chain. One is under way at a time.
    void Purge(std::uint64_t before);
    /// Nothing more is written.
    void End();

    const std::string& Subject() const { return mSubject; }
    Engine& TheEngine() const { return mAround.engine; }

private:
    void Put(ChainMessage::Kind kind, std::string_view bytes);
    void SendFront();
    void AskLast();
    void OnAnswer(EngineResult result, std::uint64_t sequence);
    void OnLast(EngineResult result, const EngineEntry& last);
    void OnOlder();
    void OnStored(std::uint64_t sequence);
    void OnPurged(EngineResult result);
    void Wait(EngineResult why);
    template <class... Answer>
    std::function<void(Answer...)> Here(void (LogChain::*member)(Answer...));

    const std::string mSubject;
    ChainSurroundings& mAround;
    std::uint64_t mLast = 0;    // as expected
    std::uint64_t mNumber = 0;  // of what is stored
    std::uint64_t mFirst = 0;   // of the batch that is under way
    std::deque<std::string> mParts;
    std::function<void()> mDone;
    std::uint64_t mRest = 0, mPurging = 0;  // wanted, under way
    bool mEmpty = false;                    // nothing stood there before
    bool mAsking = false;                   // what stands last, before anything is sent
    bool mWaiting = false;                  // for GoOn
    bool mRefused = false;
    bool mFenced = false;
    int mOlder = 0;  // answers in a row that what is stored is not there
    const std::shared_ptr<int> mAlive = std::make_shared<int>();
};

}  // namespace zephyl
