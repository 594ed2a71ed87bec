#pragma once
// Items of one channel that stand in memory, in order. On the meeting's strand.

#include <cstddef>
#include <cstdint>
#include <deque>

#include "service/relay/log/meeting_log.h"

namespace zephyl {

class ItemQueue {
public:
    void Add(ItemPtr item);
    /// Items behind `from`, in order, about `bytes` of them and at least one if there is one.
    LogChunk Read(std::uint64_t from, std::size_t bytes) const;
    /// Lets go the kept ones up to `begin`, of the others those up to `readByAll`.
    void Trim(std::uint64_t begin, std::uint64_t readByAll);
    /// Returns the sequence of what went. Precondition: there is one.
    std::uint64_t DropFront();

    bool Empty() const { return mItems.empty(); }
    std::size_t Count() const { return mItems.size(); }
    std::uint64_t FirstSequence() const { return mItems.front()->sequence; }
    std::size_t Bytes() const { return mBytes; }
    std::size_t KeptBytes() const { return mKeptBytes; }
    const std::deque<ItemPtr>& Items() const { return mItems; }

private:
    void Forget(const LogItem& item);

    std::deque<ItemPtr> mItems;
    std::size_t mBytes = 0;
    std::size_t mKeptBytes = 0;
    std::size_t mPassing = 0;  // items that nobody who comes later will get
    std::uint64_t mBegin = 0;
};

}  // namespace zephyl
