#pragma once
// Where the accounts' database is, as a configuration says it. Nothing is connected.

#include <string>

#include "service/relay/options.h"

namespace zephyl {

/// Throws StartError when that cannot be used, or would send a password to who proves nothing.
void CheckCluster(const ClusterOptions& options);

/// What people are told: hosts and database, without the user's name. Of options that were checked.
std::string DatabaseName(const ClusterOptions& options);

/// The URI with password, TLS and times. Reads the password's file. Throws StartError.
std::string DatabaseUri(const ClusterOptions& options);

}  // namespace zephyl
