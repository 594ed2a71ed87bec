#pragma once
// Backups of a service that does not run, and putting one back.

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "service/relay/cluster/nats_engine.h"
#include "service/relay/options.h"

namespace zephyl {

/// Of a data folder that nobody serves; holds its lock meanwhile. `cluster`: where its accounts are. Throws
/// std::exception.
void WriteBackup(const std::filesystem::path& data, const std::string& version,
                 const std::function<void(std::string_view)>& write, const ClusterOptions& cluster = {});

struct BackupFacts {
    std::size_t accountsBytes = 0, meetings = 0, files = 0;
    bool key = false;
    std::uint64_t logBytes = 0;  // of meetings that relays share; 0: there are none of that kind
    std::string note;            // of its version and time
};
/// Reads all of an open backup and checks it, the accounts' store too. Throws ArchiveError.
BackupFacts CheckBackup(int file);

/// Puts the meetings that relays share into servers that have none, while no relay runs. Of an open backup,
/// which CheckBackup has passed. Interrupted, it is done again. Throws StartError, ArchiveError.
void RestoreShared(int file, const NatsSite& site);

/// Puts a backup, which CheckBackup has passed, into a folder that holds no service's data. Interrupted, it
/// leaves a folder that no service starts in, and in which this may be done again. Throws std::exception.
void Restore(int file, const std::filesystem::path& data);

/// A restore did not end here.
bool RestoreUnfinished(const std::filesystem::path& data);

}  // namespace zephyl
