#pragma once
// Which CLEAR a newcomer's board may begin with. Pure.

#include <cstdint>
#include <deque>
#include <optional>

#include "service/wire/content.h"

namespace zephyl {

/// Everybody's undo reaches back a bounded number of changes. Once a CLEAR has been followed by more of
/// them before any UNDO, nobody's history reaches behind it any more.
class BoardHistory {
public:
    static constexpr std::uint64_t kChangesThatSettle = 20;

    /// Takes the next item that everybody gets. Returns the CLEAR that has become the beginning, if one has.
    std::optional<std::uint64_t> Take(std::uint64_t sequence, BoardEffect effect)
    {
        if (effect == BoardEffect::Undo) mClears.clear();
        if (effect != BoardEffect::Change && effect != BoardEffect::Clear) return std::nullopt;
        ++mChanges;
        std::optional<std::uint64_t> settled;
        while (!mClears.empty() && mChanges - mClears.front().atChange >= kChangesThatSettle) {
            settled = mClears.front().sequence;
            mClears.pop_front();
        }
        if (effect == BoardEffect::Clear) mClears.push_back({sequence, mChanges});
        return settled;
    }

private:
    struct Clear {
        std::uint64_t sequence;
        std::uint64_t atChange;
    };
    std::deque<Clear> mClears;
    std::uint64_t mChanges = 0;
};

}  // namespace zephyl
