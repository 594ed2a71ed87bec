#include "service/relay/log/journal.h"

#include <fcntl.h>
#include <sodium.h>
#include <unistd.h>
#include <xxhash.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>

namespace zephyl {
namespace {

constexpr std::size_t kCheckBytes = sizeof(XXH64_hash_t);
constexpr std::size_t kPrefixBytes = 4 + kCheckBytes;
constexpr std::size_t kEntryBytes = 16 * 1024 * 1024;  // more than the largest item

[[noreturn]] void Fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

// Against torn writes and decay, not against an attacker: he could rewrite the check with the entry.
std::array<char, kCheckBytes> CheckOf(std::string_view payload, std::uint64_t mark)
{
    const XXH64_hash_t hash = XXH3_64bits(payload.data(), payload.size()) ^ mark;
    std::array<char, kCheckBytes> check{};
    std::memcpy(check.data(), &hash, sizeof hash);
    return check;
}

std::optional<std::string_view> EntryAt(std::string_view bytes, std::uint64_t mark)
{
    std::uint32_t length = 0;
    if (bytes.size() < kPrefixBytes) return std::nullopt;
    std::memcpy(&length, bytes.data(), sizeof length);
    if (length == 0 || length > kEntryBytes || bytes.size() - kPrefixBytes < length) return std::nullopt;
    const std::string_view payload = bytes.substr(kPrefixBytes, length);
    const auto check = CheckOf(payload, mark);
    if (std::memcmp(check.data(), bytes.data() + 4, check.size()) != 0) return std::nullopt;
    return payload;
}

bool AllZero(std::string_view bytes)
{
    return bytes.find_first_not_of('\0') == std::string_view::npos;
}

// Behind an entry that is none: does another one begin where this one says that it ends?
bool OthersBehind(std::string_view bytes, std::uint64_t mark)
{
    std::uint32_t length = 0;
    if (bytes.size() < kPrefixBytes) return false;
    std::memcpy(&length, bytes.data(), sizeof length);
    if (length > kEntryBytes || bytes.size() - kPrefixBytes < length) return false;
    return EntryAt(bytes.substr(kPrefixBytes + length), mark).has_value();
}

std::string ReadAll(int file)
{
    const off_t end = ::lseek(file, 0, SEEK_END);
    std::string bytes(static_cast<std::size_t>(end), '\0');
    std::size_t got = 0;
    while (got < bytes.size()) {
        const ssize_t now = ::pread(file, bytes.data() + got, bytes.size() - got, static_cast<off_t>(got));
        if (now <= 0) Fail("cannot read a log");
        got += static_cast<std::size_t>(now);
    }
    return bytes;
}

}  // namespace

void AppendEntry(std::string& out, std::string_view payload, std::string_view more)
{
    const std::size_t at = out.size();
    const auto length = static_cast<std::uint32_t>(payload.size() + more.size());
    out.append(kPrefixBytes, '\0').append(payload).append(more);
    const auto check = CheckOf(std::string_view(out).substr(at + kPrefixBytes), 0);
    std::memcpy(out.data() + at, &length, sizeof length);
    std::memcpy(out.data() + at + sizeof length, check.data(), check.size());
}

std::size_t TakeEntries(std::string_view bytes, std::uint64_t at, std::uint64_t mark, const TakeEntry& take)
{
    std::string_view rest = bytes;
    while (const auto payload = EntryAt(rest, mark)) {
        take(*payload, at + (bytes.size() - rest.size()));
        rest.remove_prefix(kPrefixBytes + payload->size());
    }
    return bytes.size() - rest.size();
}

void MarkEntries(std::string& entries, std::uint64_t mark)
{
    for (std::size_t at = 0; mark != 0 && at < entries.size();) {
        std::uint32_t length = 0;
        XXH64_hash_t check = 0;
        std::memcpy(&length, entries.data() + at, sizeof length);
        std::memcpy(&check, entries.data() + at + sizeof length, sizeof check);
        check ^= mark;
        std::memcpy(entries.data() + at + sizeof length, &check, sizeof check);
        at += kPrefixBytes + length;
    }
}

// An entry like others, under no mark.
std::string StartOf(std::uint64_t mark)
{
    char payload[sizeof mark];
    std::memcpy(payload, &mark, sizeof mark);
    std::string start;
    AppendEntry(start, std::string_view(payload, sizeof payload));
    return start;
}

std::uint64_t DrawMark()
{
    std::uint64_t mark = 0;
    while (mark == 0) randombytes_buf(&mark, sizeof mark);
    return mark;
}

std::size_t EntryBytes(std::size_t payload)
{
    return kPrefixBytes + payload;
}

std::size_t AnnouncedBytes(std::string_view bytes)
{
    std::uint32_t length = 0;
    if (bytes.size() < kPrefixBytes) return 0;
    std::memcpy(&length, bytes.data(), sizeof length);
    return length == 0 || length > kEntryBytes ? 0 : kPrefixBytes + length;
}

Journal::Journal(std::filesystem::path path, Marked marked)
    : mPath(std::move(path)),
      mFile(::open(mPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)),
      mMarked(marked)
{
    if (mFile < 0) Fail("cannot open " + mPath.string());
}

Journal::~Journal()
{
    ::close(mFile);
}

JournalEnd Journal::Load(const TakeEntry& take)
{
    const std::string bytes = ReadAll(mFile);
    mBytes = 0;
    if (mMarked == Marked::Yes) {
        const auto start = EntryAt(bytes, 0);
        if (!start || start->size() != sizeof mMark)
            return AllZero(bytes)                               ? JournalEnd::Clean
                   : AllZero(bytes.substr(0, kPrefixBytes + 8)) ? JournalEnd::Torn
                                                                : JournalEnd::Damaged;
        std::memcpy(&mMark, start->data(), sizeof mMark);
        mBytes = kPrefixBytes + sizeof mMark;
    }
    mBytes += TakeEntries(std::string_view(bytes).substr(mBytes), mBytes, mMark, take);
    const std::string_view rest = std::string_view(bytes).substr(mBytes);
    if (AllZero(rest)) return JournalEnd::Clean;
    return OthersBehind(rest, mMark) ? JournalEnd::Damaged : JournalEnd::Torn;
}

void Journal::Begin()
{
    const std::uint64_t mark = DrawMark();
    mUnsynced = true;
    const std::string start = StartOf(mark);
    if (!WriteAt(start, 0)) Fail("cannot write " + mPath.string());
    mMark = mark;
    mBytes = start.size();
    const off_t end = ::lseek(mFile, 0, SEEK_END);
    mReserved = end > 0 ? static_cast<std::uint64_t>(end) : 0;
}

void Journal::Rename(std::filesystem::path path)
{
    if (::rename(mPath.c_str(), path.c_str()) != 0) Fail("cannot rename " + mPath.string());
    mPath = std::move(path);
    NamesChanged();
}

void Journal::Cut()
{
    mUnsynced = true;
    if (::ftruncate(mFile, static_cast<off_t>(mBytes)) != 0) Fail("cannot cut " + mPath.string());
    mReserved = mBytes;
}

bool Journal::WriteAt(std::string_view bytes, std::uint64_t at)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t now =
            ::pwrite(mFile, bytes.data() + written, bytes.size() - written, static_cast<off_t>(at + written));
        if (now < 0 && errno == EINTR) continue;
        if (now <= 0) return false;
        written += static_cast<std::size_t>(now);
    }
    return true;
}

