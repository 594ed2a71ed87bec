#pragma once
// Machines of one cluster are switched on in any order: a relay's database may come after it.

#include <spdlog/logger.h>

#include "service/relay/options.h"

namespace zephyl {

/// Returns once the accounts' database can be opened, or refuses in a way that does not end by itself, which
/// is for whoever opens it to say. Meanwhile `log` hears why not, and SIGTERM and SIGINT end the process at
/// once: nothing has been begun. Before the first other thread. Throws StartError.
void AwaitAccounts(const ClusterOptions& options, spdlog::logger& log);

}  // namespace zephyl
