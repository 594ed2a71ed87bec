#pragma once
// Writes a meeting file, item by item. It holds one frame of them, not the meeting. One thread at a time.

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "meeting_file/layout.h"

namespace meeting_file {

class Writer {
public:
    /// `put` takes the bytes in order; whatever it throws passes through. The head goes at once. Throws
    /// BadFile when a text of `about` is longer than kTitleBytes.
    Writer(const About& about, std::function<void(std::string_view bytes)> put);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Throws BadFile beyond the bounds of item.h; nothing of the item is in the file then.
    void Add(const Item& item);
    /// What ends the file as it is now, the last frame and the index: without that it counts as cut short.
    /// Nothing changes: more can be added, and another end be asked for.
    std::string Tail() const;

private:
    struct Packer;
    void Put(std::string_view bytes);
    void PackFrame();
    std::string Packed(Entry& frame) const;

    const std::function<void(std::string_view)> mPut;
    std::unique_ptr<Packer> mPacker;
    std::string mPlain;  // of the frame that is being filled
    Entry mFrame;
    std::vector<Entry> mIndex;
    std::uint64_t mOffset = 0, mHeadSum = 0, mItems = 0, mPlainBytes = 0;
};

}  // namespace meeting_file
