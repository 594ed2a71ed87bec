#include "files/careful_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

namespace files {

std::string Why(int error)
{
    if (error == ENOSPC || error == EDQUOT || error == EFBIG)
        return std::string(std::strerror(error)) + ". Make room there, then try again";
    return std::strerror(error);
}

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kNextTry{
    1};  // the lock is free for moments only while somebody writes on

[[noreturn]] void Fail(const std::string& path, int error)
{
    throw FileProblem(path + ": " + Why(error), error);
}

[[noreturn]] void Refuse(const std::string& path, const std::string& why)
{
    throw FileProblem(path + " " + why, 0);
}

Descriptor Open(const std::string& path, int flags)
{
    Descriptor file(::open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0600));
    if (file.Number() < 0) Fail(path, errno);
    return file;
}

struct stat FactsOf(const Descriptor& file, const std::string& path)
{
    struct stat facts {};
    if (::fstat(file.Number(), &facts) != 0) Fail(path, errno);
    return facts;
}

void CheckOwner(const struct stat& facts, Owner owner, const std::string& path)
{
    if (owner == Owner::Anybody) return;
    if (facts.st_uid != ::geteuid() && facts.st_uid != 0) Refuse(path, "belongs to another user");
    // The system may have a group for whom it keeps its keys.
    const mode_t others = facts.st_uid == ::geteuid() ? 077 : 07;
    if (owner == Owner::Private && (facts.st_mode & others))
        Refuse(path, "can be read by others; if nobody did: chmod 600 " + path);
}

/// The process that holds a file's lock, as the kernel lists it. "": it is not listed here.
std::string HolderOf(const struct stat& facts)
{
    char place[64];
    std::snprintf(place, sizeof place, "%02x:%02x:%lu", major(facts.st_dev), minor(facts.st_dev),
                  static_cast<unsigned long>(facts.st_ino));
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number, kind, advice, way, holder, where, name;
        words >> number >> kind >> advice >> way >> holder >> where;
        if (kind != "FLOCK" || where != place) continue;
        std::ifstream("/proc/" + holder + "/comm") >> name;
        if (!name.empty()) name += ", ";
        return name.append("process ").append(holder);
    }
    return {};
}

/// What has come within `patience` until the end; a regular file has all at once.
std::string ReadUntil(const Descriptor& file, std::size_t limit, Clock::time_point end,
                      const std::string& path)
{
    std::string bytes;
    for (;;) {
        char some[4096];
        const ssize_t got = ::read(file.Number(), some, sizeof some);
        if (got == 0) return bytes;
        if (got > 0) bytes.append(some, static_cast<std::size_t>(got));
        if (bytes.size() > limit) Refuse(path, "holds more than " + std::to_string(limit) + " bytes");
        if (got > 0 || errno == EINTR) continue;
        if (errno != EAGAIN) Fail(path, errno);
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd ready{file.Number(), POLLIN, 0};
        if (left <= 0 || ::poll(&ready, 1, static_cast<int>(left)) == 0) Fail(path, ETIMEDOUT);
    }
}

}  // namespace

Descriptor::~Descriptor()
{
    if (mNumber >= 0) ::close(mNumber);
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(mNumber, other.mNumber);
    return *this;
}

int Descriptor::Release()
{
    return std::exchange(mNumber, -1);
}

Descriptor OpenRegular(const std::string& path, int flags, Owner owner)
{
    Descriptor file = Open(path, flags);
    const struct stat facts = FactsOf(file, path);
    if (!S_ISREG(facts.st_mode)) Refuse(path, "is not a regular file");
    CheckOwner(facts, owner, path);
    return file;
}

std::string ReadWhole(const Descriptor& file, std::size_t limit, const std::string& path)
{
    return ReadUntil(file, limit, Clock::now(), path);
}

void WriteWhole(const Descriptor& file, const std::string& bytes, const std::string& path)
{
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t wrote = ::write(file.Number(), bytes.data() + done, bytes.size() - done);
        if (wrote < 0 && errno != EINTR) Fail(path, errno);
        if (wrote > 0) done += static_cast<std::size_t>(wrote);
    }
}

std::string ReadNamed(const std::string& path, std::size_t limit, Owner owner,
                      std::chrono::milliseconds patience)
{
    const Descriptor file = Open(path, O_RDONLY);
    const struct stat facts = FactsOf(file, path);
    const bool pipe = S_ISFIFO(facts.st_mode);
    if (!S_ISREG(facts.st_mode) && !S_ISCHR(facts.st_mode) && !pipe)
        Refuse(path, "is neither a file nor a pipe");
    CheckOwner(facts, owner, path);
    const auto end = Clock::now() + patience;
    // A pipe whose writer has not come yet reads as ended: wait for the first byte, or for its end.
    pollfd ready{file.Number(), POLLIN, 0};
    if (pipe && ::poll(&ready, 1, static_cast<int>(patience.count())) == 0) Fail(path, ETIMEDOUT);
    return ReadUntil(file, limit, end, path);
}

Descriptor LockFile(const std::string& path, std::chrono::milliseconds patience)
{
    Descriptor file = OpenRegular(path, O_RDWR | O_CREAT | O_NOFOLLOW, Owner::Us);
    for (const auto end = Clock::now() + patience; ::flock(file.Number(), LOCK_EX | LOCK_NB) != 0;) {
        if (errno != EWOULDBLOCK && errno != EINTR) Fail(path, errno);
        if (Clock::now() < end) {
            std::this_thread::sleep_for(kNextTry);
            continue;
        }
        const std::string holder = HolderOf(FactsOf(file, path));
        throw FileProblem(path + " is held by " + (holder.empty() ? "another program" : holder), EWOULDBLOCK);
    }
    return file;
}

}  // namespace files
