#include "service/relay/cluster/nats_engine.h"

#include <algorithm>
#include <atomic>
#include <boost/json.hpp>
#include <future>
#include <utility>

#include "service/relay/cluster/jetstream.h"

namespace zephyl {
namespace json = boost::json;
using namespace std::chrono_literals;
using std::chrono::milliseconds;
namespace {

constexpr std::size_t kAboveEach = 16 * 1024;  // of headers and names

constexpr milliseconds kPatience = 2s;  // for one answer; what was stored meanwhile is found out later
constexpr milliseconds kLookPatience = 1s;
constexpr milliseconds kUseless = 3s;         // without an answer of JetStream, while it is asked
constexpr milliseconds kNobodyPause = 250ms;  // until one says that nobody was there
constexpr milliseconds kStalled = 3s;         // a consumer of values that says nothing, or was not made
constexpr milliseconds kQuiet = 1500ms;       // one that is there says something every second
constexpr milliseconds kLookPause = 250ms;    // between two looks without one
constexpr milliseconds kForever = 24h;
constexpr milliseconds kLeftStanding = 3s;        // a consumer; its server lets it stand for five
constexpr std::uint64_t kBatch = 1024;            // entries of one read
constexpr std::size_t kPurgedBytes = 512 * 1024;  // of headers, in one read
constexpr std::size_t kErasedAtOnce = 4;          // what is said meanwhile goes the same way

std::string SubjectOf(const std::string& bucket, const std::string& key)
{
    return "$KV.zephyl_" + bucket + "." + key;
}

}  // namespace

std::string StreamOfBucket(const std::string& bucket)
{
    return "KV_zephyl_" + bucket;
}

NatsEngine::NatsEngine(NatsSite site, Open open, Say say)
    : NatsLine(std::move(site.servers), std::move(open), std::move(say)),
      mReplicas(site.replicas),
      mLogBytes(site.logBytes)
{
    ListenWhoHandsOver();
    Start();
}

NatsEngine::~NatsEngine()
{
    Stop();
}

bool NatsEngine::Prepare()
{
    std::promise<std::string> made;
    {
        const std::lock_guard lock(mMutex);
        MakeStream({{"name", kLogStream},
                    {"subjects", json::array{std::string(kEngineLogs) + ">"}},
                    {"max_bytes", mLogBytes > 0 ? static_cast<std::int64_t>(mLogBytes) : -1}},
                   [&](const std::string& trouble) { made.set_value(trouble); });
    }
    const std::string trouble = made.get_future().get();
    if (!trouble.empty())
        Tell("JetStream does not take the stream " + std::string(kLogStream) + ": " + trouble);
    return trouble.empty();
}

// Its leader answers, which nobody reaches who is cut off, and which nobody is for some seconds when that one
// was lost.
std::string NatsEngine::Probe() const
{
    return jetstream::kApi + ("STREAM.INFO." + std::string(kLogStream));
}

bool NatsEngine::IsWell(const NatsMessage& answer) const
{
    const auto stream = jetstream::StreamIn(jetstream::AnswerIn(&answer));
    return stream && stream->led;
}

// One that there is already is taken as it is: who keeps the servers may have given it other bounds.
void NatsEngine::MakeStream(json::object config, Made made)
{
    const std::string name(config["name"].as_string());
    config["retention"] = "limits";
    config["storage"] = "file";
    config["discard"] = "new";
    config["num_replicas"] = mReplicas;
    config["duplicate_window"] = jetstream::kSecond;
    const auto look = [this, name, made = std::move(made)](const NatsMessage* message) {
        const json::value answer = jetstream::AnswerIn(message);
        if (jetstream::Member(answer, "config")) {
            made("");
            return true;
        }
        const json::value* const error = jetstream::Member(answer, "error");
        const std::string trouble =
            error ? jetstream::Text(jetstream::Member(*error, "description")) : "it does not answer";
        const std::lock_guard lock(mMutex);
        Request(jetstream::kApi + ("STREAM.INFO." + name), {}, {}, kPatience,
                [made, trouble](const NatsMessage* again) {
                    made(jetstream::Member(jetstream::AnswerIn(again), "config") ? "" : trouble);
                    return true;
                });
        return true;
    };
    Request(jetstream::kApi + ("STREAM.CREATE." + name), json::serialize(config), {}, kPatience, look);
}

void NatsEngine::MakeBucket(const std::string& bucket, Made made)
{
    MakeStream({{"name", StreamOfBucket(bucket)},
                {"subjects", json::array{SubjectOf(bucket, ">")}},
                {"max_msgs_per_subject", 1},
                {"deny_delete", true},
                {"allow_rollup_hdrs", true}},
               std::move(made));
}

// In the order of the calls: until it counts as made each asks for it, and answers keep the questions' order.
void NatsEngine::WithBucket(const std::string& bucket, std::function<void(bool there)> then)
{
    {
        const std::lock_guard lock(mMutex);
        if (!mBuckets.contains(bucket))
            return MakeBucket(bucket, [this, bucket, then = std::move(then)](const std::string& trouble) {
                then(trouble.empty());
                const std::lock_guard again(mMutex);
                if (trouble.empty()) mBuckets.insert(bucket);
            });
    }
    then(true);
}

void NatsEngine::Look(GotFacts got)
{
    const std::lock_guard lock(mMutex);
    Request(jetstream::kApi + (std::string("STREAM.INFO.") + kLogStream), {}, {}, kLookPatience,
            [facts = OfConnection(), got = std::move(got)](const NatsMessage* message) mutable {
                const json::value answer = jetstream::AnswerIn(message);
                const auto stream = jetstream::StreamIn(answer);
                const json::value* const error = jetstream::Member(answer, "error");
                facts.answered = stream && stream->led;
                if (stream) {
                    facts.entries = stream->messages;
                    facts.bytes = stream->bytes;
                    facts.limitBytes = stream->limitBytes;
                    facts.copies = stream->replicas;
                    facts.copiesBehind = stream->behind;
                }
                if (!facts.answered && facts.problem.empty())
                    facts.problem = error ? jetstream::Text(jetstream::Member(*error, "description"))
                                          : "JetStream does not answer: too few of its servers are there";
                got(std::move(facts));
                return true;
            });
}

// --- logs ------------------------------------------------------------------------------------------

void NatsEngine::Append(std::string subject, std::string bytes, std::uint64_t expectedLast, Stored stored)
{
    Write(std::move(subject), std::move(bytes), expectedLast, false, std::move(stored));
}

void NatsEngine::AskJetStream(std::string subject, std::string bytes, NatsHeaders headers, TakeAnswer take,
                              Inbox inbox)
{
    const auto token = std::make_shared<std::uint64_t>(0);
    Request(
        std::move(subject), std::move(bytes), std::move(headers), kPatience,
        [this, token, take = std::move(take)](const NatsMessage* message) {
            const bool nobody = message && jetstream::IsLeaderless(*message);
            {
                const std::lock_guard lock(mMutex);
                if (message && !nobody)
                    mUnanswered.reset();
                else if (!mUnanswered)
                    mUnanswered = Clock::now();
                else if (IsConnected() && Clock::now() - *mUnanswered > kUseless) {
                    mUnanswered = Clock::now();
                    Doubt();
                }
                if (nobody) {
                    Hurry(*token, kNobodyPause);
                    return false;
                }
            }
            return take(message);
        },
        inbox);
    *token = LastAsked();
}

void NatsEngine::Write(std::string subject, std::string bytes, std::uint64_t expected, bool removes,
                       Stored stored)
{
    NatsHeaders headers{{"Nats-Expected-Last-Subject-Sequence", std::to_string(expected)}};
    if (removes) headers.emplace_back("KV-Operation", "DEL");
    const std::lock_guard lock(mMutex);
    AskJetStream(std::move(subject), std::move(bytes), std::move(headers),
                 [stored = std::move(stored)](const NatsMessage* message) {
                     const json::value answer = jetstream::AnswerIn(message);
                     const std::uint64_t sequence = jetstream::Number(jetstream::Member(answer, "seq"));
                     EngineResult result = jetstream::ResultOf(answer);
                     if (result == EngineResult::Ok && sequence == 0) result = EngineResult::Away;
                     stored(result, result == EngineResult::Ok ? sequence : 0);
                     return true;
                 });
}

struct NatsEngine::Reading {
    jetstream::Consumer consumer;
    std::uint64_t from;
    std::size_t bytes;
    GotAll got;
    std::uint64_t end = kEveryEntry;  // no more behind the first from here on
    std::uint64_t batch = 0;
    std::vector<EngineEntry> entries{};
    std::size_t taken = 0;
    std::uint64_t number = 0;  // of what its consumer gave last
    bool goesOn = false;       // with the consumer of the read before
    bool standing = false;     // its consumer stands behind what was taken, and there is more
};

// nats-server 2.9 takes 0.2 ms for each entry that a consumer gives which began in the middle of a file,
// and a hundredth of that where one goes on from the file's beginning: so who reads on goes on with the same
// one.
void NatsEngine::Read(std::string subject, std::uint64_t from, std::size_t bytes, GotAll got)
{
    const auto reading = std::make_shared<Reading>(Reading{
        {kLogStream, {}, std::move(subject)}, std::max<std::uint64_t>(from, 1), bytes, std::move(got)});
    {
        const std::lock_guard lock(mMutex);
        const auto left = mLeft.find(reading->consumer.filter);
        if (left != mLeft.end() && left->second.next == reading->from &&
            Clock::now() - left->second.since < kLeftStanding) {
            reading->consumer = left->second.consumer;
            reading->number = left->second.number;
            mLeft.erase(left);
            reading->goesOn = true;
            reading->batch = kBatch;
            return Fetch(reading, false);
        }
    }
    StartReading(reading, What::Whole);
}

void NatsEngine::StartReading(const std::shared_ptr<Reading>& reading, What what)
{
    reading->consumer.name = jetstream::RandomWord();
    const std::string config = reading->consumer.Config({{"deliver_policy", "by_start_sequence"},
                                                         {"opt_start_seq", reading->from},
                                                         {"headers_only", what == What::Headers}});
    const std::lock_guard lock(mMutex);
    AskJetStream(reading->consumer.CreateApi(), config, {}, [this, reading](const NatsMessage* message) {
        const json::value answer = jetstream::AnswerIn(message);
        reading->batch = std::min(jetstream::Number(jetstream::Member(answer, "num_pending")), kBatch);
        const bool made = jetstream::Member(answer, "config") != nullptr;
        if (!made) {
            ReadOtherwise(reading);
        } else if (reading->batch == 0) {
            Finish(*reading, EngineResult::Ok);
        } else {
            const std::lock_guard again(mMutex);
            Fetch(reading, false);
        }
        return true;
    });
}

void NatsEngine::Finish(Reading& reading, EngineResult result)
{
    {
        const std::lock_guard lock(mMutex);
        if (result == EngineResult::Ok && reading.standing)
            Leave(reading);
        else
            Send(reading.consumer.Api("DELETE"), {}, {});
    }
    if (result != EngineResult::Ok) reading.entries.clear();
    reading.got(result, std::move(reading.entries));
}

// That consumer has gone, or what it gave got lost.
bool NatsEngine::BeginAgain(const std::shared_ptr<Reading>& reading)
{
    reading->goesOn = false;
    reading->entries.clear();
    reading->taken = reading->number = 0;
    StartReading(reading, What::Whole);
    return true;
}

// Its server removes it, where nobody goes on with it.
void NatsEngine::Leave(const Reading& reading)
{
    const auto now = Clock::now();
    std::erase_if(mLeft, [&](const auto& one) { return now - one.second.since >= kLeftStanding; });
    mLeft[reading.consumer.filter] = {reading.consumer, reading.entries.back().sequence + 1, reading.number,
                                      now};
}

void NatsEngine::Fetch(const std::shared_ptr<Reading>& reading, bool one)
{
    json::object wanted{{"batch", one ? 1 : reading->batch}, {"no_wait", true}};
    if (!one) wanted["max_bytes"] = reading->bytes + kAboveEach;
    AskJetStream(
        reading->consumer.Api("MSG.NEXT"), json::serialize(wanted), {},
        [this, reading, one](const NatsMessage* message) {
            const auto place = message ? jetstream::StandingOf(message->answerTo) : std::nullopt;
            const bool larger = !place && message && message->status == "409";  // than what was asked for
            const bool ended = message && !message->status.empty() && message->status != "503";
            const bool missed = place ? place->number != ++reading->number : !ended;
            if (reading->goesOn && missed) return BeginAgain(reading);
            if (place) {
                reading->entries.push_back(
                    {std::string(message->subject), place->sequence, std::string(message->bytes)});
                reading->taken += message->bytes.size();
                const bool counted = one || reading->entries.size() == reading->batch;
                if (!counted && place->pending > 0 && reading->taken < reading->bytes &&
                    place->sequence < reading->end)
                    return false;
                reading->standing = counted && place->pending > 0;
            } else if (larger && reading->entries.empty() && !one) {
                const std::lock_guard lock(mMutex);
                Fetch(reading, true);
                return true;
            } else {
                reading->standing = larger && !reading->entries.empty();
            }
            if (place || ended)
                Finish(*reading, EngineResult::Ok);
            else
                ReadOtherwise(reading);
            return true;
        },
        Inbox::Own);
}

void NatsEngine::ReadOtherwise(const std::shared_ptr<Reading>& reading)
{
    {
        const std::lock_guard lock(mMutex);
        if (IsConnected())
            return ReadEach(reading,
                            reading->entries.empty() ? reading->from : reading->entries.back().sequence + 1);
    }
    Finish(*reading, EngineResult::Away);
}

// What has come before an answer is missed is all that was wanted for now.
void NatsEngine::ReadEach(const std::shared_ptr<Reading>& reading, std::uint64_t from)
{
    GetNext(
        kLogStream, reading->consumer.filter, from,
        [this, reading](EngineResult result, jetstream::StoredMessage next) {
            const bool there = result == EngineResult::Ok;
            if (there) {
                reading->taken += next.bytes.size();
                reading->entries.push_back({std::move(next.subject), next.sequence, std::move(next.bytes)});
            }
            const bool missed = !there && result != EngineResult::Missing && reading->entries.empty();
            if (!there || reading->taken >= reading->bytes || reading->entries.size() >= kBatch)
                return Finish(*reading, missed ? EngineResult::Away : EngineResult::Ok);
            const std::lock_guard lock(mMutex);
            ReadEach(reading, reading->entries.back().sequence + 1);
        });
}

void NatsEngine::GetNext(const std::string& stream, const std::string& subjects, std::uint64_t from,
                         GotNext got)
{
    AskJetStream(jetstream::kApi + ("STREAM.MSG.GET." + stream),
                 json::serialize(json::object{{"seq", from}, {"next_by_subj", subjects}}), {},
                 [got = std::move(got)](const NatsMessage* message) {
                     const json::value answer = jetstream::AnswerIn(message);
                     auto found = jetstream::StoredIn(answer);
                     const EngineResult result = jetstream::ResultOf(answer);
                     if (found)
                         got(EngineResult::Ok, std::move(*found));
                     else
                         got(result == EngineResult::Missing ? result : EngineResult::Away, {});
                     return true;
                 });
}

void NatsEngine::Last(std::string subject, Got got)
{
    const std::lock_guard lock(mMutex);
    GetLast(kLogStream, std::move(subject), std::move(got));
}

// By the stream's leader, which alone knows what was written last.
void NatsEngine::GetLast(const std::string& stream, std::string subject, Got got)
{
    AskJetStream(jetstream::kApi + ("STREAM.MSG.GET." + stream),
                 json::serialize(json::object{{"last_by_subj", subject}}), {},
                 [got = std::move(got), subject](const NatsMessage* message) {
                     const json::value answer = jetstream::AnswerIn(message);
                     auto found = jetstream::StoredIn(answer);
                     EngineResult result =
                         answer.is_null() ? EngineResult::Away : jetstream::ResultOf(answer);
                     if (!found) {
                         got(result == EngineResult::Ok ? EngineResult::Away : result, {subject, 0, {}});
                         return true;
                     }
                     got(found->removes ? EngineResult::Missing : EngineResult::Ok,
                         {subject, found->sequence, std::move(found->bytes)});
                     return true;
                 });
}

// Each entry by itself. JetStream has a purge, but a server before 2.9.18 that starts anew takes each one
// that is still in the log of its cluster for a purge of the whole stream: of all meetings. What comes while
// this lasts is none of it.
void NatsEngine::Purge(std::string subject, std::uint64_t before, Done done)
{
    if (before != kEveryEntry) return PurgeUpTo(std::move(subject), before, Rest::Stays, std::move(done));
    Last(subject, [this, subject, done = std::move(done)](EngineResult result, const EngineEntry& last) {
        if (result == EngineResult::Ok) return PurgeUpTo(subject, last.sequence + 1, Rest::IsNone, done);
        done(result == EngineResult::Missing ? EngineResult::Ok : result);
    });
}

// Whatever stays is at least what was read last.
void NatsEngine::PurgeUpTo(std::string subject, std::uint64_t end, Rest rest, Done done)
{
    GotAll got = [this, subject, end, rest, done = std::move(done)](EngineResult read,
                                                                    std::vector<EngineEntry> entries) {
        const bool all = !entries.empty() && entries.back().sequence + (rest == Rest::IsNone ? 1 : 0) >= end;
        if (rest == Rest::Stays && !entries.empty()) entries.pop_back();
        std::erase_if(entries, [&](const EngineEntry& one) { return one.sequence >= end; });
        if (read != EngineResult::Ok || entries.empty()) return done(read);
        Erase(std::move(entries), [this, subject, end, rest, done, all](EngineResult erased) {
            if (all || erased != EngineResult::Ok) return done(erased);
            PurgeUpTo(subject, end, rest, done);  // what is left of it
        });
    };
    StartReading(
        std::make_shared<Reading>(Reading{{kLogStream, {}, subject}, 1, kPurgedBytes, std::move(got), end}),
        What::Headers);
}

struct NatsEngine::Erasing {
    std::vector<EngineEntry> entries;
    Done done;
    std::size_t next = 0, underWay = 0;
    EngineResult result = EngineResult::Ok;
};

void NatsEngine::Erase(std::vector<EngineEntry> entries, Done done)
{
    const auto erasing = std::make_shared<Erasing>(Erasing{std::move(entries), std::move(done)});
    const std::lock_guard lock(mMutex);
    EraseOn(erasing);
}

void NatsEngine::EraseOn(const std::shared_ptr<Erasing>& erasing)
{
    for (; erasing->underWay < kErasedAtOnce && erasing->next < erasing->entries.size(); ++erasing->next) {
        ++erasing->underWay;
        const json::object which{{"seq", erasing->entries[erasing->next].sequence}, {"no_erase", true}};
        AskJetStream(jetstream::kApi + ("STREAM.MSG.DELETE." + std::string(kLogStream)),
                     json::serialize(which), {}, [this, erasing](const NatsMessage* message) {
                         const bool gone = jetstream::IsGone(jetstream::AnswerIn(message));
                         bool over = false;
                         {
                             const std::lock_guard lock(mMutex);
                             if (!gone) {
                                 erasing->result = EngineResult::Away;
                                 erasing->next = erasing->entries.size();
                             }
                             --erasing->underWay;
                             EraseOn(erasing);
                             over = erasing->underWay == 0;
                         }
                         if (over) erasing->done(erasing->result);
                         return true;
                     });
    }
}

// --- values ----------------------------------------------------------------------------------------

void NatsEngine::Get(std::string bucket, std::string key, Got got)
{
    WithBucket(bucket, [this, bucket, key, got = std::move(got)](bool there) {
        if (!there) return got(EngineResult::Away, {});
        const std::lock_guard lock(mMutex);
        GetLast(StreamOfBucket(bucket), SubjectOf(bucket, key),
                [got, key](EngineResult result, EngineEntry entry) {
                    entry.subject = key;
                    got(result, std::move(entry));
                });
    });
}

void NatsEngine::Put(std::string bucket, std::string key, std::string bytes, std::uint64_t expected,
                     Stored stored)
{
    WithBucket(bucket, [=, this](bool there) {
        if (!there) return stored(EngineResult::Away, 0);
        Write(SubjectOf(bucket, key), bytes, expected, false, stored);
    });
}

void NatsEngine::Remove(std::string bucket, std::string key, std::uint64_t expected, Stored stored)
{
    WithBucket(bucket, [=, this](bool there) {
        if (!there) return stored(EngineResult::Away, 0);
        Write(SubjectOf(bucket, key), {}, expected, true, stored);
    });
}

struct NatsEngine::Watching {
    std::string bucket;
    std::string front;  // of its subjects
    jetstream::Consumer consumer;
    std::uint64_t token = 0;
    std::shared_ptr<ValueEar> ear;
    std::function<void()> all;
    std::atomic<std::uint64_t> round{0};     // of consumers; an older one counts no more
    std::atomic<std::uint64_t> sequence{0};  // seen last
    std::uint64_t number = 0;                // the consumer's own
    Clock::time_point heard{};               // of the consumer, or it was asked for
    Clock::time_point told{};                // by the consumer
    Clock::time_point looked{};              // without it
    bool looking = false;