bool Journal::Append(std::string& entries)
{
    MarkEntries(entries, mMark);
    if (mReserveStep > 0 && mBytes + entries.size() > mReserved) ReserveMore(entries.size());
    mUnsynced = true;
    if (!WriteAt(entries, mBytes)) {
        mReserveStep = 0;
        if (::ftruncate(mFile, static_cast<off_t>(mBytes)) != 0)
            return false;  // cut at the next opening then
        return false;
    }
    mBytes += entries.size();
    return true;
}

bool Journal::Sync()
{
    if (!mUnsynced.exchange(false)) return true;
    bool synced = ::fdatasync(mFile) == 0;
    try {
        if (synced && !mNameSynced.exchange(true)) SyncFolder(mPath.parent_path());
    } catch (const std::system_error&) {
        mNameSynced = synced = false;
    }
    if (!synced) mUnsynced = true;
    return synced;
}

void Journal::Reserve(std::uint64_t step)
{
    mReserveStep = step;
    if (mReserved <= mBytes) ReserveMore(0);
}

void Journal::ReserveMore(std::uint64_t bytes)
{
    mReserved = mBytes + bytes + mReserveStep;
    const std::uint64_t room = mReserved - mBytes;
    if (::posix_fallocate(mFile, static_cast<off_t>(mBytes), static_cast<off_t>(room)) != 0) mReserveStep = 0;
}

void SyncFolder(const std::filesystem::path& folder)
{
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = fd >= 0 && ::fsync(fd) == 0;
    if (fd >= 0) ::close(fd);
    if (!synced) Fail("cannot sync " + folder.string());
}

void WriteSafely(const std::filesystem::path& path, std::string_view bytes)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) Fail("cannot write " + path.string());
    const bool written =
        ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) && ::fsync(fd) == 0;
    ::close(fd);
    if (!written) Fail("cannot write " + path.string());
}

void ReplaceFile(const std::filesystem::path& path, std::string_view bytes)
{
    const std::string temporary = path.string() + ".new";
    WriteSafely(temporary, bytes);
    if (::rename(temporary.c_str(), path.c_str()) != 0) Fail("cannot write " + path.string());
    SyncFolder(path.parent_path());
}

}  // namespace zephyl
