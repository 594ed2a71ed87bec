#include "service/relay/keepers/membership.h"

#include <spdlog/logger.h>

#include <algorithm>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/post.hpp>

#include "service/relay/keepers/lines.h"
#include "service/relay/keepers/random_number.h"
#include "service/relay/keepers/words.pb.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr char kRelays[] = "relays";
constexpr char kInTouch[] = "zephyl.in_touch";         // each relay that is says so there,
constexpr char kOutOfTouch[] = "zephyl.out_of_touch";  // and who is not, there

}  // namespace

Membership::Membership(asio::io_context& io, Engine& engine, spdlog::logger& log, Own own, ClusterTimes times)
    : mEngine(engine),
      mLog(log),
      mOwn(std::move(own)),
      mSelf{mOwn.name, RandomNumber()},
      mTimes(times),
      mStrand(asio::make_strand(io)),
      mTimer(mStrand)
{
}

void Membership::Post(std::function<void()> work)
{
    asio::post(mStrand, [self = shared_from_this(), work = std::move(work)] { work(); });
}

void Membership::Start(Listener listener)
{
    mListener = std::move(listener);
    {
        const std::lock_guard lock(mMutex);
        // A moment to connect before it is called cut off.
        mTouched = mListening = mTicked = Clock::now();
        mTouched -= mTimes.decidesFor;
        mEchoed = mTouched;
    }
    const auto weak = weak_from_this();
    mWords = mEngine.Listen(kInTouch, [weak](const EngineWord& word) {
        if (const auto self = weak.lock()) self->HeardInTouch(word.bytes);
    });
    mOtherWords = mEngine.Listen(kOutOfTouch, [weak](const EngineWord& word) {
        if (const auto self = weak.lock()) self->HeardOutOfTouch(word.bytes);
    });
    mWatch = mEngine.Watch(
        kRelays,
        [weak](const EngineEntry& entry, bool removed) {
            if (const auto self = weak.lock()) self->Seen(entry, removed);
        },
        [weak] {
            const auto self = weak.lock();
            if (!self) return;
            const std::lock_guard lock(self->mMutex);
            self->mSawAll = true;
            self->mListening = Clock::now();
        });
    mConnection = mEngine.WhenChanged([weak](bool connected) {
        const auto self = weak.lock();
        if (!self) return;
        const std::lock_guard lock(self->mMutex);
        if (connected) self->mListening = Clock::now();
    });
    Post([this] { Tick(); });
}

void Membership::Stop()
{
    {
        const std::lock_guard lock(mMutex);
        mStopped = true;
    }
    mWatch.reset();
    mConnection.reset();
    mWords.reset();
    mOtherWords.reset();
}

// --- others ----------------------------------------------------------------------------------------

void Membership::Seen(const EngineEntry& entry, bool removed)
{
    words::RelayRecord record;
    if (!removed && !record.ParseFromString(entry.bytes)) return;
    const std::lock_guard lock(mMutex);
    if (entry.subject == mSelf.name) {
        const auto now = Clock::now();
        // What the others wrote meanwhile is still to come.
        if (!Listens(now)) mListening = now;
        if (record.incarnation() == mSelf.incarnation) mEchoed = now;
        return;
    }
    const auto at = mOthers.find(entry.subject);
    if (at != mOthers.end() && (removed || at->second.member.id.incarnation != record.incarnation()))
        Post([this, id = at->second.member.id] {
            if (mListener.gone) mListener.gone(id);
        });
    if (removed) {
        if (at != mOthers.end()) mOthers.erase(at);
        return;
    }
    Watched& watched = mOthers[entry.subject];
    watched.member = {{entry.subject, record.incarnation()},
                      record.address(),
                      record.draining(),
                      record.fingerprint() != mOwn.fingerprint,
                      record.roomy()};
    const bool lives = watched.sequence != 0 && watched.sequence != entry.sequence;
    watched.sequence = entry.sequence;
    watched.changed = Clock::now();
    watched.left = false;
    mSaidGone.erase(watched.member.id);
    const bool other = lives && record.fingerprint() != mOwn.fingerprint && record.beat() > mBeat;
    if (!other || std::exchange(mStranger, true)) return;
    mLog.error(
        "relay {} has the key {}, this one has {}: copy key and certificate from there, for clients know one "
        "key of the service. Until then this relay takes nobody",
        entry.subject, record.fingerprint(), mOwn.fingerprint);
}

