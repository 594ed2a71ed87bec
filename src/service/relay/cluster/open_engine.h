#pragma once
// The engine that a configuration names.

#include <memory>

#include "service/relay/cluster/engine.h"
#include "service/relay/cluster/nats_engine.h"
#include "service/relay/options.h"

namespace zephyl {

/// Null: none is named. It connects by itself; nothing is waited for. `say`: as NatsEngine's. Throws
/// StartError.
std::unique_ptr<Engine> OpenEngine(const ClusterOptions& options, NatsEngine::Say say);

}  // namespace zephyl
