#pragma once
// Libraries of ours that are opened when a configuration asks for what they do.

#include <string>

namespace zephyl {

/// A function of a file in ../lib/zephyld, seen from the program, as it was built or installed. It stays for
/// as long as the process lives. Throws StartError, which begins with `need`.
void* OwnModule(const std::string& file, const char* function, const std::string& need);

}  // namespace zephyl
