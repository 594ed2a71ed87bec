#pragma once
// The daemon's configuration file.

#include <filesystem>
#include <string>

#include "service/relay/options.h"

namespace zephyl {

/// Reads a TOML file over `options`. Throws StartError naming the key and what is wrong with it: unknown,
/// of another type, or out of its range. Nothing is guessed.
void ReadConfig(const std::filesystem::path& file, RelayOptions& options);
/// The same for text; `name` stands in messages.
void ReadConfigText(const std::string& text, const std::string& name, RelayOptions& options);

/// A commented file with every key at its default.
std::string SampleConfig();

}  // namespace zephyl
