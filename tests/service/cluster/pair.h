#pragma once
// Two relays' engines on one cluster.

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>

#include "service/cluster/test_nats.h"
#include "service/relay/cluster/nats_engine.h"
#include "support/memory_engine.h"

namespace zephyl {

/// Runs a call of one answer and waits for it.
template <class... Answer, class Call>
std::tuple<std::decay_t<Answer>...> Await(Call call)
{
    auto answer = std::make_shared<std::promise<std::tuple<std::decay_t<Answer>...>>>();
    call([answer](Answer... values) { answer->set_value({values...}); });
    return answer->get_future().get();
}

struct Stored {
    EngineResult result;
    std::uint64_t sequence;
};
inline Stored Append(Engine& engine, const std::string& subject, const std::string& bytes,
                     std::uint64_t expected)
{
    const auto [result, sequence] =
        Await<EngineResult, std::uint64_t>([&](auto done) { engine.Append(subject, bytes, expected, done); });
    return {result, sequence};
}
inline Stored Put(Engine& engine, const std::string& bucket, const std::string& bytes, std::uint64_t expected)
{
    const auto [result, sequence] = Await<EngineResult, std::uint64_t>(
        [&](auto done) { engine.Put(bucket, "key", bytes, expected, done); });
    return {result, sequence};
}

inline void WaitFor(Engine& engine, bool connected)
{
    std::promise<void> done;
    std::once_flag once;
    const auto ears = engine.WhenChanged([&](bool now) {
        if (now == connected) std::call_once(once, [&] { done.set_value(); });
    });
    if (engine.Connected() != connected) done.get_future().wait();
}

/// Until each server has everything. One that dies while another catches up is a second one that is missing.
inline void WaitForCopies(Engine& engine)
{
    for (bool inStep = false; !inStep;) {
        const auto [facts] = Await<EngineFacts>([&](auto done) { engine.Look(done); });
        inStep = facts.answered && facts.copiesBehind == 0;
    }
}

struct Pair {
    virtual ~Pair() = default;
    std::unique_ptr<Engine> one, other;

protected:
    /// Before what they are connected to.
    void End() { one.reset(), other.reset(); }
};

struct InMemory final : Pair {
    InMemory()
    {
        one = std::make_unique<MemoryEngine>(cluster);
        other = std::make_unique<MemoryEngine>(cluster);
    }
    ~InMemory() override { End(); }
    MemoryEngine& One() { return static_cast<MemoryEngine&>(*one); }
    MemoryCluster cluster;
};

/// What passes all on to a server; what a test makes of it overrides Send.
class ThroughNats : public NatsConnection {
public:
    ThroughNats(const NatsServer& server, Take take, Ended ended)
        : mWire(OpenNats(server, std::move(take), std::move(ended)))
    {
    }
    void Listen(const std::string& subject) override { mWire->Listen(subject); }
    void Ignore(const std::string& subject) override { mWire->Ignore(subject); }
    std::size_t MostBytes() const override { return mWire->MostBytes(); }

protected:
    const std::unique_ptr<NatsConnection> mWire;
};

/// To servers that have leaders of each stream but none of them all: nobody makes consumers, and some say so
/// before the one answers that can.
class Leaderless final : public ThroughNats {
public:
    using ThroughNats::ThroughNats;
    static std::unique_ptr<NatsConnection> Open(const NatsServer& server, Take take, Ended ended)
    {
        return std::make_unique<Leaderless>(server, std::move(take), std::move(ended));
    }
    void Send(const std::string& subject, const std::string& answerTo, const NatsHeaders& headers,
              std::string_view bytes) override
    {
        const bool makes = subject.starts_with("$JS.API.CONSUMER.CREATE.");
        if (makes || subject.starts_with("$JS.API.STREAM.MSG."))
            mWire->Send(answerTo, {}, {}, R"({"error":{"code":503,"err_code":10008}})");
        if (!makes) mWire->Send(subject, answerTo, headers, bytes);
    }
};

struct InNats final : Pair {
    explicit InNats(std::size_t servers, std::uint64_t logBytes = 0, const NatsLine::Open& open = OpenNats)
        : nats(servers)
    {
        NatsSite site = nats.Site();
        site.logBytes = logBytes;
        for (auto* const engine : {&one, &other}) {
            *engine = std::make_unique<NatsEngine>(site, open, [](const std::string&) {});
            WaitFor(**engine, true);
        }
    }
    ~InNats() override { End(); }
    TestNats nats;
};

/// "memory", "nats", "three", "leaderless": where there is such a one.
inline std::unique_ptr<Pair> PairIn(const std::string& where)
{
    if (where == "memory") return std::make_unique<InMemory>();
    if (!TestNats::Installed()) return nullptr;
    if (where == "leaderless") return std::make_unique<InNats>(1, 0, Leaderless::Open);
    return std::make_unique<InNats>(where == "nats" ? 1 : 3);
}

}  // namespace zephyl
