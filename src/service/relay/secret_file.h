#pragma once
// Passwords that stand in files of their own.

#include <filesystem>
#include <string>

namespace zephyl {

/// The first line of a file that nobody else may read. Throws StartError, which begins with `section`.
std::string ReadSecret(const std::filesystem::path& from, const std::string& section);

}  // namespace zephyl
