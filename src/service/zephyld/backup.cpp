#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <utility>

#include "files/careful_file.h"
#include "service/relay/admin_socket.h"
#include "service/relay/backup/archive.h"
#include "service/relay/backup/restore.h"
#include "service/relay/cluster/nats_place.h"
#include "service/relay/log/journal.h"
#include "service/relay/private_folder.h"
#include "service/wire/door_file.h"
#include "service/zephyld/commands.h"
#include "service/zephyld/where_accounts_are.h"
#include "text/one_line.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

std::string Told(const BackupFacts& facts)
{
    const std::string shared =
        "the meetings of all relays (" + std::to_string((facts.logBytes + 1023) / 1024) + " KiB), ";
    const std::string own =
        std::to_string(facts.meetings) + (facts.meetings == 1 ? " meeting, " : " meetings, ");
    return (facts.logBytes == 0   ? own
            : facts.meetings == 0 ? shared
                                  : own + shared) +
           "accounts" +
           (facts.key ? ", key and certificate" : ", no key: none was made yet, or it stands elsewhere");
}

/// A new file that has its name only once it is whole.
class NewFile {
public:
    explicit NewFile(fs::path path) : mPath(std::move(path)), mPart(mPath.string() + ".part")
    {
        if (fs::symlink_status(mPath).type() != fs::file_type::not_found)
            throw StartError(mPath.string() + " exists already; a backup replaces nothing");
        mFile = files::OpenRegular(mPart, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, files::Owner::Us);
        mMade = true;
    }
    ~NewFile()
    {
        if (mMade) ::unlink(mPart.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    int Number() const { return mFile.Number(); }
    void Add(const std::string& bytes) { files::WriteWhole(mFile, bytes, mPart); }
    void Keep()
    {
        if (::fsync(mFile.Number()) != 0)
            throw files::FileProblem(mPart.string() + ": " + files::Why(errno), errno);
        // By link: it never takes another one's place.
        if (::link(mPart.c_str(), mPath.c_str()) != 0)
            throw files::FileProblem(mPath.string() + ": " + files::Why(errno), errno);
        SyncFolder(mPath.has_parent_path() ? mPath.parent_path() : ".");
    }

private:
    const fs::path mPath, mPart;
    files::Descriptor mFile;
    bool mMade = false;
};

void Copy(int from, NewFile& to)
{
    std::string part(256 * 1024, '\0');
    for (;;) {
        const ssize_t got = ::read(from, part.data(), part.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw StartError("the service does not go on with the backup; its log says why");
        if (got == 0) return;
        to.Add(part.substr(0, static_cast<std::size_t>(got)));
    }
}

/// As the folder's owner, in a process of its own: the archive is the caller's.
int WriteAsOwner(const BackupRequest& request, const fs::path& data, int to)
try {
    BecomeOwner(data);
    const files::Descriptor pipe(to);
    RelayOptions named;
    named.data = data;
    WriteBackup(
        data, request.version,
        [&](std::string_view bytes) { files::WriteWhole(pipe, std::string(bytes), "pipe"); },
        WithAccounts(named).cluster);
    return 0;
} catch (const std::exception& error) {
    std::cerr << "zephyld: " << OneLine(error.what()) << "\n";
    return 1;
}

void CopyWithoutDaemon(const BackupRequest& request, const fs::path& data, NewFile& file)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) RefuseStart("no pipe");
    files::Descriptor reads(ends[0]);
    const pid_t child = ::fork();
    if (child < 0) RefuseStart("no process");
    if (child == 0) ::_exit(WriteAsOwner(request, data, ends[1]));
    ::close(ends[1]);
    int status = 0;
    try {
        Copy(reads.Number(), file);
    } catch (...) {
        reads = files::Descriptor();  // the other end notices
        ::waitpid(child, &status, 0);
        throw;
    }
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0) throw StartError("no backup was made");
}

files::Descriptor Opened(const fs::path& file)
{
    return files::OpenRegular(file, O_RDONLY, files::Owner::Anybody);
}

BackupFacts Checked(int file, const fs::path& name)
try {
    return CheckBackup(file);
} catch (const ArchiveError& error) {
    throw StartError(name.string() + " " + error.what());
}

int PutBackMeetings(const BackupRequest& request, int file, const BackupFacts& facts)
{
    if (facts.logBytes == 0)
        throw StartError(request.file.string() + " holds no meetings that several relays share");
    const RelayOptions options = SharingOptions(request.config, request.data);
    RestoreShared(file, LogPlace(options.cluster));
    std::cout << "meetings put back into " << OneLine(LogPlaceName(options.cluster)) << "\n";
    return 0;
}

}  // namespace

int TakeBackup(const BackupRequest& request)
{
    const fs::path data = request.data.empty() ? PersonalDataPath() : request.data;
    if (!fs::is_directory(data)) throw StartError("there is no folder " + data.string());
    NewFile file(request.file);
    const auto daemon = OpenDaemon(data, "backup");
    if (daemon && daemon->first == "busy")
        throw StartError("another backup is being taken; try again after it");
    if (daemon && daemon->first != "ok")
        throw StartError("the service in " + data.string() + " cannot do that");
    if (daemon)
        Copy(daemon->second.Number(), file);
    else
        CopyWithoutDaemon(request, data, file);
    BackupFacts facts;
    try {
        facts = CheckBackup(file.Number());
    } catch (const ArchiveError& error) {
        throw StartError(std::string("the backup ") + error.what() +
                         (daemon ? "; the service's log says why" : ""));
    }
    file.Keep();
    std::cout << OneLine(request.file.string()) << ": " << Told(facts) << "\n";
    return 0;
}

int PutBack(const BackupRequest& request)
{
    if (!request.config.empty() && !request.meetings)
        throw StartError("--config goes with --meetings; where else to restore is named with --data");
    const fs::path data = request.data.empty() ? PersonalDataPath() : request.data;
    const files::Descriptor file = Opened(request.file);  // the caller's to read
    BackupFacts facts = Checked(file.Number(), request.file);
    if (request.meetings) return PutBackMeetings(request, file.Number(), facts);
    BecomeOwner(data);
    Restore(file.Number(), data);
    const bool shared = std::exchange(facts.logBytes, 0) > 0;
    std::cout << OneLine(data.string()) << ": " << Told(facts) << "\n";
    if (shared)
        std::cout
            << "The meetings that several relays share are not among that: zephyld restore --meetings\n";
    return 0;
}

}  // namespace zephyl
