#include "service/relay/test_disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

namespace zephyl {
namespace fs = std::filesystem;
namespace {

struct stat About(int file)
{
    struct stat about {};
    ::fstat(file, &about);
    return about;
}

std::string BytesOf(int file)
{
    std::string bytes(static_cast<std::size_t>(About(file).st_size), '\0');
    const ssize_t got = ::pread(file, bytes.data(), bytes.size(), 0);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return bytes;
}

// As the kernel does that could not write it.
void DropRuns(int file)
{
    std::string bytes = BytesOf(file);
    const std::string dropped(1000, 'z');
    for (auto at = bytes.find(dropped); at != std::string::npos; at = bytes.find(dropped))
        bytes.replace(at, dropped.size(), dropped.size(), '\0');
    if (::syscall(SYS_pwrite64, file, bytes.data(), bytes.size(), 0L) < 0) std::abort();
}

}  // namespace

TestDisk& TestDisk::The()
{
    static TestDisk disk;
    return disk;
}

void TestDisk::Watch(const fs::path& folder)
{
    Forget();
    mFolder = folder;
}

void TestDisk::Forget()
{
    const std::lock_guard lock(mMutex);
    for (const auto& [number, kept] : mSafe) ::close(kept.file);
    mSafe.clear();
    mSafeNames.clear();
    mFolder.clear();
}

bool TestDisk::Step()
{
    if (std::this_thread::get_id() != mThread || !beforeSteps) return false;
    beforeSteps();
    return true;
}

std::size_t TestDisk::Take(std::size_t bytes)
{
    const auto taken = std::min<long long>(static_cast<long long>(bytes), room);
    if (room < kEnough) room -= taken;
    return static_cast<std::size_t>(taken);
}

void TestDisk::Remember(int file)
{
    const std::lock_guard lock(mMutex);
    const struct stat about = About(file);
    const std::string open = "/proc/self/fd/" + std::to_string(file);
    const fs::path path = fs::read_symlink(open);
    if (mFolder.empty()) return;
    if (S_ISREG(about.st_mode) && path.parent_path() == mFolder) {
        const auto [at, fresh] = mSafe.try_emplace(about.st_ino);
        if (fresh) at->second.file = ::open(open.c_str(), O_RDONLY | O_CLOEXEC);
        at->second.bytes = BytesOf(at->second.file);
    } else if (path == mFolder) {
        mSafeNames.clear();
        for (const auto& [name, named] : Open()) {
            const auto [at, fresh] = mSafe.try_emplace(About(named).st_ino);
            if (fresh)
                at->second.file = named;
            else
                ::close(named);
            mSafeNames[name] = at->first;
        }
    }
}

void TestDisk::CopyAfterPowerCut(const fs::path& to, std::mt19937& random)
{
    const std::lock_guard lock(mMutex);
    const bool oldNames = random() % 2 == 0;
    fs::create_directories(to);
    const auto copy = [&](const std::string& name, int file, unsigned long long number) {
        const auto safe = mSafe.find(number);
        const std::string old = safe == mSafe.end() ? "" : safe->second.bytes;
        std::ofstream(to / name, std::ios::binary) << (random() % 2 == 0 ? old : BytesOf(file));
    };
    if (oldNames)
        for (const auto& [name, number] : mSafeNames) copy(name, mSafe.at(number).file, number);
    for (const auto& [name, file] : Open()) {
        if (!oldNames) copy(name, file, About(file).st_ino);
        ::close(file);
    }
}

void TestDisk::CopyAfterKill(const fs::path& to)
{
    fs::create_directories(to);
    for (const auto& [name, file] : Open()) {
        std::ofstream(to / name, std::ios::binary) << BytesOf(file);
        ::close(file);
    }
}

std::map<std::string, int> TestDisk::Open() const
{
    std::map<std::string, int> open;
    for (const auto& entry : fs::directory_iterator(mFolder)) {
        const int file = ::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        if (file >= 0) open[entry.path().filename().string()] = file;
    }
    return open;
}

int TestDisk::Sync(int file, long call)
{
    Step();
    stuck.wait(true);
    if (failingSyncs > 0 && S_ISREG(About(file).st_mode)) {
        --failingSyncs;
        if (drops) DropRuns(file);
        errno = EIO;
        return -1;
    }
    const long synced = ::syscall(call, file);
    if (synced == 0) Remember(file);
    return static_cast<int>(synced);
}

}  // namespace zephyl

using zephyl::TestDisk;

extern "C" {
int fdatasync(int file)
{
    return TestDisk::The().Sync(file, SYS_fdatasync);
}

int fsync(int file)
{
    return TestDisk::The().Sync(file, SYS_fsync);
}

ssize_t pwrite(int file, const void* bytes, std::size_t count, off_t at)
{
    const bool watched = TestDisk::The().Step();
    const std::size_t taken = TestDisk::The().Take(watched && count > 64 ? count / 2 : count);  // in halves
    if (taken == 0 && count > 0) return errno = ENOSPC, -1;
    return ::syscall(SYS_pwrite64, file, bytes, taken, at);
}

ssize_t write(int file, const void* bytes, std::size_t count)
{
    const bool limited = TestDisk::The().room < TestDisk::kEnough && S_ISREG(zephyl::About(file).st_mode);
    const std::size_t taken = limited ? TestDisk::The().Take(count) : count;
    if (taken == 0 && count > 0) return errno = ENOSPC, -1;
    return ::syscall(SYS_write, file, bytes, taken);
}

int ftruncate(int file, off_t bytes) noexcept
{
    TestDisk::The().Step();
    return static_cast<int>(::syscall(SYS_ftruncate, file, bytes));
}

int rename(const char* from, const char* to) noexcept
{
    TestDisk::The().Step();
    return static_cast<int>(::syscall(SYS_rename, from, to));
}

int posix_fallocate(int file, off_t at, off_t bytes)
{
    TestDisk::The().Step();
    if (TestDisk::The().room < TestDisk::kEnough) return ENOSPC;
    return ::syscall(SYS_fallocate, file, 0, at, bytes) == 0 ? 0 : errno;
}
}
