#pragma once
// Reads a meeting file that anybody may have made, damaged or cut short. Nothing is believed before it was
// checked, nothing is allocated beyond the bounds of item.h, and only one frame is unpacked at a time. One
// thread at a time per object.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "meeting_file/layout.h"

namespace meeting_file {

/// Where the bytes come from.
struct Source {
    std::uint64_t size = 0;
    /// Exactly `count` bytes from `offset` on, both inside `size`; throws when it cannot.
    std::function<std::string(std::uint64_t offset, std::size_t count)> read;
};
/// Opens a regular file and keeps it open. Throws files::FileProblem.
Source FileSource(const std::string& path);
Source MemorySource(std::string bytes);

class Reader {
public:
    /// Reads head and index. Throws BadFile when it is no meeting file or one of a later format. A file that
    /// was cut short or has a damaged index is opened as far as its frames go: see Problem().
    explicit Reader(Source source);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    const meeting_file::About& About() const { return mAbout; }
    /// One sentence for people when the file is not whole; "".
    const std::string& Problem() const { return mProblem; }

    std::uint64_t Items() const { return mStarts.back(); }
    std::size_t Frames() const { return mIndex.size(); }
    /// Number of the frame's first item, counted from 0.
    std::uint64_t FirstOf(std::size_t frame) const { return mStarts[frame]; }
    /// The frame that has the item; `item` is below Items().
    std::size_t FrameOf(std::uint64_t item) const;

    /// All items of a frame, in order. Throws BadFile when it is damaged: frames before and behind it are
    /// read all the same.
    std::vector<Item> Frame(std::size_t frame);

private:
    struct Unpacker;
    void ReadHead();
    bool ReadIndex();
    void WalkFrames();
    void TakeIndex(std::vector<Entry> index, std::uint64_t end);
    std::string Unpack(std::string_view packed, std::size_t plain);

    const Source mSource;
    std::unique_ptr<Unpacker> mUnpacker;
    meeting_file::About mAbout;
    std::uint64_t mHeadBytes = 0, mHeadSum = 0;
    std::string mProblem;
    std::vector<Entry> mIndex;
    std::vector<std::uint64_t> mStarts{0}, mOffsets{0};  // one more than frames
};

}  // namespace meeting_file
