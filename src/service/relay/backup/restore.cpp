#include "service/relay/backup/restore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <set>
#include <utility>

#include "files/careful_file.h"
#include "service/relay/backup/archive.h"
#include "service/relay/cluster/log_copy.h"
#include "service/relay/cluster/nats_place.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/log/journal.h"
#include "service/relay/log/meeting_head.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t kAccountsBytes = std::size_t{2} << 30;
constexpr char kUnfinished[] = "restoring";

void PutFile(ArchiveWriter& archive, std::string& made, const std::function<void(std::string_view)>& write,
             const fs::path& path, const std::string& name)
{
    const files::Descriptor file = files::OpenRegular(path, O_RDONLY | O_NOFOLLOW, files::Owner::Us);
    const off_t end = ::lseek(file.Number(), 0, SEEK_END);
    archive.Begin(name, static_cast<std::uint64_t>(end));
    std::string part(kArchivePartBytes, '\0');
    for (off_t at = 0; at < end;) {
        const ssize_t got = ::pread(file.Number(), part.data(), part.size(), at);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) throw ArchiveError(path.string() + " cannot be read");
        archive.Add(std::string_view(part).substr(0, static_cast<std::size_t>(got)));
        at += got;
        write(made);
        made.clear();
    }
    archive.End();
}

/// Where a file of the archive stands below the folder. Its name has been checked: nothing leads out.
class Unpacking {
public:
    explicit Unpacking(fs::path data) : mData(std::move(data)) {}
    void Begin(const std::string& name)
    {
        mPath = mData / name;
        if (mPath.parent_path() != mData) {
            PreparePrivateFolder(mData / "meetings");
            PreparePrivateFolder(mPath.parent_path());
            mMeetings.insert(mPath.parent_path());
        }
        mFile = files::OpenRegular(mPath, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, files::Owner::Us);
    }
    void Add(std::string_view bytes) { files::WriteWhole(mFile, std::string(bytes), mPath); }
    void End()
    {
        if (::fsync(mFile.Number()) != 0)
            throw files::FileProblem(mPath.string() + ": " + files::Why(errno), errno);
        mFile = files::Descriptor();
    }
    const std::set<fs::path>& Meetings() const { return mMeetings; }

private:
    const fs::path mData;
    fs::path mPath;
    files::Descriptor mFile;
    std::set<fs::path> mMeetings;
};

constexpr const char* kParts[] = {"accounts.sqlite", "accounts.sqlite-wal", "accounts.sqlite-shm",
                                  "key.pem",         "certificate.pem",     "meetings"};

void MakeRoom(const fs::path& data)
{
    if (RestoreUnfinished(data))
        for (const char* part : kParts) fs::remove_all(data / part);
    for (const char* part : kParts)
        if (fs::symlink_status(data / part).type() != fs::file_type::not_found)
            throw StartError(data.string() + " holds a service's data already (" + part +
                             "); move that away first");
}

void Rewind(int file)
{
    if (::lseek(file, 0, SEEK_SET) != 0) throw ArchiveError("is no file that can be read twice");
}

/// Of all relays, as the servers that keep them copy them.
void PutSharedMeetings(ArchiveWriter& archive, std::string& made,
                       const std::function<void(std::string_view)>& write, const NatsSite& site)
{
    for (const std::string& log : CopiedStreams()) {
        StreamCopy copy(site, log);
        if (copy.Head().empty()) continue;
        archive.Put(BackupLogName(log, 0), copy.Head());
        unsigned part = 0;
        while (const auto bytes = copy.Next()) {
            archive.Put(BackupLogName(log, ++part), *bytes);
            write(made);
            made.clear();
        }
    }
}

}  // namespace