    void SawAll()
    {
        if (const auto call = std::exchange(all, nullptr)) call();
    }
};

void NatsEngine::BeginAnew()
{
    mUnanswered.reset();
    mLedLast = Clock::now();
    mHanding.clear();
    for (auto& [stream, leading] : mLeading) leading.IsTried(Clock::now());  // what others said was not heard
    for (const auto& one : mWatching)
        if (const auto watching = one.lock()) StartWatch(watching);
}

void NatsEngine::LookAround()
{
    LookWhoLeads();
    const auto now = Clock::now();
    for (const auto& one : mWatching) {
        const auto watching = one.lock();
        if (!watching) continue;
        if (now - watching->heard > kStalled) StartWatch(watching);
        if (now - watching->told > kQuiet && now - watching->looked > kLookPause && !watching->looking &&
            mBuckets.contains(watching->bucket))
            LookForChanges(watching);
    }
}

void NatsEngine::SeeChanges(Watching& watching, const EngineEntry& entry, bool removed)
{
    if (entry.sequence <= watching.sequence) return;
    watching.sequence = entry.sequence;
    (*watching.ear)(entry, removed);
}

void NatsEngine::LookForChanges(const std::shared_ptr<Watching>& watching)
{
    watching->looking = true;
    watching->looked = Clock::now();
    const std::weak_ptr<Watching> weak = watching;
    GetNext(StreamOfBucket(watching->bucket), watching->front + ">", watching->sequence + 1,
            [this, weak](EngineResult result, const jetstream::StoredMessage& next) {
                const auto self = weak.lock();
                if (!self) return;
                if (result == EngineResult::Ok)
                    SeeChanges(*self, {next.subject.substr(self->front.size()), next.sequence, next.bytes},
                               next.removes);
                else if (result == EngineResult::Missing)
                    self->SawAll();
                const std::lock_guard lock(mMutex);
                self->looking = false;
                if (result == EngineResult::Ok && IsConnected()) LookForChanges(self);
            });
}

Engine::Ears NatsEngine::Watch(std::string bucket, Seen seen, std::function<void()> all)
{
    auto watching = std::make_shared<Watching>();
    watching->bucket = bucket;
    watching->front = SubjectOf(bucket, "");
    watching->ear = std::make_shared<ValueEar>(std::move(seen));
    watching->all = std::move(all);
    watching->told = Clock::now();
    const std::lock_guard lock(mMutex);
    std::erase_if(mWatching, [](const auto& one) { return one.expired(); });
    mWatching.push_back(watching);
    if (IsConnected()) StartWatch(watching);
    return {nullptr, [watching, alive = mAlive](void*) {
                watching->ear->Close();
                const std::lock_guard open(alive->mutex);
                if (alive->line) static_cast<NatsEngine*>(alive->line)->QuitWatch(*watching);
            }};
}

void NatsEngine::QuitWatch(Watching& watching)
{
    const std::lock_guard lock(mMutex);
    EndRound(watching);
}

void NatsEngine::EndRound(Watching& watching)
{
    ++watching.round;
    if (watching.token == 0) return;
    Forget(std::exchange(watching.token, 0));
    Send(watching.consumer.Api("DELETE"), {}, {});
}

// Whenever something may have been missed: from what stands there now.
void NatsEngine::StartWatch(const std::shared_ptr<Watching>& watching)
{
    EndRound(*watching);
    const std::uint64_t round = watching->round;
    watching->number = 0;
    watching->heard = Clock::now();
    const std::weak_ptr<Watching> weak = watching;
    if (!mBuckets.contains(watching->bucket)) {
        MakeBucket(watching->bucket, [this, weak, round](const std::string& trouble) {
            const std::lock_guard lock(mMutex);
            const auto self = weak.lock();
            if (!self || self->round != round || !trouble.empty()) return;
            mBuckets.insert(self->bucket);
            StartWatch(self);
        });
        return;
    }
    watching->consumer = {StreamOfBucket(watching->bucket), jetstream::RandomWord(), watching->front + ">"};
    const std::string inbox = Await(
        kForever,
        [this, weak, round](const NatsMessage* message) {
            const auto self = weak.lock();
            return !self || TakeWatched(self, round, message);
        },
        Inbox::Own);
    watching->token = LastAsked();
    const std::string config = watching->consumer.Config({{"deliver_policy", "last_per_subject"},
                                                          {"deliver_subject", inbox},
                                                          {"flow_control", true},
                                                          {"idle_heartbeat", jetstream::kSecond}});
    Request(watching->consumer.CreateApi(), config, {}, kPatience,
            [this, weak, round](const NatsMessage* message) {
                const auto self = weak.lock();
                const json::value answer = jetstream::AnswerIn(message);
                if (self && self->round == round && jetstream::Member(answer, "config") &&
                    self->number == 0 && jetstream::Number(jetstream::Member(answer, "num_pending")) == 0)
                    self->SawAll();
                if (self && !jetstream::Member(answer, "config")) {
                    const std::lock_guard lock(mMutex);
                    self->told = {};
                }
                return true;
            });
}

bool NatsEngine::TakeWatched(const std::shared_ptr<Watching>& watching, std::uint64_t round,
                             const NatsMessage* message)
{
    if (!message || watching->round != round) return true;
    {
        const std::lock_guard lock(mMutex);
        watching->heard = watching->told = Clock::now();
        if (!message->status.empty()) {  // it is still there; or waits until it has been heard
            if (!message->answerTo.empty()) Send(std::string(message->answerTo), {}, {});
            return false;
        }
    }
    const std::optional<jetstream::Standing> place = jetstream::StandingOf(message->answerTo);
    if (!place || place->number != watching->number + 1) {
        const std::lock_guard lock(mMutex);
        StartWatch(watching);
        return true;
    }
    watching->number = place->number;
    SeeChanges(*watching,
               {std::string(message->subject.substr(watching->front.size())), place->sequence,
                std::string(message->bytes)},
               !message->operation.empty());
    if (place->pending == 0) watching->SawAll();
    return false;
}

}  // namespace zephyl