bool Membership::Listens(Clock::time_point now) const
{
    return mSawAll && mEngine.Connected() && now - mEchoed < mTimes.decidesFor;
}

std::chrono::nanoseconds Membership::SilentFor(const Watched& watched, Clock::time_point now) const
{
    return now - std::max(watched.changed, mListening);
}

bool Membership::HasGone(const Watched& watched, Clock::time_point now) const
{
    return Listens(now) && SilentFor(watched, now) > (watched.left ? mTimes.leftAfter : mTimes.goneAfter);
}

Membership::Standing Membership::Of(const RelayId& relay) const
{
    const auto now = Clock::now();
    const std::lock_guard lock(mMutex);
    if (relay == mSelf) return Standing::Lives;
    const auto at = mOthers.find(relay.name);
    const bool heard = Listens(now);
    if (at != mOthers.end() && at->second.member.id == relay)
        return !heard ? Standing::Unknown : HasGone(at->second, now) ? Standing::Gone : Standing::Lives;
    // One that has begun another life since, or has none.
    if (relay.name == mSelf.name || at != mOthers.end()) return Standing::Gone;
    return heard && now - mListening > mTimes.goneAfter ? Standing::Gone : Standing::Unknown;
}

std::vector<Membership::Member> Membership::Others() const
{
    const auto now = Clock::now();
    std::vector<Member> others;
    const std::lock_guard lock(mMutex);
    for (const auto& [name, watched] : mOthers)
        if (!HasGone(watched, now)) others.push_back(watched.member);
    return others;
}

std::string Membership::RoomAt(const RelayId& relay) const
{
    const auto now = Clock::now();
    const std::lock_guard lock(mMutex);
    const auto at = mOthers.find(relay.name);
    if (at == mOthers.end() || at->second.member.id != relay || HasGone(at->second, now)) return {};
    const Member& member = at->second.member;
    return member.roomy && !member.draining && !member.stranger ? member.address : std::string();
}

std::vector<RelayFacts> Membership::Facts() const
{
    const auto now = Clock::now();
    std::vector<RelayFacts> all(1);
    const std::lock_guard lock(mMutex);
    const bool inTouch = now - mTouched < mTimes.decidesFor;
    all[0].name = mSelf.name;
    all[0].address = mOwn.address;
    all[0].own = true;
    all[0].state = mReplaced   ? "replaced"
                   : mStranger ? "has another key"
                   : mDraining ? "leaving"
                   : inTouch   ? "in touch"
                               : "out of touch";
    for (const auto& [name, watched] : mOthers) {
        const Member& member = watched.member;
        RelayFacts& one = all.emplace_back();
        one.name = name;
        one.address = member.address;
        if (HasGone(watched, now))
            one.state = member.draining ? "stopped" : "gone";
        else
            one.state = member.stranger && !mStranger ? "has another key"
                        : member.draining             ? "leaving"
                        : Listens(now)                ? "in touch"
                                                      : "not known";
    }
    return all;
}

// --- this one --------------------------------------------------------------------------------------

// The others wait for less long where this one has no connection.
bool Membership::MayDecide() const
{
    const bool connected = mEngine.Connected();
    const std::lock_guard lock(mMutex);
    return Clock::now() - mTouched < (connected ? mTimes.decidesFor : mTimes.leftAfter * 3 / 4);
}

bool Membership::TakesNobody() const
{
    const std::lock_guard lock(mMutex);
    return mCutOff || mDraining || mStranger || mReplaced;
}

