#pragma once
// A file of entries, each with length and checksum, written at its end only.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zephyl {

/// Bytes as an entry stands in a file, appended to `out`. Its payload may come in two parts.
void AppendEntry(std::string& out, std::string_view payload, std::string_view more = {});

using TakeEntry = std::function<void(std::string_view payload, std::uint64_t at)>;
/// Hands every whole entry at the front of `bytes`, of a file with this mark, to `take`; places count from
/// `at`. Returns the bytes of those taken.
std::size_t TakeEntries(std::string_view bytes, std::uint64_t at, std::uint64_t mark, const TakeEntry& take);
/// Makes entries as AppendEntry left them those of a file with this mark.
void MarkEntries(std::string& entries, std::uint64_t mark);
/// What a file with a mark begins with.
std::string StartOf(std::uint64_t mark);
std::uint64_t DrawMark();
/// Bytes of an entry with a payload of this size.
std::size_t EntryBytes(std::size_t payload);
/// Bytes of the entry that begins here, as its prefix announces it; 0: that cannot be one.
std::size_t AnnouncedBytes(std::string_view bytes);

enum class JournalEnd {
    Clean,    // nothing behind the last entry, or preallocated room
    Torn,     // something that no entry is, and no entry behind it: a write that was cut short
    Damaged,  // an entry that does not fit its checksum, with others behind it
};

enum class Marked {
    No,
    Yes,  // it begins with a random number that is mixed into every check: old entries that still stand in
          // its blocks are none of its own
};

class Journal {
public:
    /// Opens or makes it, mode 0600. Throws std::system_error.
    explicit Journal(std::filesystem::path path, Marked marked = Marked::No);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// Hands every whole entry to `take`, in order, with the place where it begins; appending goes on behind
    /// the last one. Nothing is changed. Call once, before Append.
    JournalEnd Load(const TakeEntry& take);
    /// Instead of Load: under a new mark, so that whatever it holds counts no more. Throws std::system_error.
    void Begin();
    /// Another name in its folder. Nobody may be syncing it. Throws std::system_error.
    void Rename(std::filesystem::path path);
    /// Cuts what stands behind the last whole entry. Throws std::system_error.
    void Cut();
    /// Writes entries made by AppendEntry. False: not written, and nothing half written is left.
    bool Append(std::string& entries);
    /// With the file's name, the first time. Returns false when the disk could not take it. Costs nothing
    /// when nothing was written since. Any thread, one at a time.
    bool Sync();
    /// Sets room aside, now and whenever it is used up, so that appending seldom changes the file's own data.
    /// A disk that cannot is left alone.
    void Reserve(std::uint64_t step);

    std::uint64_t Bytes() const { return mBytes; }
    /// 0: it has none.
    std::uint64_t Mark() const { return mMark; }
    /// Names in its folder have changed: the next sync makes them last, too. Any thread.
    void NamesChanged()
    {
        mNameSynced = false;
        mUnsynced = true;
    }
    const std::filesystem::path& Path() const { return mPath; }

private:
    bool WriteAt(std::string_view bytes, std::uint64_t at);
    void ReserveMore(std::uint64_t bytes);

    std::filesystem::path mPath;
    int mFile;
    Marked mMarked;
    std::uint64_t mMark = 0;
    std::uint64_t mBytes = 0;
    std::uint64_t mReserved = 0, mReserveStep = 0;
    std::atomic<bool> mUnsynced{true};  // what an earlier process wrote may not be safe
    std::atomic<bool> mNameSynced{false};
};

/// Replaces a small file at one stroke and makes it last, with its folder. Throws std::system_error.
void ReplaceFile(const std::filesystem::path& path, std::string_view bytes);
/// Writes a file and makes it last, but not its name. Throws std::system_error.
void WriteSafely(const std::filesystem::path& path, std::string_view bytes);
/// Makes names in a folder last. Throws std::system_error.
void SyncFolder(const std::filesystem::path& folder);

}  // namespace zephyl
