#include "service/relay/memory_log.h"

#include <algorithm>

namespace zephyl {

MemoryLog::MemoryLog(const RelayBounds& bounds)
{
    mTalk.bound = bounds.talkKept;
    mBoard.bound = bounds.boardKept;
}

void MemoryLog::Append(std::vector<ItemPtr> items, Done done)
{
    Sequences safe{mTalk.state.end, mBoard.state.end};
    for (ItemPtr& item : items) {
        Held& held = Of(item->channel);
        held.bytes += item->frames.size();
        if (item->kept)
            held.state.keptBytes += item->frames.size();
        else
            ++held.passing;
        held.items.push_back(std::move(item));
        while (held.bytes > held.bound && held.items.size() > 1) {
            held.state.lost = held.state.begin = held.items.front()->sequence;
            DropFront(held);
        }
    }
    if (done) done();
    if (mSafe) mSafe(safe);
}

void MemoryLog::Restore(const std::vector<ItemPtr>& items, std::uint64_t end)
{
    Append(items, {});
    mTalk.state.end = mBoard.state.end = end;
}

void MemoryLog::Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done)
{
    const std::deque<ItemPtr>& items = Of(channel).items;
    LogChunk chunk;
    chunk.upTo = from;
    auto at = items.end();
    // Nearly every reader stands near the end: look there before searching.
    while (at != items.begin() && items.end() - at < 8 && (*(at - 1))->sequence > from) --at;
    if (at != items.begin() && (*(at - 1))->sequence > from)
        at = std::upper_bound(
            items.begin(), items.end(), from,
            [](std::uint64_t cursor, const ItemPtr& item) { return cursor < item->sequence; });
    for (std::size_t taken = 0; at != items.end() && (taken == 0 || taken < bytes); ++at) {
        taken += (*at)->frames.size();
        chunk.upTo = (*at)->sequence;
        chunk.items.push_back(*at);
    }
    done(std::move(chunk));
}

void MemoryLog::Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll)
{
    Held& held = Of(channel);
    const std::uint64_t begin = before > 0 ? before - 1 : 0;
    if (held.passing == 0 && begin <= held.state.begin) return;
    held.state.begin = std::max(held.state.begin, begin);
    std::erase_if(held.items, [&](const ItemPtr& item) {
        const bool goes = item->sequence <= (item->kept ? held.state.begin : readByAll);
        if (goes) Forget(held, *item);
        return goes;
    });
}

void MemoryLog::Forget(Held& held, const LogItem& item)
{
    held.bytes -= item.frames.size();
    if (item.kept)
        held.state.keptBytes -= item.frames.size();
    else
        --held.passing;
}

void MemoryLog::DropFront(Held& held)
{
    Forget(held, *held.items.front());
    held.items.pop_front();
}

}  // namespace zephyl
