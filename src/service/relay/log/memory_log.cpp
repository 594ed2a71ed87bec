#include "service/relay/log/memory_log.h"

#include <algorithm>

namespace zephyl {

MemoryLog::MemoryLog(const RelayBounds& bounds)
{
    mTalk.bound = bounds.talkKept;
    mBoard.bound = bounds.boardKept;
}

void MemoryLog::Append(std::vector<ItemPtr> items, Done done)
{
    const Sequences safe{mTalk.state.end, mBoard.state.end};
    for (ItemPtr& item : items) {
        Held& held = Of(item->channel);
        held.items.Add(std::move(item));
        while (held.items.Bytes() > held.bound && held.items.Count() > 1)
            held.state.lost = held.state.begin = held.items.DropFront();
    }
    if (done) done();
    if (mSafe) mSafe(safe);
}

void MemoryLog::Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done)
{
    done(Of(channel).items.Read(from, bytes));
}

void MemoryLog::Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll)
{
    Held& held = Of(channel);
    held.state.begin = std::max(held.state.begin, before > 0 ? before - 1 : 0);
    held.items.Trim(held.state.begin, readByAll);
}

}  // namespace zephyl
