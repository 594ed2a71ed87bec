#pragma once
// Where a channel's items stand in one subject of the engine: a few bytes for every 64 KiB of them. On the
// meeting's strand.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "service/relay/log/log_item.h"

namespace zephyl {

class ChainIndex {
public:
    /// These stand there from `first` on, behind all others.
    void Note(const std::vector<ItemPtr>& items, std::uint64_t first);
    /// Of kept items behind `begin`.
    std::size_t KeptBytes(std::uint64_t begin) const;
    /// That somebody may still want.
    std::size_t WantedBytes(std::uint64_t begin, std::uint64_t readByAll) const;
    /// Where everything behind `from` stands, and what may be in front of it; none: nothing does.
    std::optional<std::uint64_t> PlaceFor(std::uint64_t from) const;
    /// Forgets what nobody wants any more at the front. Returns where the rest begins; 0: nothing went. The
    /// newest block stays.
    std::uint64_t DropUnwanted(std::uint64_t begin, std::uint64_t readByAll);
    /// The last sequence of the oldest block but the newest one; 0: there is none.
    std::uint64_t OldestEnd() const { return mBlocks.size() > 1 ? mBlocks.front().last : 0; }

private:
    struct Block {
        std::uint64_t at;    // in the engine
        std::uint64_t last;  // sequence
        std::uint64_t lastKept, lastPassing;
        std::size_t kept, passing;  // bytes
    };
    std::deque<Block> mBlocks;
};

}  // namespace zephyl
