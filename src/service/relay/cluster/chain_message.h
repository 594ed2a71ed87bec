#pragma once
// What stands in one entry of a meeting's log in the engine: who wrote it, and a batch of entries as they
// stand in a file, or a part of one. Pure.

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "service/relay/cluster/engine.h"

namespace zephyl {

struct ChainMessage {
    enum class Kind : std::uint8_t {
        Batch,
        Opening,  // of its epoch: from here on nobody with an earlier one is let in any more
        Opened,   // and what they had under way has come: nothing of theirs stands behind it
    };
    std::uint64_t epoch = 0;   // of who wrote it
    std::uint64_t number = 0;  // counts what that one wrote to this subject
    Kind kind = Kind::Batch;
    std::uint32_t part = 0, parts = 1;
    std::string_view bytes;
};

/// What is told apart from any other entry that was ever written.
struct ChainName {
    std::string subject;
    std::uint64_t epoch = 0, number = 0;
    auto operator<=>(const ChainName&) const = default;
};

/// Bytes of a batch that fit in one message.
inline constexpr std::size_t kChainPartBytes = kEngineBytes - 64;

std::string WriteChainMessage(const ChainMessage& message);
/// None: it is none. Refers to `bytes`.
std::optional<ChainMessage> ReadChainMessage(std::string_view bytes);

/// A batch whose parts have all come.
struct Batch {
    std::uint64_t epoch = 0;
    std::uint64_t first = 0, last = 0;  // sequences of the engine
    ChainMessage::Kind kind = ChainMessage::Kind::Batch;
    std::string bytes;
};

/// Puts together what was read, in order. What stands there twice, because its first answer was lost, counts
/// once; what one wrote who was no more to write, not at all.
class ChainReader {
public:
    std::optional<Batch> Take(const EngineEntry& entry);
    /// Entries that were none of ours.
    std::size_t Skipped() const { return mSkipped; }

private:
    std::uint64_t mEpoch = 0, mNumber = 0;  // of what was read last
    std::uint64_t mOpened = 0;              // the latest epoch that is
    std::uint32_t mParts = 0;               // that have come
    Batch mBatch;
    std::size_t mSkipped = 0;
};

}  // namespace zephyl
