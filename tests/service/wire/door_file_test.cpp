#include "service/wire/door_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "service/relay/temporary_folder.h"

namespace zephyl {
namespace {

TEST(DoorFile, IsBelievedOnlyWholeAndPrivate)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path / "run" / "door";
    EXPECT_FALSE(ReadDoorFile(file));
    const Door door{41'234, "sha256:" + std::string(64, 'a'), std::string(64, 'b')};
    WriteDoorFile(file, {1, door.fingerprint, door.door});
    WriteDoorFile(file, door);
    const auto read = ReadDoorFile(file);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->port, door.port);
    EXPECT_EQ(read->fingerprint + read->door, door.fingerprint + door.door);
    ::chmod(file.c_str(), 0640);
    EXPECT_FALSE(ReadDoorFile(file));  // somebody else may have read it
    ::chmod(file.c_str(), 0600);
    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 2);
    EXPECT_FALSE(ReadDoorFile(file));  // cut off
    std::ofstream(file) << "port 99999\nfingerprint " << door.fingerprint << "\ndoor " << door.door << "\n";
    EXPECT_FALSE(ReadDoorFile(file));
}

}  // namespace
}  // namespace zephyl
