#include "service/relay/cluster/log_copy.h"

#include <boost/json.hpp>
#include <thread>

#include "service/relay/cluster/nats_asker.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace json = boost::json;
using namespace std::chrono_literals;
namespace {

constexpr std::size_t kChunkBytes = 512 * 1024;
constexpr std::chrono::seconds kMaking = 30s;  // a copy of everything, and everything of a copy
constexpr std::chrono::milliseconds kLook = 100ms;
constexpr int kLeaderTries = 10;  // each of which may take its patience
constexpr std::chrono::milliseconds kTwoBeats = 1500ms;

void Require(const json::value& answer, const std::string& what)
{
    if (const std::string fault = FaultIn(answer); !fault.empty()) throw StartError(what + ": " + fault);
}

std::uint64_t CountIn(const json::value& answer, const char* name)
{
    const json::value* const state = jetstream::Member(answer, "state");
    return state ? jetstream::Number(jetstream::Member(*state, name)) : 0;
}

}  // namespace

std::vector<std::string> CopiedStreams()
{
    return {kLogStream, StreamOfBucket("meetings"), StreamOfBucket("codes")};
}

StreamCopy::StreamCopy(const NatsSite& site, const std::string& stream)
    : mStream(stream), mAsker(AskerOf(site))
{
    const json::value there = mAsker->AskJetStream("STREAM.INFO." + stream);
    if (IsMissing(there)) return;  // there has been no meeting yet
    Require(there, stream + " cannot be copied");
    const json::object wanted{
        {"deliver_subject", mAsker->Inbox()}, {"no_consumers", true}, {"chunk_size", kChunkBytes}};
    const json::value answer =
        mAsker->AskJetStream("STREAM.SNAPSHOT." + stream, json::serialize(wanted), kMaking);
    Require(answer, stream + " cannot be copied");
    const json::value *const config = jetstream::Member(answer, "config"), *const state = jetstream::Member(
                                                                               answer, "state");
    if (!config || !state) throw StartError(stream + " cannot be copied: its servers answer something else");
    mHead = json::serialize(json::object{{"config", *config}, {"state", *state}});
}

StreamCopy::~StreamCopy() = default;

std::optional<std::string> StreamCopy::Next()
{
    if (mHead.empty()) return std::nullopt;
    const auto part = mAsker->Next(kMaking);
    if (!part) throw StartError(mStream + " cannot be copied to its end: its servers say nothing any more");
    if (!part->answerTo.empty()) mAsker->Send(part->answerTo);
    if (!part->bytes.empty()) return part->bytes;
    constexpr const char* all = "204";
    if (!part->status.empty() && part->status != all)
        throw StartError(mStream + " cannot be copied to its end: " + part->status);
    return std::nullopt;
}

PuttingBack::PuttingBack(const NatsSite& site) : mAsker(AskerOf(site))
{
    RefuseIfInUse();
}

PuttingBack::~PuttingBack() = default;

// Servers that have just been started choose one first.
void PuttingBack::WaitForLeader()
{
    std::string fault;
    for (int tries = 0; tries < kLeaderTries; ++tries) {
        fault = FaultIn(mAsker->AskJetStream("INFO"));
        if (fault.empty()) return;
    }
    throw StartError("the servers that keep the meetings take nothing: " + fault);
}

// A relay that is connected writes twice a second that it lives. Codes are put back last: what stands there
// without one nobody finds, and it is what an interrupted restore left.
void PuttingBack::RefuseIfInUse()
{
    const std::string relays = "STREAM.INFO." + StreamOfBucket("relays"),
                      codes = "STREAM.INFO." + StreamOfBucket("codes");
    WaitForLeader();
    const std::uint64_t before = CountIn(mAsker->AskJetStream(relays), "last_seq");
    std::this_thread::sleep_for(kTwoBeats);
    if (CountIn(mAsker->AskJetStream(relays), "last_seq") != before)
        throw StartError("a relay is connected to these servers: stop all of them first");
    if (CountIn(mAsker->AskJetStream(codes), "messages") > 0)
        throw StartError("these servers have meetings; a restore replaces none");
}

void PuttingBack::Begin(const std::string& stream, const std::string& head)
{
    mStream = stream;
    // If it is there it is empty, or what an interrupted restore left.
    const json::value gone = mAsker->AskJetStream("STREAM.DELETE." + stream, {}, kMaking);
    if (!IsMissing(gone)) Require(gone, stream + " cannot be put back");
    const json::value answer = mAsker->AskJetStream("STREAM.RESTORE." + stream, head, kMaking);
    Require(answer, stream + " is not taken");
    mTo = jetstream::Text(jetstream::Member(answer, "deliver_subject"));
    if (mTo.empty()) throw StartError(stream + " is not taken: the servers answer something else");
}

void PuttingBack::Add(std::string_view part)
{
    const auto heard = mAsker->Ask(mTo, part, kMaking);
    if (!heard) throw StartError(mStream + " is not taken to its end: its servers say nothing any more");
    if (!heard->bytes.empty()) Require(heard->Answer(), mStream + " is not taken");
}

void PuttingBack::End()
{
    const auto heard = mAsker->Ask(mTo, {}, kMaking);
    Require(heard ? heard->Answer() : json::value(nullptr), mStream + " is not taken");
    WaitForCopies();
}

// One server has taken it. Whoever stopped the servers now might start them with another one in the lead.
void PuttingBack::WaitForCopies()
{
    const auto until = std::chrono::steady_clock::now() + kMaking;
    while (std::chrono::steady_clock::now() < until) {
        const auto facts = jetstream::StreamIn(mAsker->AskJetStream("STREAM.INFO." + mStream));
        if (facts && facts->led && facts->behind == 0) return;
        std::this_thread::sleep_for(kLook);
    }
    throw StartError(mStream +
                     " is put back, but not all of its servers have it: see that they run, and try again");
}

}  // namespace zephyl
