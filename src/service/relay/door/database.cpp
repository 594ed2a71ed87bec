#include "service/relay/door/database.h"

#include <dlfcn.h>

#include <filesystem>

#include "service/relay/private_folder.h"

namespace zephyl {
namespace {

/// Beside the program, as it was built or installed: ../lib/zephyld.
OpenDatabaseFunction LoadedFunction()
{
    std::error_code none;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", none);
    const std::filesystem::path file = program.parent_path().parent_path() / "lib/zephyld/postgres.so";
    void* const library = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);  // for as long as the process lives
    void* const function = library ? ::dlsym(library, kOpenDatabase) : nullptr;
    if (!function) {
        const char* const why = ::dlerror();
        throw StartError(std::string("accounts in PostgreSQL need the package libpqxx-6.4: ") +
                         (why ? why : file.string()));
    }
    return reinterpret_cast<OpenDatabaseFunction>(function);
}

}  // namespace

std::unique_ptr<Database> OpenDatabase(const std::string& where)
{
    static const OpenDatabaseFunction open = LoadedFunction();
    return std::unique_ptr<Database>(open(where.c_str()));
}

}  // namespace zephyl
