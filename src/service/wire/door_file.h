#pragma once
// Where a person's own service is found: a small file that only its user can read.
//
// Lines of text, in this order: "port 41234", "fingerprint sha256:HEX", "door HEX". The daemon holds a
// lock on LockPath() for as long as it lives and writes the file when it accepts connections; a daemon
// that does not get the lock ends at once with exit code 0, because another one serves already. So a
// client that finds no file, or nobody answering behind it, just starts `zephyld serve --personal`,
// however many clients do so at the same moment, and reads the file again when that one printed its
// ready line or ended. A daemon that cannot serve says why in its first line.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace zephyl {

/// How the first line of a personal service begins that cannot serve; the reason follows.
inline constexpr char kCannotServe[] = "zephyld cannot serve: ";

struct Door {
    std::uint16_t port = 0;
    std::string fingerprint;  // "sha256:" and 64 hex digits: the key that must answer there
    std::string door;         // 64 hex digits; goes into Hello as it stands
};

/// $XDG_RUNTIME_DIR/zephyl/door, else zephyl/run/door under $XDG_DATA_HOME or ~/.local/share.
/// Throws std::runtime_error when the environment names no home.
std::filesystem::path DoorFilePath();
/// The lock that belongs to a door file.
std::filesystem::path DoorLockPath(const std::filesystem::path& doorFile);

/// None when the file is absent, not whole, or not a plain file of this user with mode 0600.
std::optional<Door> ReadDoorFile(const std::filesystem::path& path);
/// Replaces the file at one stroke, mode 0600, its folder made 0700. Throws
/// std::runtime_error.
void WriteDoorFile(const std::filesystem::path& path, const Door& door);

/// Where a service keeps its data for a person: $XDG_DATA_HOME/zephyl, else ~/.local/share/zephyl.
std::filesystem::path PersonalDataPath();

}  // namespace zephyl
