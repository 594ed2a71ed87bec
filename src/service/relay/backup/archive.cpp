#include "service/relay/backup/archive.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sstream>

namespace zephyl {
namespace {

constexpr std::size_t kBlock = 512;
constexpr std::uint64_t kMostBytes = (std::uint64_t{1} << 33) - 1;  // eleven octal digits
constexpr std::size_t kMostFiles = 1'000'000;
constexpr std::size_t kSumsBytes = 256u << 20;
constexpr std::size_t kReadBytes = 64 * 1024;
constexpr char kLogs[] = "log/";
constexpr std::size_t kPartDigits = 8;

/// As POSIX lays it out. Numbers are octal texts.
struct TarHead {
    char name[100], mode[8], uid[8], gid[8], size[12], mtime[12], check[8], type, link[100], magic[6],
        version[2], user[32], group[32], major[8], minor[8], prefix[155], unused[12];
};
static_assert(sizeof(TarHead) == kBlock);

unsigned CheckOf(TarHead head)
{
    std::memset(head.check, ' ', sizeof head.check);
    const auto* bytes = reinterpret_cast<const unsigned char*>(&head);
    unsigned sum = 0;
    for (std::size_t i = 0; i < sizeof head; ++i) sum += bytes[i];
    return sum;
}

TarHead HeadOf(const std::string& name, std::uint64_t bytes)
{
    TarHead head;
    std::memset(&head, 0, sizeof head);
    name.copy(head.name, sizeof head.name - 1);
    std::snprintf(head.mode, sizeof head.mode, "%07o", 0600u);
    std::snprintf(head.uid, sizeof head.uid, "%07o", 0u);
    std::snprintf(head.gid, sizeof head.gid, "%07o", 0u);
    std::snprintf(head.size, sizeof head.size, "%011llo", static_cast<unsigned long long>(bytes));
    std::snprintf(head.mtime, sizeof head.mtime, "%011llo",
                  static_cast<unsigned long long>(std::time(nullptr)));
    head.type = '0';
    std::memcpy(head.magic, "ustar", sizeof head.magic);
    std::memcpy(head.version, "00", sizeof head.version);
    std::snprintf(head.check, sizeof head.check, "%06o", CheckOf(head));
    head.check[7] = ' ';
    return head;
}

std::size_t Padding(std::uint64_t bytes)
{
    return static_cast<std::size_t>((kBlock - bytes % kBlock) % kBlock);
}

bool Digits(std::string_view text, std::size_t count, std::string_view known)
{
    return text.size() == count && text.find_first_not_of(known) == std::string_view::npos;
}

bool IsSegment(std::string_view name)
{
    constexpr std::size_t sequence = 20, roll = 10;
    constexpr std::string_view decimal = "0123456789";
    for (const std::string_view channel : {"talk-", "board-"})
        if (name.starts_with(channel) && name.ends_with(".log")) {
            const std::string_view numbers = name.substr(channel.size(), name.size() - channel.size() - 4);
            return numbers.size() == sequence + 1 + roll && numbers[sequence] == '-' &&
                   Digits(numbers.substr(0, sequence), sequence, decimal) &&
                   Digits(numbers.substr(sequence + 1), roll, decimal);
        }
    return false;
}

/// Bytes of an archive, in order.
class Source {
public:
    explicit Source(int file) : mFile(file) {}
    /// False: there are none left. Throws when they end in the middle.
    bool Read(char* to, std::size_t bytes)
    {
        std::size_t got = 0;
        while (got < bytes) {
            const ssize_t now = ::read(mFile, to + got, bytes - got);
            if (now < 0 && errno == EINTR) continue;
            if (now < 0) throw ArchiveError(std::string("cannot be read: ") + std::strerror(errno));
            if (now == 0) break;
            got += static_cast<std::size_t>(now);
        }
        if (got > 0 && got < bytes) throw ArchiveError("is cut off");
        return got > 0 || bytes == 0;
    }

private:
    const int mFile;
};

bool AllZero(const void* bytes, std::size_t count)
{
    const auto* at = static_cast<const char*>(bytes);
    return std::all_of(at, at + count, [](char c) { return c == 0; });
}

std::uint64_t Octal(const char* text, std::size_t digits)
{
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        if (text[i] < '0' || text[i] > '7') throw ArchiveError("has a header that is none of ours");
        number = number * 8 + static_cast<std::uint64_t>(text[i] - '0');
    }
    return number;
}

/// Names and sizes as this program writes them, and nothing else that tar knows.
std::pair<std::string, std::uint64_t> Checked(const TarHead& head)
{
    if (std::memcmp(head.magic, "ustar", sizeof head.magic) != 0 || Octal(head.check, 6) != CheckOf(head))
        throw ArchiveError("is no backup, or damaged");
    const std::string name(head.name, ::strnlen(head.name, sizeof head.name));
    if (head.type != '0' || head.link[0] || head.prefix[0] || !(IsBackupName(name) || name == kBackupSums))
        throw ArchiveError("holds something that no backup has");
    return {name, Octal(head.size, 11)};
}

}  // namespace

std::string BackupLogName(const std::string& log, unsigned part)
{
    char number[16];
    std::snprintf(number, sizeof number, "%08u", part);
    return kLogs + log + "/" + number;
}