bool Membership::Draining() const
{
    const std::lock_guard lock(mMutex);
    return mDraining;
}

void Membership::Drain()
{
    {
        const std::lock_guard lock(mMutex);
        mDraining = true;
    }
    Post([this] { Write(); });
}

void Membership::HeardInTouch(std::string_view name)
{
    if (name == mSelf.name) return;
    const auto now = Clock::now();
    const std::lock_guard lock(mMutex);
    if (now - mBetter > 2 * mTimes.beat) mBetterSince = now;
    mBetter = mHeard = now;
}

void Membership::HeardOutOfTouch(std::string_view name)
{
    const std::lock_guard lock(mMutex);
    if (name != mSelf.name) mHeard = Clock::now();
}

// Without a connection nobody knows, and they may be; the same where not one word of them comes any more, as
// when this relay's server is cut off with it. When what relays stand on is away for all of them, nobody
// gains by going; and who comes back a moment later than others did is not worse off.
bool Membership::OthersAreBetterOff(Clock::time_point now) const
{
    return !mEngine.Connected() || HearsNobody(now) ||
           (now - mBetter < 2 * mTimes.beat && mBetter - mBetterSince > mTimes.decidesFor);
}

// Of those who were there when this one was in touch last. They may need a moment to find another server.
bool Membership::HearsNobody(Clock::time_point now) const
{
    const auto wasThere = [&](const auto& one) {
        return !one.second.member.draining && one.second.changed + mTimes.goneAfter > mTouched;
    };
    return now - std::max(mHeard, mListening) > 3 * mTimes.cutOffAfter &&
           std::any_of(mOthers.begin(), mOthers.end(), wasThere);
}

void Membership::Tick()
{
    const auto now = Clock::now();
    std::vector<RelayId> gone;
    bool changed = false, cutOff = false, inTouch = false, says = false, refused = false, wasRefused = false;
    {
        const std::lock_guard lock(mMutex);
        if (mStopped) return;
        // This process has slept, and what came meanwhile has not been looked at.
        if (now - mTicked > mTimes.goneAfter / 2) mListening = now;
        mTicked = now;
        AskSilent(now);
        Look(now, gone);
        inTouch = now - mTouched < mTimes.decidesFor;
        says = !mDraining && !mReplaced;
        cutOff = mReplaced || (now - mTouched > mTimes.cutOffAfter && (mCutOff || OthersAreBetterOff(now)));
        changed = cutOff != std::exchange(mCutOff, cutOff);
        refused = !cutOff && now - mTouched > mTimes.cutOffAfter;
        wasRefused = std::exchange(mRefused, refused);
    }
    Write();
    if (says) mEngine.Publish(inTouch ? kInTouch : kOutOfTouch, mSelf.name);
    SayGone(gone);
    if (changed) {
        if (cutOff)
            mLog.error("this relay is out of touch with the others; its clients go to them");
        else
            mLog.info("this relay is in touch with the others again");
        mListener.cutOff(cutOff);
    }
    if (refused && !wasRefused)
        mLog.error(
            "the servers that the relays share take nothing: more than half of them must be there. Until "
            "then nobody comes in, and what is sent waits");
    if (wasRefused && !refused && !cutOff) mLog.info("the servers that the relays share take again");
    mTimer.expires_after(mTimes.beat / 2);
    mTimer.async_wait([weak = weak_from_this()](boost::system::error_code error) {
        const auto self = weak.lock();
        if (self && !error) self->Tick();
    });
}

void Membership::SayGone(const std::vector<RelayId>& gone)
{
    for (const RelayId& one : gone) {
        mLog.warn("relay {} is gone", one.name);
        mListener.gone(one);
    }
}

void Membership::Look(Clock::time_point now, std::vector<RelayId>& gone)
{
    for (const auto& [name, watched] : mOthers)
        if (HasGone(watched, now) && mSaidGone.emplace(watched.member.id, true).second)
            gone.push_back(watched.member.id);
}

