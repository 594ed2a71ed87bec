// A door file as anybody may have left it: read whole and good, or not at all; written and read it is the
// same.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>

#include "service/wire/door_file.h"

namespace {

std::filesystem::path Place()
{
    static std::string folder = (std::filesystem::temp_directory_path() / "zephyl-fuzz-XXXXXX").string();
    static const bool made =
        ::mkdtemp(folder.data()) && std::atexit([] { std::filesystem::remove_all(folder); }) == 0;
    if (!made) std::abort();
    return std::filesystem::path(folder) / "door";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::filesystem::path file = Place();
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(data), std::streamsize(size));
    ::chmod(file.c_str(), 0600);
    const auto door = zephyl::ReadDoorFile(file);
    if (!door) return 0;
    if (door->port == 0 || door->door.size() != 64) std::abort();
    zephyl::WriteDoorFile(file, *door);
    const auto again = zephyl::ReadDoorFile(file);
    if (!again || again->port != door->port || again->fingerprint != door->fingerprint ||
        again->door != door->door)
        std::abort();
    return 0;
}
