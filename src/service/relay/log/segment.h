#pragma once
// One file of a channel: which sequences stand where in it, and reading from it.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "service/relay/log/meeting_log.h"

namespace zephyl {

/// What is known of a segment while the meeting lives: a few bytes for every 64 KiB of it.
class Segment {
public:
    /// `mark`: of its journal; tells it from a file that had its name before.
    Segment(std::filesystem::path path, std::uint64_t mark) : mPath(std::move(path)), mMark(mark) {}
    /// An entry was written at this place, behind all others.
    void Note(const LogItem& item, std::uint64_t at, std::uint64_t end);
    /// Entries behind this sequence count no more: the disk may not have them.
    void Distrust(std::uint64_t behind);

    const std::filesystem::path& Path() const { return mPath; }
    std::uint64_t Mark() const { return mMark; }
    /// 0: it holds nothing.
    std::uint64_t Last() const { return mLast; }
    std::uint64_t End() const { return mEnd; }
    /// A place in front of everything behind `from`.
    std::uint64_t PlaceFor(std::uint64_t from) const;
    /// Bytes of kept items behind `begin`, exact to 64 KiB.
    std::size_t KeptBytes(std::uint64_t begin) const;
    /// Bytes of the file that somebody may still want; as exact.
    std::size_t WantedBytes(std::uint64_t begin, std::uint64_t readByAll) const;

private:
    struct Block {
        std::uint64_t first, last;
        std::uint64_t at;
        std::size_t kept;   // bytes of items
        std::size_t holds;  // bytes of their entries
    };
    std::filesystem::path mPath;
    std::uint64_t mMark;
    std::uint64_t mLast = 0;
    std::uint64_t mEnd = 0;
    std::size_t mPassing = 0;  // bytes of entries of items that are not kept
    std::vector<Block> mBlocks;
};

/// What a cold read wants. Values only: it goes to another thread.
struct ColdRead {
    std::filesystem::path path;
    Channel channel = CHANNEL_UNSPECIFIED;
    std::uint64_t mark = 0;
    std::uint64_t at = 0, end = 0;  // places in the file
    std::uint64_t from = 0;         // sequences
    std::uint64_t begin = 0;        // kept items up to here count no more
    std::uint64_t last = 0;         // of the segment
};
enum class ColdResult {
    Read,
    Busy,     // no descriptor is free; try again
    Damaged,  // the file is not what was written
};
/// Reads 1 MiB, or one item when that is larger, behind `from`; nothing there: up to the segment's end.
ColdResult ReadCold(const ColdRead& wanted, LogChunk& chunk);

/// Segments that stand one behind the other, to be written anew as one without what nobody wants any more.
/// Values only.
struct Thinning {
    std::vector<std::filesystem::path> paths;
    std::vector<std::uint64_t> marks, ends;
    Channel channel = CHANNEL_UNSPECIFIED;
    std::uint64_t begin = 0, readByAll = 0;  // as WantedBytes'
};
/// The new file, safe, under the first one's name and ".new". None: one could not be read, or the disk
/// refuses; nothing is left behind.
std::optional<Segment> Thin(const Thinning& wanted);

}  // namespace zephyl
