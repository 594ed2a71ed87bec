#include "service/wire/door_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "files/careful_file.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t kDoorFileBytes = 1024;

fs::path Variable(const char* name)
{
    const char* value = std::getenv(name);
    return value && *value == '/' ? fs::path(value) : fs::path();
}

[[noreturn]] void Fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// The text of a small private file of this user; "" for anything else.
std::string PrivateText(const fs::path& path)
try {
    const auto file = files::OpenRegular(path, O_RDONLY | O_NOFOLLOW, files::Owner::Private);
    return files::ReadWhole(file, kDoorFileBytes, path);
} catch (const files::FileProblem&) {
    return {};
}

}  // namespace

fs::path PersonalDataPath()
{
    if (const fs::path data = Variable("XDG_DATA_HOME"); !data.empty()) return data / "zephyl";
    const fs::path home = Variable("HOME");
    if (home.empty()) throw std::runtime_error("neither XDG_DATA_HOME nor HOME names a folder");
    return home / ".local" / "share" / "zephyl";
}

fs::path DoorFilePath()
{
    if (const fs::path runtime = Variable("XDG_RUNTIME_DIR"); !runtime.empty())
        return runtime / "zephyl" / "door";
    return PersonalDataPath() / "run" / "door";
}

fs::path DoorLockPath(const fs::path& doorFile)
{
    fs::path lock = doorFile;
    return lock += ".lock";
}

std::optional<Door> ReadDoorFile(const fs::path& path)
{
    std::istringstream in(PrivateText(path));
    std::string portWord, fingerprintWord, doorWord, end;
    Door door;
    in >> portWord >> door.port >> fingerprintWord >> door.fingerprint >> doorWord >> door.door;
    if (!in || door.port == 0 || in >> end) return std::nullopt;
    if (portWord != "port" || fingerprintWord != "fingerprint" || doorWord != "door") return std::nullopt;
    if (door.fingerprint.size() != 71 || door.door.size() != 64) return std::nullopt;  // cut off
    return door;
}

void WriteDoorFile(const fs::path& path, const Door& door)
{
    fs::create_directories(path.parent_path());
    fs::permissions(path.parent_path(), fs::perms::owner_all);
    const std::string temporary = path.string() + ".new";
    ::unlink(temporary.c_str());
    files::WriteWhole(files::OpenRegular(temporary, O_WRONLY | O_CREAT | O_EXCL, files::Owner::Private),
                      "port " + std::to_string(door.port) + "\nfingerprint " + door.fingerprint + "\ndoor " +
                          door.door + "\n",
                      temporary);
    if (::rename(temporary.c_str(), path.c_str()) != 0) Fail("cannot replace " + path.string());
}

}  // namespace zephyl
