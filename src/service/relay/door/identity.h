#pragma once
// The service's key: made at the first start, refused when others can read it.

#include <filesystem>

namespace zephyl {

struct Identity {
    std::filesystem::path key, certificate;  // PEM
};
/// Makes what is missing. Throws StartError, also when the key is readable for others.
Identity PrepareIdentity(const std::filesystem::path& data);
/// False: PrepareIdentity would make one.
bool HasIdentity(const std::filesystem::path& data);

}  // namespace zephyl
