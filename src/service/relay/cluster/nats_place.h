#pragma once
// Where the meetings' servers are, as a configuration says it. Nothing is connected.

#include <string>

#include "service/relay/cluster/nats_engine.h"
#include "service/relay/options.h"

namespace zephyl {

/// Throws StartError when that cannot be used, or would send a password to who proves nothing.
void CheckLogPlace(const ClusterOptions& options);

/// What people are told: the hosts. Of options that were checked.
std::string LogPlaceName(const ClusterOptions& options);

/// Reads the password's file. Throws StartError.
NatsSite LogPlace(const ClusterOptions& options);

}  // namespace zephyl
