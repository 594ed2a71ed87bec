#pragma once
// What a line between two relays has carried lately, kept at both of its ends: frames that several clients of
// one relay get go there once, and the others' words name them. Both ends let go of the same at the same
// word. Not for several threads at a time.

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "service/relay/keepers/overheard.h"
#include "service/relay/keepers/words.pb.h"

namespace zephyl {

/// Of a line, each way.
inline constexpr std::size_t kShelfBytes = 1024 * 1024;

/// Bytes that others hold, too.
struct Piece {
    std::shared_ptr<const std::string> of;
    std::string_view bytes;
};
using Pieces = std::vector<Piece>;
/// A copy of its own.
Piece PieceOf(std::string_view bytes);

/// The end that sends.
class ShelfOut {
public:
    using Heard = std::function<std::optional<WrittenPlace>(std::string_view frame)>;
    /// Says what these whole frames are made of; what the other end does not have is appended to `fresh`.
    /// `heard`: where it has a frame from that the line has not carried.
    void Put(std::string_view frames, words::Shelved& shelved, std::string& fresh, const Heard& heard);
    /// The other end has nothing.
    void Forget();

private:
    /// The fresh bytes of one word. Places count from the line's beginning.
    struct Chunk {
        std::uint64_t begin;
        std::string bytes;
        std::vector<std::uint64_t> keys;  // of its frames
        std::uint64_t End() const { return begin + bytes.size(); }
    };
    std::optional<std::uint64_t> Find(std::string_view frame, std::uint64_t likely) const;
    bool Stands(std::string_view frames, std::uint64_t at) const;
    void Keep(std::string fresh);

    std::uint64_t mEnd = 0;
    std::deque<Chunk> mChunks;
    std::unordered_map<std::uint64_t, std::uint64_t> mPlaces;  // of the newest frame that begins so
};

/// The end that hears.
class ShelfIn {
public:
    /// What was put there. None: it names what is not here. Pieces that are a small part of something larger
    /// hold nothing of that.
    std::optional<Pieces> Take(const words::Shelved& shelved, std::string_view fresh,
                               const HeardEntries& heard);
    void Forget() { mChunks.clear(); }

private:
    struct Chunk {
        std::uint64_t begin;
        std::shared_ptr<const std::string> bytes;
        std::uint64_t End() const { return begin + bytes->size(); }
    };
    bool Add(std::uint64_t at, std::uint64_t bytes, Pieces& pieces) const;

    std::deque<Chunk> mChunks;
};

}  // namespace zephyl
