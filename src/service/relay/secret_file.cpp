#include "service/relay/secret_file.h"

#include <sstream>

#include "files/careful_file.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace {

constexpr std::size_t kSecretBytes = 4096;

}  // namespace

std::string ReadSecret(const std::filesystem::path& from, const std::string& section)
{
    std::string line;
    try {
        std::istringstream file(files::ReadNamed(from, kSecretBytes, files::Owner::Private));
        std::getline(file, line);
    } catch (const files::FileProblem& problem) {
        throw StartError(section + ": cannot read the password: " + problem.what());
    }
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty() || line.find('\0') != std::string::npos)
        throw StartError(section + ": there is no password in " + from.string());
    return line;
}

}  // namespace zephyl
