#include "service/relay/cluster/nats_line.h"

#include <algorithm>
#include <charconv>
#include <random>
#include <utility>

#include "service/relay/cluster/jetstream.h"

namespace zephyl {
using namespace std::chrono_literals;
using std::chrono::milliseconds;
namespace {

constexpr std::size_t kAboveBytes = 16 * 1024;  // of headers and names
constexpr milliseconds kTick = 100ms;           // how exact patience is
constexpr milliseconds kBeat = 500ms;           // a word to oneself
constexpr milliseconds kSilence = 3s;           // without hearing anything: the connection is lost
constexpr milliseconds kPause = 250ms;          // until the next server is tried
constexpr milliseconds kProbe = 1s;             // for one answer of another server

std::string NameOf(const NatsServer& server)
{
    const bool v6 = server.host.find(':') != std::string::npos;
    return (v6 ? "[" + server.host + "]" : server.host) + ":" + server.port;
}

}  // namespace

// --- the connection --------------------------------------------------------------------------------

NatsLine::NatsLine(std::vector<NatsServer> servers, Open open, Say say)
    : mServers(std::move(servers)),
      mOpen(std::move(open)),
      mSay(std::move(say)),
      mInbox("_INBOX." + jetstream::RandomWord() + "."),
      mOwnInbox("_INBOX." + jetstream::RandomWord() + "."),
      mServer(std::random_device()() % mServers.size())
{
    mAlive->line = this;
}

void NatsLine::Start()
{
    mSender = std::thread([this] { Work(); });
    mConnector = std::thread([this] { KeepConnected(); });
}

void NatsLine::Stop()
{
    {
        const std::lock_guard lock(mAlive->mutex);
        mAlive->line = nullptr;
    }
    {
        const std::lock_guard lock(mMutex);
        mStop = true;
    }
    mNews.notify_all();
    mConnector.join();  // the other thread answers it
    {
        const std::lock_guard lock(mMutex);
        mSent = true;
    }
    mWork.notify_all();
    mSender.join();
    Lose();
}

void NatsLine::KeepConnected()
{
    std::unique_lock lock(mMutex);
    while (!mStop) {
        lock.unlock();
        Wire wire = Connect();
        // Later ones count at once: words go by them while JetStream finds itself a leader.
        const bool usable = wire && (mPrepared || Prepare());
        mPrepared = mPrepared || usable;
        lock.lock();
        if (usable && !mLost && !mStop) {
            mConnected = true;
            for (const auto& [subject, ears] : mListeners)
                Do([subject = subject](NatsConnection& connection) { connection.Listen(subject); });
            BeginAnew();
            lock.unlock();
            Tell("");
            lock.lock();
            while (!mLost && !mStop) {
                mNews.wait(lock, [this] { return mLost || mStop || mDoubted || mWhoIsThere; });
                if (std::exchange(mWhoIsThere, false)) {
                    lock.unlock();
                    const bool everybody = AllLetSomebodyIn();
                    lock.lock();
                    if (!mLost && !mStop) SeeWhoIsThere(everybody);
                }
                if (mLost || mStop || !std::exchange(mDoubted, false)) continue;
                lock.unlock();
                const bool leave = AnotherIsBetter();
                lock.lock();
                mLost = mLost || leave;
            }
        }
        lock.unlock();
        Lose();
        wire.reset();
        lock.lock();
        mNews.wait_for(lock, kPause, [this] { return mStop; });
    }
}

NatsLine::Wire NatsLine::Connect()
{
    const NatsServer& server = mServers[mServer++ % mServers.size()];
    {
        const std::lock_guard lock(mMutex);
        mLost = false;
    }
    try {
        Wire wire = mOpen(
            server, [this](const NatsMessage& message) { Take(message); },
            [this] {
                const std::lock_guard lock(mMutex);
                mLost = true;
                mNews.notify_all();
            });
        if (wire->MostBytes() < kEngineBytes + kAboveBytes)
            throw NatsAway("its max_payload is too small: it must be 1 MiB or more");
        wire->Listen(mInbox + "*");
        const std::lock_guard lock(mMutex);
        mWire = wire;
        mHere = NameOf(server);
        mHeard = mBeaten = Clock::now();
        return wire;
    } catch (const NatsAway& away) {
        Tell(NameOf(server) + ": " + away.what());
        return nullptr;
    }
}

void NatsLine::Lose()
{
    Wire wire;
    bool was = false;
    Call([&] {
        std::map<std::uint64_t, Asked> asked;
        {
            const std::lock_guard lock(mMutex);
            was = std::exchange(mConnected, false);
            asked.swap(mAsked);
            wire.swap(mWire);
            mOutgoing.clear();
        }
        for (auto& [token, one] : asked) (*one.take)(nullptr);
    });
    if (was) Tell("the connection to the servers was lost");
}

void NatsLine::Doubt()
{
    mDoubted = true;
    mNews.notify_all();
}

void NatsLine::LookWhoIsThere()
{
    mWhoIsThere = true;
    mNews.notify_all();
}

bool NatsLine::AllLetSomebodyIn()
{
    try {
        for (std::size_t i = 0; i + 1 < mServers.size(); ++i) {
            mOpen(
                mServers[(mServer + i) % mServers.size()], [](const NatsMessage&) {}, [] {});
            const std::lock_guard lock(mMutex);
            if (mStop || mLost) return false;
        }
        return true;
    } catch (const NatsAway&) {
        return false;
    }
}

// The one that is becomes the next to be tried. All may have found their leader meanwhile, this one too.
bool NatsLine::AnotherIsBetter()
{
    const std::size_t count = mServers.size(), own = mServer + count - 1;
    for (std::size_t next = mServer; next < own; ++next) {
        if (IsWell(mServers[next % count])) {
            if (IsWell(mServers[own % count])) return false;
            mServer = next;
            return true;
        }
        const std::lock_guard lock(mMutex);
        if (mStop || mLost) return false;
    }
    return false;
}

bool NatsLine::IsWell(const NatsServer& server) const
{
    std::mutex mutex;
    std::condition_variable news;
    bool well = false;
    try {
        const Wire wire = mOpen(
            server,
            [&](const NatsMessage& message) {
                if (!IsWell(message)) return;
                const std::lock_guard lock(mutex);
                well = true;
                news.notify_all();
            },
            [] {});
        const std::string inbox = "_INBOX." + jetstream::RandomWord();
        wire->Listen(inbox);
        wire->Send(Probe(), inbox, {}, {});
        std::unique_lock lock(mutex);
        news.wait_for(lock, kProbe, [&] { return well; });
        return well;
    } catch (const NatsAway&) {
        return false;
    }
}

void NatsLine::GiveUp()
{
    mLost = true;
    mNews.notify_all();
}

// Also tells those who want to know of each change.
void NatsLine::Tell(const std::string& what)
{
    std::vector<std::weak_ptr<Ear<bool>>> changed;
    bool connected = false;
    {
        const std::lock_guard lock(mMutex);
        connected = mConnected;
        changed = mChanged;
        mTrouble = what;
    }
    Call([&] {
        if (what.empty() ? !mTroubles.empty() : mTroubles.insert(what).second) mSay(what);
        if (what.empty()) mTroubles.clear();
        for (const auto& one : changed)
            if (const auto ear = one.lock()) (*ear)(connected);
    });
}

bool NatsLine::Connected() const
{
    const std::lock_guard lock(mMutex);
    return mConnected;
}

EngineFacts NatsLine::OfConnection() const
{
    EngineFacts facts;
    facts.connected = mConnected;
    facts.servers = mServers.size();
    if (mConnected) facts.server = mHere;
    if (!mConnected) facts.problem = mTrouble.empty() ? "no server has been reached yet" : mTrouble;
    return facts;
}

Engine::Ears NatsLine::WhenChanged(Changed changed)
{
    const std::lock_guard lock(mMutex);
    auto ear = std::make_shared<Ear<bool>>(
        [last = std::make_shared<bool>(mConnected), changed = std::move(changed)](bool connected) {
            if (std::exchange(*last, connected) != connected) changed(connected);
        });
    std::erase_if(mChanged, [](const auto& one) { return one.expired(); });
    mChanged.push_back(ear);
    return Ear<bool>::Holder(std::move(ear));
}

// --- sending, and what time brings -----------------------------------------------------------------

void NatsLine::Work()
{
    std::unique_lock lock(mMutex);
    while (!mSent) {
        mWork.wait_for(lock, kTick, [this] { return mSent || !mOutgoing.empty(); });
        while (!mOutgoing.empty()) {
            Outgoing one = std::move(mOutgoing.front());
            mOutgoing.pop_front();
            lock.unlock();
            one.work(*one.wire);
            one = {};  // the end of a connection waits for whom it tells something, who wants the lock
            lock.lock();
        }
        if (Clock::now() - mTicked < kTick) continue;
        mTicked = Clock::now();
        Beat();
        if (mConnected) LookAround();
        lock.unlock();
        CallOverdue();
        lock.lock();
    }
}

// An answer that is being taken is not overdue: calls come one at a time.
void NatsLine::CallOverdue()
{
    Call([this] {
        std::vector<std::shared_ptr<TakeAnswer>> overdue;
        {
            const std::lock_guard lock(mMutex);
            std::vector<std::uint64_t> tokens;
            for (const auto& [token, asked] : mAsked) {
                if (asked.until > Clock::now()) continue;
                overdue.push_back(asked.take);
                tokens.push_back(token);
            }
            for (const std::uint64_t token : tokens) Forget(token);
        }
        for (const auto& take : overdue) (*take)(nullptr);
    });
}

// The library looks after its connection by the wall's clock, and more slowly.
void NatsLine::Beat()
{
    const auto now = Clock::now();
    if (!mWire || now - mBeaten < kBeat) return;
    mBeaten = now;
    Send(mInbox + "beat", {}, {});
    if (now - mHeard >= kSilence) GiveUp();
}

void NatsLine::Do(std::function<void(NatsConnection&)> work)
{
    if (!mWire) return;
    mOutgoing.push_back({mWire, std::move(work)});
    mWork.notify_all();
}

void NatsLine::Send(std::string subject, std::string answerTo, std::string bytes, NatsHeaders headers)
{
    Do([subject = std::move(subject), answerTo = std::move(answerTo), bytes = std::move(bytes),
        headers = std::move(headers)](NatsConnection& connection) {
        connection.Send(subject, answerTo, headers, bytes);
    });
}

std::string NatsLine::Await(milliseconds patience, TakeAnswer take, Inbox inbox)
{
    const std::uint64_t token = ++mLastAsked;
    // Without a connection nothing comes: it is said at the next tick.
    Asked asked{mWire ? Clock::now() + patience : Clock::time_point::min(),
                std::make_shared<TakeAnswer>(std::move(take)),
                {}};
    if (inbox == Inbox::Own) {
        asked.own = mOwnInbox + std::to_string(token);
        Do([own = asked.own](NatsConnection& connection) { connection.Listen(own); });
    }
    const std::string answerTo = inbox == Inbox::Own ? asked.own : mInbox + std::to_string(token);
    mAsked[token] = std::move(asked);
    return answerTo;
}

void NatsLine::Forget(std::uint64_t asked)
{
    const auto at = mAsked.find(asked);
    if (at == mAsked.end()) return;
    if (!at->second.own.empty())
        Do([own = at->second.own](NatsConnection& connection) { connection.Ignore(own); });
    mAsked.erase(at);
}

void NatsLine::Hurry(std::uint64_t asked, milliseconds patience)
{
    const auto at = mAsked.find(asked);
    if (at != mAsked.end()) at->second.until = std::min(at->second.until, Clock::now() + patience);
}

void NatsLine::Request(std::string subject, std::string bytes, NatsHeaders headers, milliseconds patience,
                       TakeAnswer take, Inbox inbox)
{
    std::string answerTo = Await(patience, std::move(take), inbox);
    Send(std::move(subject), std::move(answerTo), std::move(bytes), std::move(headers));
}

// --- what comes ------------------------------------------------------------------------------------

void NatsLine::Call(const std::function<void()>& call)
{
    const std::lock_guard lock(mCalls);
    call();
}

void NatsLine::Take(const NatsMessage& message)
{
    if (message.listened.starts_with(mOwnInbox))
        return TakeAnswered(message.listened.substr(mOwnInbox.size()), message);
    if (message.subject.starts_with(mInbox))
        return TakeAnswered(message.subject.substr(mInbox.size()), message);
    std::vector<std::weak_ptr<WordEar>> ears;
    {
        const std::lock_guard lock(mMutex);
        mHeard = Clock::now();
        if (const auto at = mListeners.find(message.listened); at != mListeners.end()) ears = at->second;
    }
    const EngineWord word{message.subject, message.bytes, message.answerTo};
    Call([&] {
        for (const auto& one : ears)
            if (const auto ear = one.lock()) (*ear)(word);
    });
}

void NatsLine::TakeAnswered(std::string_view name, const NatsMessage& message)
{
    std::uint64_t token = 0;
    std::from_chars(name.data(), name.data() + name.size(), token);
    std::shared_ptr<TakeAnswer> take;
    {
        const std::lock_guard lock(mMutex);
        mHeard = Clock::now();
        if (const auto at = mAsked.find(token); at != mAsked.end()) take = at->second.take;
    }
    if (!take) return;
    Call([&] {
        {
            const std::lock_guard lock(mMutex);
            if (!mAsked.contains(token)) return;  // its time was over meanwhile
        }
        if (!(*take)(&message)) return;
        const std::lock_guard lock(mMutex);
        Forget(token);
    });
}

// --- words -----------------------------------------------------------------------------------------

void NatsLine::Publish(std::string subject, std::string bytes)
{
    const std::lock_guard lock(mMutex);
    if (mConnected) Send(std::move(subject), {}, std::move(bytes));
}

Engine::Ears NatsLine::Listen(std::string subject, Heard heard)
{
    auto ear = std::make_shared<WordEar>(std::move(heard));
    {
        const std::lock_guard lock(mMutex);
        auto& ears = mListeners[subject];
        if (ears.empty() && mConnected)
            Do([subject](NatsConnection& connection) { connection.Listen(subject); });
        ears.push_back(ear);
    }
    return {nullptr, [ear, alive = mAlive, subject = std::move(subject)](void*) mutable {
                ear->Close();
                ear.reset();
                const std::lock_guard lock(alive->mutex);
                if (alive->line) alive->line->Quit(subject);
            }};
}

void NatsLine::Quit(const std::string& subject)
{
    const std::lock_guard lock(mMutex);
    const auto at = mListeners.find(subject);
    if (at == mListeners.end()) return;
    std::erase_if(at->second, [](const auto& one) { return one.expired(); });
    if (!at->second.empty()) return;
    mListeners.erase(at);
    if (mConnected) Do([subject](NatsConnection& connection) { connection.Ignore(subject); });
}

void NatsLine::Ask(std::string subject, std::string bytes, milliseconds patience, Answered answered)
{
    const std::lock_guard lock(mMutex);
    Request(std::move(subject), std::move(bytes), {}, patience,
            [answered = std::move(answered)](const NatsMessage* message) {
                if (!message)
                    answered(EngineResult::Away, {});
                else if (!message->status.empty())
                    answered(EngineResult::Missing, {});
                else
                    answered(EngineResult::Ok, std::string(message->bytes));
                return true;
            });
}

}  // namespace zephyl
