#pragma once
// Relays that share their meetings.

#include <functional>

#include "service/relay/door/identity.h"
#include "service/relay/relay_fixture.h"
#include "support/memory_engine.h"

namespace zephyl {

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
        options.cluster.gather = 0;
        options.budgets.codesPerAccount = options.budgets.codesPerAddress = options.budgets.entries = 0;
        options.times.grace = std::chrono::minutes(10);
        options.times.pingAfter = std::chrono::milliseconds(100);
        static const TemporaryFolder keys;
        const Identity identity = PrepareIdentity(keys.path);
        options.key = identity.key;
        options.certificate = identity.certificate;
        auto own = std::make_unique<MemoryEngine>(cluster);
        engine = own.get();
        tune(options, *engine);
        StartRelay(std::move(own));
    }

    MemoryEngine* engine;
};

}  // namespace zephyl
