#pragma once
// Folders and locks that only the user who runs the service can open.

#include <filesystem>
#include <stdexcept>
#include <string>

namespace zephyl {

/// The service cannot start like this; the text says what to do.
struct StartError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// Throws StartError with the reason that `errno` gives, if it gives one.
[[noreturn]] void RefuseStart(const std::string& what);

/// Makes a folder 0700, or checks that nobody else can write to it. Throws StartError.
void PreparePrivateFolder(const std::filesystem::path& path);

/// Whether it is there and is not ours.
bool IsOfAnother(const std::filesystem::path& folder);

/// Run by the superuser on somebody else's folder, the process becomes that user for good, HOME too: what it
/// makes there is theirs. One thread. Throws StartError.
void BecomeOwner(const std::filesystem::path& folder);

/// Takes the lock of `file`, making it 0600; -1 when somebody else has it. Throws StartError.
int TakeLock(const std::filesystem::path& file);

/// The service's folder, made 0700 if need be, held by one daemon at a time. Throws StartError.
class DataFolder {
public:
    explicit DataFolder(std::filesystem::path path);
    ~DataFolder();
    DataFolder(const DataFolder&) = delete;
    DataFolder& operator=(const DataFolder&) = delete;
    const std::filesystem::path& Path() const { return mPath; }

private:
    std::filesystem::path mPath;
    int mLock = -1;
};

}  // namespace zephyl
