#include "service/relay/cluster/chain_index.h"

#include <algorithm>

namespace zephyl {
namespace {

constexpr std::size_t kBlockBytes = 64 * 1024;

}  // namespace

void ChainIndex::Note(const std::vector<ItemPtr>& items, std::uint64_t first)
{
    if (mBlocks.empty() || mBlocks.back().kept + mBlocks.back().passing >= kBlockBytes)
        mBlocks.push_back({first, 0, 0, 0, 0, 0});
    Block& block = mBlocks.back();
    for (const ItemPtr& item : items) {
        block.last = item->sequence;
        (item->kept ? block.lastKept : block.lastPassing) = item->sequence;
        (item->kept ? block.kept : block.passing) += item->frames.size();
    }
}

std::size_t ChainIndex::KeptBytes(std::uint64_t begin) const
{
    return WantedBytes(begin, ~std::uint64_t{0});
}

std::size_t ChainIndex::WantedBytes(std::uint64_t begin, std::uint64_t readByAll) const
{
    std::size_t bytes = 0;
    for (const Block& block : mBlocks)
        bytes +=
            (block.lastKept > begin ? block.kept : 0) + (block.lastPassing > readByAll ? block.passing : 0);
    return bytes;
}

std::optional<std::uint64_t> ChainIndex::PlaceFor(std::uint64_t from) const
{
    const auto at =
        std::upper_bound(mBlocks.begin(), mBlocks.end(), from,
                         [](std::uint64_t cursor, const Block& block) { return cursor < block.last; });
    if (at == mBlocks.end()) return std::nullopt;
    return at->at;
}

std::uint64_t ChainIndex::DropUnwanted(std::uint64_t begin, std::uint64_t readByAll)
{
    bool dropped = false;
    while (mBlocks.size() > 1 && mBlocks.front().lastKept <= begin &&
           mBlocks.front().lastPassing <= readByAll) {
        mBlocks.pop_front();
        dropped = true;
    }
    return dropped ? mBlocks.front().at : 0;
}

}  // namespace zephyl
