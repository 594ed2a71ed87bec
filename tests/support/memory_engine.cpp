#include "support/memory_engine.h"

#include <algorithm>

namespace zephyl {
namespace {

bool Meant(std::string_view where, std::string_view subject)
{
    if (!where.ends_with(".>")) return where == subject;
    const std::size_t front = where.size() - 1;
    return subject.size() > front && subject.compare(0, front, where, 0, front) == 0;
}

}  // namespace

void MemoryCluster::SetFull(bool full)
{
    const std::lock_guard lock(mMutex);
    mFull = full;
    mRefused = 0;
}

void MemoryCluster::WaitForRefusals(int count)
{
    std::unique_lock lock(mMutex);
    mRefusal.wait(lock, [&] { return mRefused >= count; });
}

void MemoryCluster::LoseLast(const std::string& subject)
{
    const std::lock_guard lock(mMutex);
    auto& log = mLogs.at(subject);
    log.erase(std::prev(log.end()));
}

std::size_t MemoryCluster::Entries(const std::string& subject) const
{
    const std::lock_guard lock(mMutex);
    const auto at = mLogs.find(subject);
    return at == mLogs.end() ? 0 : at->second.size();
}

MemoryEngine::MemoryEngine(MemoryCluster& cluster) : mCluster(cluster), mThread([this] { Run(); })
{
    const std::lock_guard lock(mCluster.mMutex);
    mCluster.mEngines.insert(this);
}

MemoryEngine::~MemoryEngine()
{
    Cut();
    Release();
    {
        const std::lock_guard lock(mCluster.mMutex);
        mCluster.mEngines.erase(this);
        std::erase_if(mCalls, [](const Call& call) { return call.kind != Kind::Answer; });
        mStop = true;
    }
    mNews.notify_one();
    mThread.join();
}

void MemoryEngine::Cut()
{
    const std::lock_guard lock(mCluster.mMutex);
    if (!std::exchange(mConnected, false)) return;
    std::erase_if(mCalls, [](const Call& call) { return call.kind == Kind::Word; });
    for (Call& call : mCalls) call.away = true;
    for (auto& [inbox, asked] : mAsked)
        Post(Kind::Answer, [answered = asked.answered](bool) { answered(EngineResult::Away, {}); });
    mAsked.clear();
    Tell(false);
}

// What changed meanwhile is shown again, and what did not.
void MemoryEngine::Mend()
{
    const std::lock_guard lock(mCluster.mMutex);
    if (std::exchange(mConnected, true)) return;
    Tell(true);
    for (const auto& watcher : mWatchers) ShowAll(watcher.where, watcher.ear, {});
}

void MemoryEngine::Tell(bool connected)
{
    Post(Kind::News, [this, connected](bool) {
        for (const auto& one : mChanged)
            if (const auto ear = one.lock()) (*ear)(connected);
    });
}

void MemoryEngine::Hold()
{
    const std::lock_guard lock(mCluster.mMutex);
    mHeld = true;
}

void MemoryEngine::Release()
{
    const std::lock_guard lock(mCluster.mMutex);
    mHeld = false;
    mNews.notify_one();
}

void MemoryEngine::LoseAnswers(int count)
{
    const std::lock_guard lock(mCluster.mMutex);
    mLoses = count;
}

void MemoryEngine::Settle()
{
    std::unique_lock lock(mCluster.mMutex);
    mSettled.wait(lock, [this] { return mCalls.empty() && !mBusy; });
}

bool MemoryEngine::Connected() const
{
    const std::lock_guard lock(mCluster.mMutex);
    return mConnected;
}

void MemoryEngine::Post(Kind kind, std::function<void(bool away)> run)
{
    mCalls.push_back({kind, std::move(run), kind == Kind::Answer && !mConnected});
    mNews.notify_one();
}

void MemoryEngine::Run()
{
    std::unique_lock lock(mCluster.mMutex);
    while (!mStop || !mCalls.empty()) {
        const auto now = Clock::now();
        auto next = Clock::time_point::max();
        for (auto at = mAsked.begin(); at != mAsked.end();) {
            next = std::min(next, at->second.until);
            if (at->second.until > now) {
                ++at;
                continue;
            }
            Post(Kind::Answer, [answered = at->second.answered](bool) { answered(EngineResult::Away, {}); });
            at = mAsked.erase(at);
        }
        if (mCalls.empty() || mHeld) {
            if (next == Clock::time_point::max())
                mNews.wait(lock);
            else
                mNews.wait_until(lock, next);
            continue;
        }
        Call call = std::move(mCalls.front());
        mCalls.pop_front();
        mBusy = true;
        lock.unlock();
        call.run(call.away);
        call.run = nullptr;
        lock.lock();
        mBusy = false;
        if (mCalls.empty()) mSettled.notify_all();
    }
}

Engine::Ears MemoryEngine::WhenChanged(Changed changed)
{
    auto ear = std::make_shared<Ear<bool>>(std::move(changed));
    const std::lock_guard lock(mCluster.mMutex);
    // Looked through on the thread, where nothing is added: so it is added there.
    Post(Kind::News, [this, weak = std::weak_ptr(ear)](bool) { mChanged.push_back(weak); });
    return Ear<bool>::Holder(std::move(ear));
}

void MemoryEngine::Look(GotFacts got)
{
    const std::lock_guard lock(mCluster.mMutex);
    EngineFacts facts;
    facts.connected = facts.answered = mConnected;
    facts.copies = 1;
    for (const auto& [subject, log] : mCluster.mLogs) facts.entries += log.size();
    Post(Kind::Answer, [facts, got = std::move(got)](bool) { got(facts); });
}

// --- words -----------------------------------------------------------------------------------------

void MemoryEngine::Publish(std::string subject, std::string bytes)
{
    if (subject.starts_with("zephyl.relay.")) {
        mBytesToRelays += bytes.size();
        if (mLosesEvery > 0 && ++mWords % mLosesEvery == 0) return;
    }
    const std::lock_guard lock(mCluster.mMutex);
    if (mConnected) Say({subject, bytes, {}});
}

std::size_t MemoryEngine::Say(const EngineWord& word)
{
    std::size_t heard = 0;
    for (MemoryEngine* const engine : mCluster.mEngines) heard += engine->Hear(word) ? 1 : 0;
    return heard;
}

bool MemoryEngine::Hear(const EngineWord& word)
{
    if (!mConnected) return false;
    if (const auto at = mAsked.find(std::string(word.subject)); at != mAsked.end()) {
        Post(Kind::Answer, [answered = at->second.answered, bytes = std::string(word.bytes)](bool away) {
            answered(away ? EngineResult::Away : EngineResult::Ok, bytes);
        });
        mAsked.erase(at);
        return true;
    }
    bool heard = false;
    std::erase_if(mListeners, [](const auto& one) { return one.ear.expired(); });
    for (const auto& one : mListeners) {
        if (!Meant(one.where, word.subject)) continue;
        heard = true;
        Post(Kind::Word, [subject = std::string(word.subject), bytes = std::string(word.bytes),
                          answerTo = std::string(word.answerTo), weak = one.ear](bool) {
            if (const auto ear = weak.lock()) (*ear)({subject, bytes, answerTo});
        });
    }
    return heard;
}

Engine::Ears MemoryEngine::Listen(std::string subject, Heard heard)
{
    auto ear = std::make_shared<WordEar>(std::move(heard));
    const std::lock_guard lock(mCluster.mMutex);
    mListeners.push_back({std::move(subject), ear});
    return WordEar::Holder(std::move(ear));
}

void MemoryEngine::Ask(std::string subject, std::string bytes, std::chrono::milliseconds patience,
                       Answered answered)
{
    const std::lock_guard lock(mCluster.mMutex);
    if (!mConnected) return Post(Kind::Answer, [answered](bool) { answered(EngineResult::Away, {}); });
    const std::string inbox =
        "inbox." + std::to_string(reinterpret_cast<std::uintptr_t>(this)) + "." + std::to_string(++mInboxes);
    if (Say({subject, bytes, inbox}) == 0)
        return Post(Kind::Answer, [answered](bool away) {
            answered(away ? EngineResult::Away : EngineResult::Missing, {});
        });
    mAsked[inbox] = {Clock::now() + patience, std::move(answered)};
    mNews.notify_one();
}

// --- logs ------------------------------------------------------------------------------------------

void MemoryEngine::AnswerWrite(EngineResult result, std::uint64_t sequence, Stored stored)
{
    const bool lost = result == EngineResult::Ok && mLoses > 0 && mLoses-- > 0;
    if (lost) result = EngineResult::Away;
    Post(Kind::Answer, [result, sequence, stored = std::move(stored)](bool away) {
        const EngineResult seen = away ? EngineResult::Away : result;
        stored(seen, seen == EngineResult::Ok ? sequence : 0);
    });
}

void MemoryEngine::Append(std::string subject, std::string bytes, std::uint64_t expectedLast, Stored stored)
{
    const std::lock_guard lock(mCluster.mMutex);
    if (!mConnected) return AnswerWrite(EngineResult::Away, 0, std::move(stored));
    if (mUnheard > 0)
        --mUnheard;
    else
        Say({subject, bytes, {}});
    auto& log = mCluster.mLogs[subject];
    const std::uint64_t last = log.empty() ? 0 : log.rbegin()->first;
    EngineResult result = mCluster.mFull ? EngineResult::Full : EngineResult::Ok;
    if (last != expectedLast) result = EngineResult::Other;
    if (result == EngineResult::Ok) log[++mCluster.mLast] = std::move(bytes);
    AnswerWrite(result, mCluster.mLast, std::move(stored));
}

void MemoryEngine::Read(std::string subject, std::uint64_t from, std::size_t bytes, GotAll got)
{
    const std::lock_guard lock(mCluster.mMutex);
    std::vector<EngineEntry> found;
    const auto& log = mCluster.mLogs[subject];
    std::size_t taken = 0;
    for (auto at = log.lower_bound(from); mConnected && at != log.end() && (taken == 0 || taken < bytes);
         ++at) {
        taken += at->second.size();
        found.push_back({subject, at->first, at->second});
    }
    Post(Kind::Answer, [found = std::move(found), got = std::move(got)](bool away) {
        if (away) return got(EngineResult::Away, {});
        got(EngineResult::Ok, found);
    });
}

void MemoryEngine::Last(std::string subject, Got got)
{
    const std::lock_guard lock(mCluster.mMutex);
    const auto& log = mCluster.mLogs[subject];
    EngineEntry last;
    if (!log.empty()) last = {std::move(subject), log.rbegin()->first, log.rbegin()->second};
    Post(Kind::Answer, [last = std::move(last), got = std::move(got)](bool away) {
        if (away) return got(EngineResult::Away, {});
        got(last.sequence > 0 ? EngineResult::Ok : EngineResult::Missing, last);
    });
}

void MemoryEngine::Purge(std::string subject, std::uint64_t before, Done done)
{
    const std::lock_guard lock(mCluster.mMutex);
    auto& log = mCluster.mLogs[subject];
    if (before != kEveryEntry && !log.empty()) before = std::min(before, log.rbegin()->first);
    if (mConnected) log.erase(log.begin(), log.lower_bound(before));
    Post(Kind::Answer,
         [done = std::move(done)](bool away) { done(away ? EngineResult::Away : EngineResult::Ok); });
}

// --- values ----------------------------------------------------------------------------------------

void MemoryEngine::Get(std::string bucket, std::string key, Got got)
{
    const std::lock_guard lock(mCluster.mMutex);
    const MemoryCluster::Value value = mCluster.mBuckets[bucket][key];
    Post(Kind::Answer, [value, got = std::move(got)](bool away) {
        if (away) return got(EngineResult::Away, {});
        const bool there = value.entry.sequence > 0 && !value.removed;
        got(there ? EngineResult::Ok : EngineResult::Missing, value.entry);
    });
}

EngineResult MemoryEngine::Write(const std::string& bucket, MemoryCluster::Value value,
                                 std::uint64_t expected)
{
    if (!mConnected) return EngineResult::Away;
    MemoryCluster::Value& stands = mCluster.mBuckets[bucket][value.entry.subject];
    if (stands.entry.sequence != expected) return EngineResult::Other;
    if (mCluster.mFull) {
        ++mCluster.mRefused;
        mCluster.mRefusal.notify_all();
        return EngineResult::Full;
    }
    value.entry.sequence = ++mCluster.mLast;
    stands = std::move(value);
    for (MemoryEngine* const engine : mCluster.mEngines) engine->Show(bucket, stands);
    return EngineResult::Ok;
}

void MemoryEngine::Show(const std::string& bucket, const MemoryCluster::Value& value)
{
    if (!mConnected) return;
    std::erase_if(mWatchers, [](const auto& one) { return one.ear.expired(); });
    for (const auto& one : mWatchers)
        if (one.where == bucket)
            Post(Kind::News, [value, weak = one.ear](bool) {
                if (const auto ear = weak.lock()) (*ear)(value.entry, value.removed);
            });
}

void MemoryEngine::Put(std::string bucket, std::string key, std::string bytes, std::uint64_t expected,
                       Stored stored)
{
    const std::lock_guard lock(mCluster.mMutex);
    const EngineResult result = Write(bucket, {{std::move(key), 0, std::move(bytes)}}, expected);
    AnswerWrite(result, mCluster.mLast, std::move(stored));
}

void MemoryEngine::Remove(std::string bucket, std::string key, std::uint64_t expected, Stored stored)
{
    const std::lock_guard lock(mCluster.mMutex);
    const EngineResult result = Write(bucket, {{std::move(key), 0, {}}, true}, expected);
    AnswerWrite(result, mCluster.mLast, std::move(stored));
}

void MemoryEngine::ShowAll(const std::string& bucket, std::weak_ptr<ValueEar> ear, std::function<void()> all)
{
    std::vector<MemoryCluster::Value> values;
    for (const auto& [key, value] : mCluster.mBuckets[bucket])
        if (value.entry.sequence > 0) values.push_back(value);
    std::sort(values.begin(), values.end(),
              [](const auto& one, const auto& other) { return one.entry.sequence < other.entry.sequence; });
    Post(Kind::News, [values = std::move(values), ear = std::move(ear), all = std::move(all)](bool) {
        for (const auto& value : values)
            if (const auto one = ear.lock()) (*one)(value.entry, value.removed);
        if (all && ear.lock()) all();
    });
}

Engine::Ears MemoryEngine::Watch(std::string bucket, Seen seen, std::function<void()> all)
{
    auto ear = std::make_shared<ValueEar>(std::move(seen));
    const std::lock_guard lock(mCluster.mMutex);
    const std::weak_ptr<ValueEar> weak = ear;
    ShowAll(bucket, weak, std::move(all));
    mWatchers.push_back({std::move(bucket), weak});
    return ValueEar::Holder(std::move(ear));
}

}  // namespace zephyl
