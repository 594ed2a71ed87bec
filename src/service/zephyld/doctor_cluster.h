#pragma once
// What an operator looks at where several relays are one service: the others, and what they share.

#include <boost/json/value.hpp>
#include <string>

#include "service/relay/options.h"
#include "service/zephyld/findings.h"

namespace zephyl {

/// `own`: the key's fingerprint. `status`: the running service's own word; null: none runs.
void LookAtRelays(Findings& findings, const ClusterOptions& cluster, const std::string& own,
                  const boost::json::value& status);

/// The servers that keep the meetings. Throws StartError when they cannot be asked at all.
void LookAtLogServers(Findings& findings, const ClusterOptions& cluster);

}  // namespace zephyl
