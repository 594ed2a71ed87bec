// The engine in NATS servers: who leads its streams, and who had better.

#include "service/relay/cluster/nats_engine.h"

namespace zephyl {
using namespace std::chrono_literals;
using std::chrono::milliseconds;
namespace {

constexpr milliseconds kLeaderPatience = 1s;  // for answers
constexpr milliseconds kLeaderPause = 400ms;  // between two looks at who leads
constexpr milliseconds kBlind = 2500ms;       // nobody says who leads
constexpr unsigned kWithAnother = 3;          // servers: one that leads, one that does not hear it, and that
constexpr milliseconds kHandingTime = 3s;     // at most
constexpr char kHandingWord[] = "zephyl.handing.";  // a stream that who says it wants led by another server

}  // namespace

void NatsEngine::ListenWhoHandsOver()
{
    mHandingEars =
        Listen(std::string(kHandingWord) + ">", [this](const EngineWord& word) { HearWhoHandsOver(word); });
}

void NatsEngine::LookWhoLeads()
{
    const auto now = Clock::now();
    std::erase_if(mHanding, [&](const auto& one) { return now - one.second.since > kHandingTime; });
    for (const auto& [stream, handing] : mHanding)
        if (handing.everybodyIsThere) HandOver(stream);
    if (mReplicas < kWithAnother || now - mLookedWhoLeads < kLeaderPause) return;
    mLookedWhoLeads = now;
    if (now - mLedLast > kBlind &&
        mLeading[kLogStream].WasWell(now)) {  // who leads may be reached from another server alone
        mLedLast = now;
        Doubt();
    }
    std::set<std::string> streams{kLogStream};
    for (const std::string& bucket : mBuckets) streams.insert(StreamOfBucket(bucket));
    for (const std::string& stream : streams)
        AskWhoLeads(stream, [this, stream](const jetstream::StreamFacts& facts) {
            if (facts.led && stream == kLogStream) mLedLast = Clock::now();
            if (!mLeading[stream].MayHelp(facts, Clock::now())) return;
            mHanding[stream] = {Clock::now()};
            Send(kHandingWord + stream, {}, mName);
            LookWhoIsThere();
        });
}

// Of two that began at the same moment one goes on.
void NatsEngine::HearWhoHandsOver(const EngineWord& word)
{
    const std::lock_guard lock(mMutex);
    const std::string stream(word.subject.substr(sizeof kHandingWord - 1));
    if (word.bytes == mName || (mHanding.contains(stream) && word.bytes > mName)) return;
    mHanding.erase(stream);
    mLeading[stream].IsTried(Clock::now());
}

void NatsEngine::AskWhoLeads(const std::string& stream,
                             std::function<void(const jetstream::StreamFacts&)> said)
{
    Request(jetstream::kApi + ("STREAM.INFO." + stream), {}, {}, kLeaderPatience,
            [this, said = std::move(said)](const NatsMessage* message) {
                const auto facts = jetstream::StreamIn(jetstream::AnswerIn(message));
                const std::lock_guard lock(mMutex);
                if (facts) said(*facts);
                return !message;
            });
}

void NatsEngine::SeeWhoIsThere(bool everybody)
{
    for (auto& [stream, handing] : mHanding) {
        handing.everybodyIsThere = everybody;
        if (!everybody) mLeading[stream].IsOfNoUse();
    }
    if (!everybody) mHanding.clear();
}

void NatsEngine::HandOver(const std::string& stream)
{
    AskWhoLeads(stream, [this, stream](const jetstream::StreamFacts& facts) {
        jetstream::HandingOver& leading = mLeading[stream];
        if (!mHanding.contains(stream) || !leading.IsTime(facts, Clock::now())) return;
        mHanding.erase(stream);
        leading.IsAsked(Clock::now());
        Request(jetstream::kApi + ("STREAM.LEADER.STEPDOWN." + stream), {}, {}, kLeaderPatience,
                [](const NatsMessage*) { return true; });
    });
}

}  // namespace zephyl
