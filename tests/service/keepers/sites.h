#pragma once
// Relays that share their meetings.

#include <atomic>
#include <functional>

#include "service/relay/cluster/engine.h"
#include "service/relay/door/identity.h"
#include "service/relay/relay_fixture.h"
#include "support/memory_engine.h"

namespace zephyl {

/// An engine whose words can be lost.
class LossyEngine final : public Engine {
public:
    explicit LossyEngine(MemoryCluster& cluster) : memory(cluster) {}

    bool Connected() const override { return memory.Connected(); }
    Ears WhenChanged(Changed changed) override { return memory.WhenChanged(std::move(changed)); }
    void Look(GotFacts got) override { memory.Look(std::move(got)); }
    void Publish(std::string subject, std::string bytes) override
    {
        const bool toARelay = subject.starts_with("zephyl.relay.");
        if (toARelay) mBytesToRelays += bytes.size();
        if (toARelay && mEvery > 0 && ++mWords % mEvery == 0) return;
        memory.Publish(std::move(subject), std::move(bytes));
    }
    Ears Listen(std::string subject, Heard heard) override
    {
        return memory.Listen(std::move(subject), std::move(heard));
    }
    void Ask(std::string subject, std::string bytes, std::chrono::milliseconds patience,
             Answered answered) override
    {
        memory.Ask(std::move(subject), std::move(bytes), patience, std::move(answered));
    }
    void Append(std::string subject, std::string bytes, std::uint64_t expectedLast, Stored stored) override
    {
        memory.Append(std::move(subject), std::move(bytes), expectedLast, std::move(stored));
    }
    void Read(std::string subject, std::uint64_t from, std::size_t bytes, GotAll got) override
    {
        memory.Read(std::move(subject), from, bytes, std::move(got));
    }
    void Last(std::string subject, Got got) override { memory.Last(std::move(subject), std::move(got)); }
    void Purge(std::string subject, std::uint64_t before, Done done) override
    {
        memory.Purge(std::move(subject), before, std::move(done));
    }
    void Get(std::string bucket, std::string key, Got got) override
    {
        memory.Get(std::move(bucket), std::move(key), std::move(got));
    }
    void Put(std::string bucket, std::string key, std::string bytes, std::uint64_t expected,
             Stored stored) override
    {
        memory.Put(std::move(bucket), std::move(key), std::move(bytes), expected, std::move(stored));
    }
    void Remove(std::string bucket, std::string key, std::uint64_t expected, Stored stored) override
    {
        memory.Remove(std::move(bucket), std::move(key), expected, std::move(stored));
    }
    Ears Watch(std::string bucket, Seen seen, std::function<void()> all) override
    {
        return memory.Watch(std::move(bucket), std::move(seen), std::move(all));
    }

    /// Of the words to other relays each so-and-so-manieth.
    void LoseEvery(unsigned words) { mEvery = words; }

    /// In words.
    std::size_t BytesToRelays() const { return mBytesToRelays; }

    MemoryEngine memory;

private:
    std::atomic<std::size_t> mBytesToRelays{0};
    std::atomic<unsigned> mEvery{0}, mWords{0};
};

/// One of the relays.
struct Site : RelayRoom {
    static constexpr ClusterTimes kTimes{.beat = std::chrono::milliseconds(100),
                                         .goneAfter = std::chrono::milliseconds(1000),
                                         .leftAfter = std::chrono::milliseconds(500),
                                         .decidesFor = std::chrono::milliseconds(700),
                                         .cutOffAfter = std::chrono::milliseconds(1500)};

    using Tune = std::function<void(RelayOptions&, MemoryEngine&)>;

    /// `tune`: before it starts.
    Site(
        MemoryCluster& cluster, const std::string& name, const ClusterTimes& times = kTimes,
        const Tune& tune = [](RelayOptions&, MemoryEngine&) {})
        : RelayRoom({})
    {
        options.cluster.name = name;
        options.cluster.advertise = name + ":1";
        options.clusterTimes = times;
        options.budgets.codesPerAccount = options.budgets.codesPerAddress = options.budgets.entries = 0;
        options.times.grace = std::chrono::minutes(10);
        options.times.pingAfter = std::chrono::milliseconds(100);
        static const TemporaryFolder keys;
        const Identity identity = PrepareIdentity(keys.path);
        options.key = identity.key;
        options.certificate = identity.certificate;
        auto made = std::make_unique<LossyEngine>(cluster);
        engine = made.get();
        tune(options, engine->memory);
        relay = std::make_unique<Relay>(options, SilentLog(), kCheapHash, std::move(made));
        for (const char* handle : {"Alice", "bob", "carol", "dave"})
            relay->TheAccounts().Add(handle, HashPassword("secret", kCheapHash), "");
        relay->Start();
    }
    using RelayRoom::Fresh;
    using RelayRoom::LoggedIn;
    using RelayRoom::options;
    using RelayRoom::relay;
    using RelayRoom::StreamOf;

    LossyEngine* engine;
};

}  // namespace zephyl