void WriteBackup(const fs::path& data, const std::string& version,
                 const std::function<void(std::string_view)>& write, const ClusterOptions& cluster)
{
    const DataFolder folder(data);
    if (RestoreUnfinished(data)) throw StartError("a restore did not end in " + data.string());
    std::string made;
    ArchiveWriter archive(made);
    archive.Put(kBackupNote, BackupNote(version));
    std::error_code none;
    for (const auto& meeting : fs::directory_iterator(data / "meetings", none))
        for (const auto& file : fs::directory_iterator(meeting.path(), none)) {
            const std::string name =
                "meetings/" + meeting.path().filename().string() + "/" + file.path().filename().string();
            if (IsBackupName(name)) PutFile(archive, made, write, file.path(), name);
        }
    if (!cluster.log.empty()) PutSharedMeetings(archive, made, write, LogPlace(cluster));
    RelayOptions from;
    from.data = data;
    from.cluster = cluster;
    archive.Put("accounts.sqlite", OpenAccounts(from)->Image());
    for (const char* own : {"key.pem", "certificate.pem"})
        if (fs::exists(data / own)) PutFile(archive, made, write, data / own, own);
    archive.Close();
    write(made);
}

BackupFacts CheckBackup(int file)
{
    Rewind(file);
    BackupFacts facts;
    std::set<std::string> meetings;
    std::string name, accounts;
    ArchiveVisitor visitor;
    visitor.begin = [&](const std::string& begun, std::uint64_t bytes) {
        name = begun;
        if (ReadBackupLogName(name)) facts.logBytes += bytes;
        if (name == "accounts.sqlite" && bytes > kAccountsBytes) throw ArchiveError("has too many accounts");
    };
    visitor.bytes = [&](std::string_view bytes) {
        constexpr std::size_t noteBytes = 1024;
        if (name == "accounts.sqlite") accounts += bytes;
        if (name == kBackupNote && facts.note.size() < noteBytes) facts.note += bytes.substr(0, noteBytes);
    };
    const auto sums = ReadArchive(file, visitor);
    for (const auto& [one, sum] : sums)
        if (one.starts_with("meetings/")) meetings.insert(one.substr(0, one.rfind('/')));
    if (!facts.note.starts_with("format 1\n")) throw ArchiveError("was made by a later version");
    facts.accountsBytes = accounts.size();
    if (const std::string fault = SqliteAccounts::FaultOf(std::move(accounts)); !fault.empty())
        throw ArchiveError("has damaged accounts: " + fault);
    facts.files = sums.size();
    facts.meetings = meetings.size();
    facts.key = sums.contains("key.pem") && sums.contains("certificate.pem");
    return facts;
}

bool RestoreUnfinished(const fs::path& data)
{
    return fs::symlink_status(data / kUnfinished).type() != fs::file_type::not_found;
}

void RestoreShared(int file, const NatsSite& site)
{
    Rewind(file);
    PuttingBack servers(site);
    std::string bytes;
    std::optional<BackupLogPart> now;
    bool begun = false;
    ArchiveVisitor visitor;
    visitor.begin = [&](const std::string& name, std::uint64_t size) {
        now = ReadBackupLogName(name);
        if (now && size > kEngineBytes) throw ArchiveError("holds a part that is too large");
        bytes.clear();
        if (now && now->part == 0 && std::exchange(begun, true)) servers.End();
    };
    visitor.bytes = [&](std::string_view more) {
        if (now) bytes += more;
    };
    visitor.end = [&] {
        if (!now) return;
        if (now->part == 0)
            servers.Begin(now->log, bytes);
        else
            servers.Add(bytes);
    };
    ReadArchive(file, visitor);
    if (begun) servers.End();
}

void Restore(int file, const fs::path& data)
{
    Rewind(file);
    const DataFolder folder(data);
    MakeRoom(data);
    WriteSafely(data / kUnfinished, "A restore has begun here. Do it again, or delete what it left.\n");
    SyncFolder(data);
    Unpacking unpacking(data);
    ArchiveVisitor visitor;
    bool skip = false;
    visitor.begin = [&](const std::string& name, std::uint64_t) {
        skip = name == kBackupNote || ReadBackupLogName(name);
        if (!skip) unpacking.Begin(name);
    };
    visitor.bytes = [&](std::string_view bytes) {
        if (!skip) unpacking.Add(bytes);
    };
    visitor.end = [&] {
        if (!skip) unpacking.End();
    };
    ReadArchive(file, visitor);
    for (const fs::path& meeting : unpacking.Meetings()) {
        SkipOpenings(meeting);
        SyncFolder(meeting);
    }
    if (!unpacking.Meetings().empty()) SyncFolder(data / "meetings");
    SyncFolder(data);
    fs::remove(data / kUnfinished);
    SyncFolder(data);
}

}  // namespace zephyl
