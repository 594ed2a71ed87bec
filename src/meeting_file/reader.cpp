#include "meeting_file/reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zstd.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "files/careful_file.h"

namespace meeting_file {

namespace {

constexpr char kNoMeetingFile[] = "this is no meeting file";
constexpr std::size_t kMostPacked = kFramePlainBytes + 128 * 1024;  // what cannot be packed grows a little

std::string ReadFully(int file, std::uint64_t offset, std::size_t count)
{
    std::string bytes(count, '\0');
    for (std::size_t done = 0; done < count;) {
        const ssize_t got = ::pread(file, bytes.data() + done, count - done, off_t(offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw BadFile("the file cannot be read: " + files::Why(errno));
        if (got == 0) throw BadFile("the file became shorter while it was read");
        done += std::size_t(got);
    }
    return bytes;
}

std::optional<Item> TakeItem(Cursor& frame)
{
    Cursor in(frame.Bytes(frame.Number<std::uint32_t>()));
    Item item;
    const auto kind = in.Number<std::uint8_t>();
    in.Bytes(1);
    const auto handle = in.Number<std::uint16_t>();
    item.sequence = in.Number<std::uint64_t>();
    item.time = in.Number<std::int64_t>();
    if (kind < std::uint8_t(Kind::Record) || kind > std::uint8_t(Kind::Begins)) return std::nullopt;
    item.kind = Kind(kind);
    if (handle > kHandleBytes) throw BadFile("an item's handle is too long");
    item.from = in.Bytes(handle);
    if (item.kind == Kind::Picture) {
        item.x = in.Number<std::int16_t>();
        item.y = in.Number<std::int16_t>();
    }
    if (in.Left() > kBodyBytes) throw BadFile("an item is too large");
    item.body = in.Bytes(in.Left());
    return item;
}

std::vector<Item> ItemsIn(std::string_view plain)
{
    std::vector<Item> items;
    Cursor in(plain);
    while (!in.AtEnd())
        if (auto item = TakeItem(in)) items.push_back(std::move(*item));
    return items;
}

Entry EntryFrom(Cursor& in)
{
    Entry entry;
    entry.packed = in.Number<std::uint32_t>();
    entry.plain = in.Number<std::uint32_t>();
    entry.items = in.Number<std::uint32_t>();
    entry.sum = in.Number<std::uint64_t>();
    return entry;
}

/// Whether a frame may be what its entry says, before any of it is read.
bool IsPossible(const Entry& entry)
{
    return entry.plain <= kFramePlainBytes && entry.packed <= kMostPacked &&
           std::uint64_t(entry.items) * (4 + kItemFixedBytes) <= entry.plain;
}

}  // namespace

Source FileSource(const std::string& path)
{
    const auto file =
        std::make_shared<files::Descriptor>(files::OpenRegular(path, O_RDONLY, files::Owner::Anybody));
    struct stat facts {};
    if (::fstat(file->Number(), &facts) != 0)
        throw files::FileProblem(path + ": " + files::Why(errno), errno);
    return {std::uint64_t(facts.st_size), [file](std::uint64_t offset, std::size_t count) {
                return ReadFully(file->Number(), offset, count);
            }};
}

Source MemorySource(std::string bytes)
{
    const auto kept = std::make_shared<const std::string>(std::move(bytes));
    return {kept->size(),
            [kept](std::uint64_t offset, std::size_t count) { return kept->substr(offset, count); }};
}

struct Reader::Unpacker {
    Unpacker() : context(ZSTD_createDCtx())
    {
        if (!context) throw std::bad_alloc();
    }
    ~Unpacker() { ZSTD_freeDCtx(context); }
    Unpacker(const Unpacker&) = delete;
    Unpacker& operator=(const Unpacker&) = delete;
    ZSTD_DCtx* context;
};

Reader::Reader(Source source) : mSource(std::move(source)), mUnpacker(std::make_unique<Unpacker>())
{
    ReadHead();
    if (ReadIndex()) return;
    WalkFrames();
    mProblem = "the file is cut short or damaged at its end: what stands in front of that is shown";
}

Reader::~Reader() = default;

void Reader::ReadHead()
{
    if (mSource.size < kSkippableBytes + kHeadFixedBytes + kSumBytes) throw BadFile(kNoMeetingFile);
    const std::string start = mSource.read(0, kSkippableBytes + kHeadMagic.size() + 4);
    Cursor in(start);
    if (in.Number<std::uint32_t>() != kHeadFrame) throw BadFile(kNoMeetingFile);
    const std::size_t size = in.Number<std::uint32_t>();
    if (in.Bytes(kHeadMagic.size()) != kHeadMagic) throw BadFile(kNoMeetingFile);
    if (const auto version = in.Number<std::uint32_t>(); version != kVersion)
        throw BadFile("the meeting file has format " + std::to_string(version) +
                      ", and this program reads format 1: a newer one is needed");
    if (size > kHeadFixedBytes + 2 * kTitleBytes + kSumBytes || size < kHeadFixedBytes + kSumBytes ||
        size > mSource.size - kSkippableBytes)
        throw BadFile("the head of the meeting file is damaged");
    const std::string content = mSource.read(kSkippableBytes, size);
    Cursor head(content);
    const std::string_view summed = std::string_view(content).substr(0, size - kSumBytes);
    head.Bytes(kHeadMagic.size() + 4 + 4);
    mAbout.made = head.Number<std::int64_t>();
    const auto title = head.Number<std::uint16_t>(), program = head.Number<std::uint16_t>();
    mAbout.title = head.Bytes(title);
    mAbout.program = head.Bytes(program);
    mHeadSum = head.Number<std::uint64_t>();
    if (!head.AtEnd() || mHeadSum != Sum(summed)) throw BadFile("the head of the meeting file is damaged");
    mHeadBytes = kSkippableBytes + size;
}

bool Reader::ReadIndex()
try {
    if (mSource.size < mHeadBytes + kSkippableBytes + kFooterBytes) return false;
    const std::string end = mSource.read(mSource.size - kFooterBytes, kFooterBytes);
    Cursor footer(end);
    if (footer.Number<std::uint64_t>() != mHeadSum) return false;
    const auto begins = footer.Number<std::uint64_t>();
    const auto frames = footer.Number<std::uint32_t>();
    const auto version = footer.Number<std::uint32_t>();
    const auto sum = footer.Number<std::uint64_t>();
    const std::uint64_t size = std::uint64_t(frames) * kEntryBytes + kFooterBytes;
    if (version != kVersion || footer.Bytes(kIndexMagic.size()) != kIndexMagic || begins > mSource.size ||
        frames > kItems || mSource.size - begins != kSkippableBytes + size)
        return false;
    const std::string frame = mSource.read(begins, kSkippableBytes + size);
    const std::string_view index = std::string_view(frame).substr(kSkippableBytes);
    Cursor in(frame);
    if (in.Number<std::uint32_t>() != kIndexFrame || in.Number<std::uint32_t>() != size) return false;
    if (sum != Sum(index.substr(0, size - kSumBytes - kIndexMagic.size()))) return false;
    std::vector<Entry> entries(frames);
    for (Entry& entry : entries) entry = EntryFrom(in);
    TakeIndex(std::move(entries), begins);
    return true;
} catch (const BadFile&) {
    return false;
}

void Reader::TakeIndex(std::vector<Entry> index, std::uint64_t end)
{
    std::uint64_t plain = 0;
    std::vector<std::uint64_t> starts{0}, offsets{mHeadBytes};
    for (const Entry& entry : index) {
        plain += entry.plain;
        starts.push_back(starts.back() + entry.items);
        offsets.push_back(offsets.back() + entry.packed);
        if (!IsPossible(entry) || plain > kPlainBytes || starts.back() > kItems)
            throw BadFile("the index of the meeting file is wrong");
    }
    if (offsets.back() != end) throw BadFile("the index of the meeting file is wrong");
    mIndex = std::move(index);
    mStarts = std::move(starts);
    mOffsets = std::move(offsets);
}

/// Without an index: frame by frame, up to the first that is not whole.
void Reader::WalkFrames()
{
    std::vector<Entry> found;
    std::uint64_t offset = mHeadBytes, plainBytes = 0, itemCount = 0;
    while (offset < mSource.size) {
        const std::string bytes =
            mSource.read(offset, std::size_t(std::min<std::uint64_t>(mSource.size - offset, kMostPacked)));
        const std::size_t packed = ZSTD_findFrameCompressedSize(bytes.data(), bytes.size());
        if (ZSTD_isError(packed)) break;
        const auto plain = ZSTD_getFrameContentSize(bytes.data(), bytes.size());
        Cursor magic(bytes);
        if (magic.Number<std::uint32_t>() != ZSTD_MAGICNUMBER || plain > kFramePlainBytes) break;
        Entry entry;
        try {
            const auto items = ItemsIn(Unpack(std::string_view(bytes).substr(0, packed), std::size_t(plain)));
            entry.items = std::uint32_t(items.size());
        } catch (const BadFile&) {
            break;
        }
        entry.packed = std::uint32_t(packed);
        entry.plain = std::uint32_t(plain);
        entry.sum = Sum(std::string_view(bytes).substr(0, packed));
        plainBytes += plain;
        itemCount += entry.items;
        if (plainBytes > kPlainBytes || itemCount > kItems) break;
        found.push_back(entry);
        offset += packed;
    }
    TakeIndex(std::move(found), offset);
}

std::size_t Reader::FrameOf(std::uint64_t item) const
{
    return std::size_t(std::upper_bound(mStarts.begin(), mStarts.end(), item) - mStarts.begin()) - 1;
}

std::string Reader::Unpack(std::string_view packed, std::size_t plain)
{
    std::string bytes(plain, '\0');
    const std::size_t size =
        ZSTD_decompressDCtx(mUnpacker->context, bytes.data(), bytes.size(), packed.data(), packed.size());
    if (ZSTD_isError(size) || size != plain) throw BadFile("a piece of the meeting file is damaged");
    return bytes;
}

std::vector<Item> Reader::Frame(std::size_t frame)
{
    const Entry& entry = mIndex.at(frame);
    const std::string packed = mSource.read(mOffsets[frame], entry.packed);
    if (Sum(packed) != entry.sum) throw BadFile("a piece of the meeting file is damaged");
    std::vector<Item> items = ItemsIn(Unpack(packed, entry.plain));
    if (items.size() != entry.items) throw BadFile("a piece of the meeting file is not what its index says");
    return items;
}

}  // namespace meeting_file
