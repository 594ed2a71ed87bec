#pragma once
// The service's key: made at the first start, refused when others can read it.

#include <filesystem>

namespace zephyl {

struct Identity {
    std::filesystem::path key, certificate;  // PEM
    bool certified = false;                  // just now, because the key had no certificate
};
/// What to do where a certificate has lost its key.
inline constexpr char kPutKeyBack[] =
    "put it back from a backup; or remove certificate.pem as well, for a new key that everybody has to be "
    "told";

/// Makes what is missing, but no key beside a certificate: clients have pinned the one that was there. Throws
/// StartError, also when the key is readable for others.
Identity PrepareIdentity(const std::filesystem::path& data);
/// Whether the key is there.
bool HasIdentity(const std::filesystem::path& data);

}  // namespace zephyl
