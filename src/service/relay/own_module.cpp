#include "service/relay/own_module.h"

#include <dlfcn.h>

#include <filesystem>

#include "service/relay/private_folder.h"

namespace zephyl {

void* OwnModule(const std::string& file, const char* function, const std::string& need)
{
    std::error_code none;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", none);
    const std::filesystem::path path = program.parent_path().parent_path() / "lib/zephyld" / file;
    void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const found = library ? ::dlsym(library, function) : nullptr;
    if (found) return found;
    const char* const why = ::dlerror();
    throw StartError(need + ": " + (why ? why : path.string()));
}

}  // namespace zephyl
