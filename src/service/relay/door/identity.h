#pragma once
// The data folder and the service's key: made at the first start, refused when others can read it.

#include <filesystem>
#include <stdexcept>
#include <string>

namespace zephyl {

/// The service cannot start like this; the text says what to do.
struct StartError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The folder, made 0700 if need be, held by one daemon at a time. Throws StartError.
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

/// Makes a folder 0700, or checks that nobody else can write to it. Throws StartError.
void PreparePrivateFolder(const std::filesystem::path& path);

/// Takes the lock of `file`, making it 0600; -1 when somebody else has it. Throws StartError.
int TakeLock(const std::filesystem::path& file);

struct Identity {
    std::filesystem::path key, certificate;  // PEM
};
/// Makes what is missing. Throws StartError, also when the key is readable for others.
Identity PrepareIdentity(const std::filesystem::path& data);

}  // namespace zephyl
