#pragma once
// A file of entries, each with length and checksum, written at its end only.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zephyl {

/// Bytes as an entry stands in a file, appended to `out`.
void AppendEntry(std::string& out, std::string_view payload);

enum class JournalEnd {
    Clean,    // nothing behind the last entry, or preallocated room
    Torn,     // something that no entry is, and no entry behind it: a write that was cut short
    Damaged,  // an entry that does not fit its checksum, with others behind it
};

class Journal {
public:
    /// Opens or makes it, mode 0600. Throws std::system_error.
    explicit Journal(std::filesystem::path path);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// Hands every whole entry to `take`, in order; appending goes on behind the last one, and what was torn
    /// off there is cut. Call once, before Append.
    JournalEnd Load(const std::function<void(std::string_view payload)>& take);
    /// Writes entries made by AppendEntry. False: not written, and nothing half written is left.
    bool Append(std::string_view entries);
    /// Returns false when the disk could not take it.
    bool Sync() const;
    /// Sets room aside, so that appending seldom changes the file's own data. A disk that cannot is left
    /// alone.
    void Reserve(std::uint64_t bytes);

    std::uint64_t Bytes() const { return mBytes; }
    const std::filesystem::path& Path() const { return mPath; }

private:
    std::filesystem::path mPath;
    int mFile;
    std::uint64_t mBytes = 0;
};

/// Replaces a small file at one stroke and makes it last, with its folder. Throws std::system_error.
void ReplaceFile(const std::filesystem::path& path, std::string_view bytes);
/// Makes names in a folder last. Throws std::system_error.
void SyncFolder(const std::filesystem::path& folder);

}  // namespace zephyl
