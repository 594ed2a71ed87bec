#include "service/relay/private_folder.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "files/careful_file.h"

namespace zephyl {
namespace fs = std::filesystem;

void RefuseStart(const std::string& what)
{
    throw StartError(errno ? what + ": " + std::strerror(errno) : what);
}

void PreparePrivateFolder(const fs::path& path)
{
    std::error_code error;
    if (path.has_parent_path()) fs::create_directories(path.parent_path(), error);
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        RefuseStart("cannot make the folder " + path.string());
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) RefuseStart("cannot look at " + path.string());
    errno = 0;
    if (!S_ISDIR(info.st_mode)) RefuseStart(path.string() + " is no folder");
    if (info.st_uid != ::geteuid()) RefuseStart(path.string() + " belongs to another user");
    if ((info.st_mode & 077) && ::chmod(path.c_str(), 0700) != 0)
        RefuseStart("cannot close " + path.string() + " to others");
}

bool IsOfAnother(const fs::path& folder)
{
    struct stat info {};
    return ::stat(folder.c_str(), &info) == 0 && info.st_uid != ::geteuid();
}

void BecomeOwner(const fs::path& folder)
{
    struct stat info {};
    if (::geteuid() != 0 || ::stat(folder.c_str(), &info) != 0 || info.st_uid == 0) return;
    const passwd* owner = ::getpwuid(info.st_uid);
    if (::setgroups(0, nullptr) != 0 || ::setgid(owner ? owner->pw_gid : info.st_gid) != 0 ||
        ::setuid(info.st_uid) != 0)
        RefuseStart("cannot become the owner of " + folder.string());
    // Libraries look there for files of the user's, and stumble over a home that is the superuser's.
    ::setenv("HOME", owner ? owner->pw_dir : "/", 1);
}

int TakeLock(const fs::path& file)
{
    try {
        return files::LockFile(file, std::chrono::milliseconds(0)).Release();
    } catch (const files::FileProblem& problem) {
        if (problem.error == EWOULDBLOCK) return -1;
        throw StartError(problem.what());
    }
}

DataFolder::DataFolder(fs::path path) : mPath(std::move(path))
{
    PreparePrivateFolder(mPath);
    mLock = TakeLock(mPath / "lock");
    errno = 0;
    if (mLock < 0) RefuseStart("another zephyld serves " + mPath.string());
}

DataFolder::~DataFolder()
{
    ::close(mLock);
}

}  // namespace zephyl
