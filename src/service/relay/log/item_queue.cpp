#include "service/relay/log/item_queue.h"

#include <algorithm>

namespace zephyl {

void ItemQueue::Add(ItemPtr item)
{
    mBytes += item->frames.size();
    if (item->kept)
        mKeptBytes += item->frames.size();
    else
        ++mPassing;
    mItems.push_back(std::move(item));
}

LogChunk ItemQueue::Read(std::uint64_t from, std::size_t bytes) const
{
    LogChunk chunk;
    chunk.upTo = from;
    auto at = mItems.end();
    // Nearly every reader stands near the end: look there before searching.
    while (at != mItems.begin() && mItems.end() - at < 8 && (*(at - 1))->sequence > from) --at;
    if (at != mItems.begin() && (*(at - 1))->sequence > from)
        at = std::upper_bound(
            mItems.begin(), mItems.end(), from,
            [](std::uint64_t cursor, const ItemPtr& item) { return cursor < item->sequence; });
    for (std::size_t taken = 0; at != mItems.end() && (taken == 0 || taken < bytes); ++at) {
        taken += (*at)->frames.size();
        chunk.upTo = (*at)->sequence;
        chunk.items.push_back(*at);
    }
    return chunk;
}

void ItemQueue::Trim(std::uint64_t begin, std::uint64_t readByAll)
{
    if (mPassing == 0 && begin <= mBegin) return;
    mBegin = std::max(mBegin, begin);
    std::erase_if(mItems, [&](const ItemPtr& item) {
        const bool goes = item->sequence <= (item->kept ? mBegin : readByAll);
        if (goes) Forget(*item);
        return goes;
    });
}

std::uint64_t ItemQueue::DropFront()
{
    const std::uint64_t sequence = FirstSequence();
    Forget(*mItems.front());
    mItems.pop_front();
    return sequence;
}

void ItemQueue::Forget(const LogItem& item)
{
    mBytes -= item.frames.size();
    if (item.kept)
        mKeptBytes -= item.frames.size();
    else
        --mPassing;
}

}  // namespace zephyl
