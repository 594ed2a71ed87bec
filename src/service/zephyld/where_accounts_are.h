#pragma once
// Which accounts a command means: those of a configuration, or of a data folder whose service left word of
// it.

#include "service/relay/options.h"

namespace zephyl {

/// `config` and `data` as they were named; empty: not at all. Throws StartError.
RelayOptions OptionsOf(const std::filesystem::path& config, const std::filesystem::path& data);

/// Throws StartError when there is none; else as PreparePrivateFolder.
void RequireFolder(const std::filesystem::path& data);

/// The same with the cluster that the folder's service belongs to, where no configuration was named. As the
/// folder's owner. Throws StartError.
RelayOptions WithAccounts(RelayOptions options);

/// Both, of a service whose meetings stand in servers that relays share; the process becomes the folder's
/// owner, who may read their password. Throws StartError, also where no such servers are named.
RelayOptions SharingOptions(const std::filesystem::path& config, const std::filesystem::path& data);

}  // namespace zephyl
