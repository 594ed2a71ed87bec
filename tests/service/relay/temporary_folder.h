#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace zephyl {

/// A folder that goes with the object.
struct TemporaryFolder {
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "zephyl-test-XXXXXX").string();
        path = ::mkdtemp(name.data());
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path); }
    std::filesystem::path path;
};

}  // namespace zephyl