// Where a process has ended its connection has, and the engine knows that at once. With the lock held.
void Membership::AskSilent(Clock::time_point now)
{
    if (!Listens(now)) return;
    for (auto& [name, watched] : mOthers) {
        const RelayId id = watched.member.id;
        if (watched.left || watched.asking || mSaidGone.contains(id)) continue;
        if (SilentFor(watched, now) <= mTimes.leftAfter) continue;
        watched.asking = true;
        mEngine.Ask(Lines::QuestionsOf(id), {}, mTimes.beat,
                    [weak = weak_from_this(), id](EngineResult result, const std::string&) {
                        if (const auto self = weak.lock()) self->Answered(id, result);
                    });
    }
}

void Membership::Answered(const RelayId& relay, EngineResult result)
{
    Post([this, relay, result] {
        std::vector<RelayId> gone;
        {
            const auto now = Clock::now();
            const std::lock_guard lock(mMutex);
            const auto at = mOthers.find(relay.name);
            if (at == mOthers.end()) return;
            at->second.asking = false;
            if (at->second.member.id != relay) return;
            at->second.left =
                result == EngineResult::Missing && SilentFor(at->second, now) > mTimes.leftAfter;
            Look(now, gone);
        }
        SayGone(gone);
    });
}

// One at a time; asked for twice as often as is needed.
void Membership::Write()
{
    const auto now = Clock::now();
    if (mWriting || mReplaced) return;
    const auto weak = weak_from_this();
    if (!mLearned) {
        mWriting = true;
        return mEngine.Get(kRelays, mSelf.name, [weak](EngineResult result, EngineEntry entry) {
            const auto self = weak.lock();
            if (!self) return;
            self->Post([self = self.get(), result, entry = std::move(entry)] {
                self->mWriting = false;
                if (result == EngineResult::Away) return;
                self->Learn(entry);
                self->Write();
            });
        });
    }
    words::RelayRecord record;
    std::uint64_t expected = 0;
    {
        const std::lock_guard lock(mMutex);
        if (mStopped) return;
        if (now - mTouched < mTimes.beat * 3 / 4 && !mDraining) return;
        record.set_draining(mDraining || mStranger);
        record.set_beat(++mBeat);
        expected = mSequence;
    }
    record.set_incarnation(mSelf.incarnation);
    record.set_address(mOwn.address);
    record.set_fingerprint(mOwn.fingerprint);
    record.set_roomy(mOwn.roomy());
    mWriting = true;
    mEngine.Put(
        kRelays, mSelf.name, record.SerializeAsString(), expected,
        [weak, now](EngineResult result, std::uint64_t sequence) {
            const auto self = weak.lock();
            if (!self) return;
            self->Post([self = self.get(), now, result, sequence] { self->Written(now, result, sequence); });
        });
}

// Whoever stands there: an earlier life, or a record of this one whose answer was lost. Or a later life, when
// this one had stood still or another relay is called the same: who began last stays, or both would throw
// each other's clients out in turn.
void Membership::Learn(const EngineEntry& entry)
{
    words::RelayRecord record;
    const std::lock_guard lock(mMutex);
    const bool other = !entry.bytes.empty() && record.ParseFromString(entry.bytes) &&
                       record.incarnation() != mSelf.incarnation;
    if (other && mTaken && entry.sequence > mSequence) {
        mReplaced = true;
        mLog.error("another relay has begun that calls itself {}, too: this one takes nobody any more",
                   mSelf.name);
    }
    mSequence = entry.sequence;
    mLearned = true;
}

void Membership::Written(Clock::time_point asked, EngineResult result, std::uint64_t sequence)
{
    mWriting = false;
    if (result != EngineResult::Ok) {
        mLearned = false;  // it may stand there or not
        return;
    }
    const std::lock_guard lock(mMutex);
    mTaken = true;
    mSequence = sequence;
    mTouched = asked;
}

}  // namespace zephyl