std::optional<BackupLogPart> ReadBackupLogName(std::string_view name)
{
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
    constexpr std::size_t most = 64;
    if (!name.starts_with(kLogs)) return std::nullopt;
    name.remove_prefix(std::string_view(kLogs).size());
    const std::size_t end = std::min(name.find('/'), name.size());
    const std::string_view log = name.substr(0, end), part = name.substr(std::min(end + 1, name.size()));
    if (log.empty() || log.size() > most || !Digits(log, log.size(), letters) ||
        !Digits(part, kPartDigits, "0123456789"))
        return std::nullopt;
    return BackupLogPart{std::string(log), static_cast<unsigned>(std::stoul(std::string(part)))};
}

bool IsBackupName(std::string_view name)
{
    if (ReadBackupLogName(name)) return true;
    for (const std::string_view known : {std::string_view(kBackupNote), std::string_view("accounts.sqlite"),
                                         std::string_view("key.pem"), std::string_view("certificate.pem")})
        if (name == known) return true;
    constexpr std::string_view meetings = "meetings/";
    constexpr std::size_t id = 32;
    if (!name.starts_with(meetings) || name.size() < meetings.size() + id + 2) return false;
    name.remove_prefix(meetings.size());
    const std::string_view file = name.substr(id + 1);
    return Digits(name.substr(0, id), id, "0123456789abcdef") && name[id] == '/' &&
           (file == "head" || file == "seats" || IsSegment(file));
}

std::string Sha256::Hex()
{
    std::array<unsigned char, crypto_hash_sha256_BYTES> sum{};
    crypto_hash_sha256_final(&mState, sum.data());
    std::string hex(2 * sum.size() + 1, '\0');
    sodium_bin2hex(hex.data(), hex.size(), sum.data(), sum.size());
    hex.pop_back();
    return hex;
}

std::string BackupNote(const std::string& version)
{
    return "format 1\nversion " + version + "\ntaken " + std::to_string(std::time(nullptr)) + "\n";
}

void ArchiveWriter::Begin(const std::string& name, std::uint64_t bytes)
{
    if (bytes > kMostBytes) throw ArchiveError(name + " is too large for a backup");
    const TarHead head = HeadOf(name, bytes);
    mOut.append(reinterpret_cast<const char*>(&head), sizeof head);
    mName = name;
    mLeft = mBytes = bytes;
    mSum = Sha256();
}

void ArchiveWriter::Add(std::string_view bytes)
{
    bytes = bytes.substr(0, mLeft);
    mLeft -= bytes.size();
    mSum.Add(bytes);
    mOut += bytes;
}

void ArchiveWriter::End()
{
    while (mLeft > 0) Add(std::string(std::min<std::uint64_t>(mLeft, kReadBytes), '\0'));
    mOut.append(Padding(mBytes), '\0');
    if (mName != kBackupSums) mSums += mSum.Hex() + "  " + mName + "\n";
}

void ArchiveWriter::Put(const std::string& name, std::string_view bytes)
{
    Begin(name, bytes.size());
    Add(bytes);
    End();
}

void ArchiveWriter::Close()
{
    Put(kBackupSums, mSums);
    mOut.append(2 * kBlock, '\0');
}

std::map<std::string, std::string> ReadArchive(int file, const ArchiveVisitor& visitor)
{
    Source source(file);
    std::map<std::string, std::string> sums;
    std::string listed;
    bool closed = false;
    std::string buffer(kReadBytes, '\0');
    for (TarHead head;;) {
        if (!source.Read(reinterpret_cast<char*>(&head), sizeof head)) throw ArchiveError("is cut off");
        if (AllZero(&head, sizeof head)) break;
        const auto [name, bytes] = Checked(head);
        if (closed || sums.contains(name) || sums.size() > kMostFiles)
            throw ArchiveError("holds something behind its end, or twice");
        closed = name == kBackupSums;
        if (closed && bytes > kSumsBytes) throw ArchiveError("lists too much");
        if (!closed && visitor.begin) visitor.begin(name, bytes);
        Sha256 sum;
        for (std::uint64_t left = bytes; left > 0;) {
            const std::size_t now = static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size()));
            if (!source.Read(buffer.data(), now)) throw ArchiveError("is cut off");
            const std::string_view part(buffer.data(), now);
            left -= now;
            sum.Add(part);
            if (closed) listed += part;
            if (!closed && visitor.bytes) visitor.bytes(part);
        }
        if (!closed && visitor.end) visitor.end();
        if (!closed) sums[name] = sum.Hex();
        if (!source.Read(buffer.data(), Padding(bytes))) throw ArchiveError("is cut off");
        if (!AllZero(buffer.data(), Padding(bytes))) throw ArchiveError("is damaged between its files");
    }
    if (!closed) throw ArchiveError("has no sums at its end");
    for (std::string rest(kBlock, '\0'); source.Read(rest.data(), rest.size());)
        if (!AllZero(rest.data(), rest.size())) throw ArchiveError("holds something behind its end");
    std::istringstream lines(listed);
    std::size_t matching = 0;
    for (std::string line; std::getline(lines, line); ++matching) {
        constexpr std::size_t hex = 2 * crypto_hash_sha256_BYTES;
        const auto at = line.size() > hex + 2 ? sums.find(line.substr(hex + 2)) : sums.end();
        if (at == sums.end() || line.substr(0, hex + 2) != at->second + "  ")
            throw ArchiveError("is damaged: " + (at == sums.end() ? "its list of sums" : at->first));
    }
    if (matching != sums.size() || !sums.contains(kBackupNote) || !sums.contains("accounts.sqlite"))
        throw ArchiveError("is not whole");
    return sums;
}

}  // namespace zephyl
