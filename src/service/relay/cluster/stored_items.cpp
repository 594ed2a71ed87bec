#include "service/relay/cluster/stored_items.h"

#include "service/relay/log/journal.h"
#include "service/relay/log/stored.h"

namespace zephyl {

std::vector<ItemPtr> ItemsIn(Channel channel, const Batch& batch, std::size_t* skipped)
{
    std::vector<ItemPtr> items;
    const std::size_t read = TakeEntries(batch.bytes, 0, 0, [&](std::string_view payload, std::uint64_t) {
        if (ItemPtr item = LoadItem(channel, payload))
            items.push_back(std::move(item));
        else if (skipped)
            ++*skipped;
    });
    if (read < batch.bytes.size() && skipped) ++*skipped;
    return items;
}

}  // namespace zephyl
