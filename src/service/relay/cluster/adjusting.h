#pragma once
// What relays share in NATS servers was made with what the configuration said then. This gives it what the
// configuration says now.

#include <string>
#include <vector>

#include "service/relay/cluster/nats_engine.h"

namespace zephyl {

/// What was changed, a line each. Room is never less than what is in it, and copies only become more; where
/// no room is configured it stays as it is. Relays may run meanwhile. Throws StartError with what keeps it
/// from that: what was changed before stays so.
std::vector<std::string> AdjustStreams(const NatsSite& site);

}  // namespace zephyl
