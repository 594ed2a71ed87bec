#pragma once
// A backup as a tar archive (POSIX ustar) that any tar unpacks: what it is, the files, and at its end their
// SHA-256 sums as `sha256sum -c` reads them. The reader takes only what the writer makes.

#include <sodium.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zephyl {

/// It is no backup of ours, or not whole; the text says where.
struct ArchiveError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Files are read and written in parts of this size.
inline constexpr std::size_t kArchivePartBytes = 256 * 1024;

/// The names there may be: what it is, accounts, key and certificate, the files of meetings, and the parts of
/// what relays share.
bool IsBackupName(std::string_view name);
/// A part of such a log, from 1 on; 0: what it begins with.
std::string BackupLogName(const std::string& log, unsigned part);
struct BackupLogPart {
    std::string log;
    unsigned part = 0;
};
/// None: it is a name of something else.
std::optional<BackupLogPart> ReadBackupLogName(std::string_view name);

class Sha256 {
public:
    Sha256() { crypto_hash_sha256_init(&mState); }
    void Add(std::string_view bytes)
    {
        crypto_hash_sha256_update(&mState, reinterpret_cast<const unsigned char*>(bytes.data()),
                                  bytes.size());
    }
    std::string Hex();  // once

private:
    crypto_hash_sha256_state mState;
};

/// Appends to a text that its owner takes away.
class ArchiveWriter {
public:
    explicit ArchiveWriter(std::string& out) : mOut(out) {}
    /// Its name and how many bytes will follow. Throws ArchiveError when it cannot stand in an archive.
    void Begin(const std::string& name, std::uint64_t bytes);
    void Add(std::string_view bytes);
    /// What was promised and has not come is zeros.
    void End();
    void Put(const std::string& name, std::string_view bytes);
    /// The sums, and the end.
    void Close();

private:
    std::string& mOut;
    std::string mName, mSums;
    std::uint64_t mLeft = 0, mBytes = 0;
    Sha256 mSum;
};

/// What is done with each file, in order. Any of them may be empty.
struct ArchiveVisitor {
    std::function<void(const std::string& name, std::uint64_t bytes)> begin;
    std::function<void(std::string_view bytes)> bytes;
    std::function<void()> end;
};
/// Reads an archive from an open file, and checks all of it: names, sizes, sums, and that nothing is missing
/// or follows. Nothing of it counts until this returns: its names and sums, the sums' own file left out.
/// Throws ArchiveError.
std::map<std::string, std::string> ReadArchive(int file, const ArchiveVisitor& visitor);

/// What the first file says.
std::string BackupNote(const std::string& version);
inline constexpr char kBackupNote[] = "zephyl-backup";
inline constexpr char kBackupSums[] = "SHA256SUMS";

}  // namespace zephyl
