#pragma once
// Where a configuration says that the accounts are.

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "service/relay/door/accounts.h"
#include "service/relay/options.h"

namespace zephyl {

class PostgresAccounts;

/// `say`: what goes wrong with a database later on, on any thread; "": it is back. Throws AccountError and
/// StartError.
std::unique_ptr<Accounts> OpenAccounts(
    const RelayOptions& options,
    const std::function<void(const std::string&)>& say = [](const std::string&) {});
/// The same where that is a database.
std::unique_ptr<PostgresAccounts> OpenDatabaseAccounts(
    const ClusterOptions& options,
    const std::function<void(const std::string&)>& say = [](const std::string&) {});

/// Where that database is and why nobody can open it, while its server starts or is not reached; "": it can
/// be opened, or says no for good. Of a server that hides it takes seconds. Throws StartError.
std::string AccountsNotYet(const ClusterOptions& options);

/// Leaves word in the data folder of a service whose accounts are elsewhere, for who changes them there;
/// takes back what an earlier one has left. Throws StartError.
void LeaveWordOfAccounts(const RelayOptions& options);
/// The configuration that says where the accounts of that folder's service are; none: they are there.
std::optional<std::filesystem::path> WordOfAccounts(const std::filesystem::path& data);

}  // namespace zephyl
