#include "service/relay/door/open_accounts.h"

#include <fcntl.h>

#include "files/careful_file.h"
#include "service/relay/door/database_place.h"
#include "service/relay/door/postgres_accounts.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr char kWord[] = "accounts.elsewhere";
constexpr std::size_t kWordBytes = 4096;

}  // namespace

std::unique_ptr<PostgresAccounts> OpenDatabaseAccounts(const ClusterOptions& options,
                                                       const std::function<void(const std::string&)>& say)
{
    const std::string uri = DatabaseUri(options);
    const std::string name = DatabaseName(options);
    try {
        return std::make_unique<PostgresAccounts>([uri] { return OpenDatabase(uri); }, name, say);
    } catch (const AccountError& error) {
        throw AccountError("accounts in " + name + ": " + error.what());
    }
}

std::string AccountsNotYet(const ClusterOptions& options)
{
    const std::string why = DatabaseNotYet(DatabaseUri(options));
    return why.empty() ? why : DatabaseName(options) + ": " + why;
}

std::unique_ptr<Accounts> OpenAccounts(const RelayOptions& options,
                                       const std::function<void(const std::string&)>& say)
{
    if (options.cluster.accounts.empty()) return std::make_unique<SqliteAccounts>(options.data);
    return OpenDatabaseAccounts(options.cluster, say);
}

void LeaveWordOfAccounts(const RelayOptions& options)
{
    const fs::path word = options.data / kWord;
    std::error_code none;
    if (options.cluster.accounts.empty())
        fs::remove(word, none);
    else
        try {
            const files::Descriptor file =
                files::OpenRegular(word, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, files::Owner::Us);
            files::WriteWhole(file, options.config.string() + "\n", word);
        } catch (const files::FileProblem& problem) {
            throw StartError(problem.what());
        }
}

std::optional<fs::path> WordOfAccounts(const fs::path& data)
{
    const fs::path word = data / kWord;
    if (fs::symlink_status(word).type() == fs::file_type::not_found) return std::nullopt;
    std::string path =
        files::ReadWhole(files::OpenRegular(word, O_RDONLY | O_NOFOLLOW, files::Owner::Us), kWordBytes, word);
    if (path.ends_with('\n')) path.pop_back();
    return path;
}

}  // namespace zephyl
