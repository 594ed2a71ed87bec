#include "service/zephyld/where_accounts_are.h"

#include "service/relay/config.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/private_folder.h"
#include "service/wire/door_file.h"

namespace zephyl {

RelayOptions OptionsOf(const std::filesystem::path& config, const std::filesystem::path& data)
{
    RelayOptions options;
    if (!config.empty()) ReadConfig(config, options);
    if (!data.empty()) options.data = data;
    if (options.data.empty()) options.data = PersonalDataPath();
    return options;
}

void RequireFolder(const std::filesystem::path& data)
{
    std::error_code none;
    if (!std::filesystem::exists(data, none))
        throw StartError("there is no folder " + data.string() + ": name the service's with --data");
    PreparePrivateFolder(data);
}

RelayOptions WithAccounts(RelayOptions options)
{
    if (!options.config.empty()) return options;
    const auto word = WordOfAccounts(options.data);
    if (!word) return options;
    RelayOptions served;
    try {
        ReadConfig(*word, served);
    } catch (const StartError& error) {
        throw StartError("the accounts of " + options.data.string() + " are in a database: " + error.what());
    }
    options.cluster = served.cluster;
    return options;
}

RelayOptions SharingOptions(const std::filesystem::path& config, const std::filesystem::path& data)
{
    RelayOptions named = OptionsOf(config, data);
    BecomeOwner(named.data);
    RelayOptions options = WithAccounts(std::move(named));
    if (options.cluster.log.empty())
        throw StartError(
            "no servers are named that keep meetings: [cluster] log, in the file named with --config");
    return options;
}

}  // namespace zephyl
