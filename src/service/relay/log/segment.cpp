#include "service/relay/log/segment.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "service/relay/log/journal.h"
#include "service/relay/log/stored.h"

namespace zephyl {
namespace {

constexpr std::uint64_t kBlockBytes = 64 * 1024;
constexpr std::size_t kColdBytes = 1024 * 1024;

bool ReadAt(int file, std::string& bytes, std::uint64_t at)
{
    std::size_t got = 0;
    while (got < bytes.size()) {
        const ssize_t now =
            ::pread(file, bytes.data() + got, bytes.size() - got, static_cast<off_t>(at + got));
        if (now < 0 && errno == EINTR) continue;
        if (now <= 0) return false;
        got += static_cast<std::size_t>(now);
    }
    return true;
}

// Takes whole entries from 1 MiB at `at`, at least one. Returns the place behind them; `at`: none could be
// read.
std::uint64_t TakeSome(int file, std::uint64_t at, std::uint64_t end, std::uint64_t mark,
                       const TakeEntry& take)
{
    std::string bytes(std::min<std::uint64_t>(kColdBytes, end - at), '\0');
    if (!ReadAt(file, bytes, at)) return at;
    const std::size_t announced = AnnouncedBytes(bytes);
    if (announced == 0 || announced > end - at) return at;
    if (announced > bytes.size()) {
        bytes.resize(announced);
        if (!ReadAt(file, bytes, at)) return at;
    }
    return at + TakeEntries(bytes, at, mark, take);
}

}  // namespace

void Segment::Note(const LogItem& item, std::uint64_t at, std::uint64_t end)
{
    if (mBlocks.empty() || at - mBlocks.back().at >= kBlockBytes)
        mBlocks.push_back({item.sequence, item.sequence, at, 0, 0});
    mBlocks.back().last = mLast = item.sequence;
    (item.kept ? mBlocks.back().holds : mPassing) += end - at;
    if (item.kept) mBlocks.back().kept += item.frames.size();
    mEnd = end;
}

void Segment::Distrust(std::uint64_t behind)
{
    mLast = std::min(mLast, behind);
    while (!mBlocks.empty() && mBlocks.back().first > behind) {
        mEnd = mBlocks.back().at;
        mBlocks.pop_back();
    }
    if (mBlocks.empty()) mPassing = 0;
}

std::uint64_t Segment::PlaceFor(std::uint64_t from) const
{
    const auto block =
        std::find_if(mBlocks.begin(), mBlocks.end(), [&](const Block& known) { return known.last > from; });
    return block == mBlocks.end() ? mEnd : block->at;
}

std::size_t Segment::KeptBytes(std::uint64_t begin) const
{
    std::size_t bytes = 0;
    if (mLast <= begin) return 0;
    for (const Block& block : mBlocks)
        if (block.last > begin) bytes += block.kept;
    return bytes;
}

std::size_t Segment::WantedBytes(std::uint64_t begin, std::uint64_t readByAll) const
{
    std::size_t bytes = mLast > readByAll ? mPassing : 0;
    if (mLast <= begin) return bytes;
    for (const Block& block : mBlocks)
        if (block.last > begin) bytes += block.holds;
    return bytes;
}

ColdResult ReadCold(const ColdRead& wanted, LogChunk& chunk)
{
    const int file = ::open(wanted.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0)
        return errno == EMFILE || errno == ENFILE || errno == ENOMEM ? ColdResult::Busy : ColdResult::Damaged;
    chunk.upTo = wanted.from;
    bool sound = true;
    std::uint64_t at = wanted.at;
    while (sound && chunk.items.empty() && at < wanted.end) {
        const std::uint64_t next =
            TakeSome(file, at, wanted.end, wanted.mark, [&](std::string_view payload, std::uint64_t) {
                ItemPtr item = LoadItem(wanted.channel, payload);
                if (!item || item->sequence <= chunk.upTo || item->sequence > wanted.last) return;
                chunk.upTo = item->sequence;
                if (!item->kept || item->sequence > wanted.begin) chunk.items.push_back(std::move(item));
            });
        sound = next > at;
        at = next;
    }
    ::close(file);
    if (!sound) return ColdResult::Damaged;
    if (at >= wanted.end) chunk.upTo = std::max(chunk.upTo, wanted.last);
    return ColdResult::Read;
}

namespace {

// What is wanted of one of them, behind what is there already. False: not all of it could be read.
bool ThinOne(const Thinning& wanted, std::size_t which, std::uint64_t mark, std::string& out, Segment& thin)
{
    const int file = ::open(wanted.paths[which].c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0) return false;
    const std::size_t start = StartOf(mark).size();
    bool sound = true;
    for (std::uint64_t at = start; sound && at < wanted.ends[which];) {
        const std::uint64_t next = TakeSome(
            file, at, wanted.ends[which], wanted.marks[which], [&](std::string_view payload, std::uint64_t) {
                const ItemPtr item = LoadItem(wanted.channel, payload);
                if (!item || item->sequence <= thin.Last() ||
                    item->sequence <= (item->kept ? wanted.begin : wanted.readByAll))
                    return;
                std::string entry;
                AppendEntry(entry, payload);
                MarkEntries(entry, mark);
                thin.Note(*item, out.size(), out.size() + entry.size());
                out += entry;
            });
        sound = next > at;
        at = next;
    }
    ::close(file);
    return sound;
}

}  // namespace

std::optional<Segment> Thin(const Thinning& wanted)
{
    const std::uint64_t mark = DrawMark();
    Segment thin(wanted.paths.front(), mark);
    std::string out = StartOf(mark);
    for (std::size_t i = 0; i < wanted.paths.size(); ++i)
        if (!ThinOne(wanted, i, mark, out, thin)) return std::nullopt;
    const std::string fresh = wanted.paths.front().string() + ".new";
    try {
        WriteSafely(fresh, out);
    } catch (const std::system_error&) {
        ::unlink(fresh.c_str());
        return std::nullopt;
    }
    return thin;
}

}  // namespace zephyl
