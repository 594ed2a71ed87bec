#pragma once
// Live frames in parts that fit a datagram, and whole again. Pure. One thread at a time per object.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "service/net/datagram.h"

namespace zephyl {

/// A live picture with a larger body goes inside TLS.
inline constexpr std::size_t kDatagramPictureBytes = 64 * 1024;
/// And what stands around it: its header upwards, the prefixes of its frames.
inline constexpr std::size_t kDatagramFrameBytes = kDatagramPictureBytes + 5 * 1024;

/// What stands in front of a part: the number of the frame on this road, which part of how many it is, and
/// the bytes of all of them together.
struct PartHead {
    static constexpr std::size_t kBytes = 16;
    std::uint64_t frame = 0;
    std::uint16_t part = 0, parts = 0;
    std::uint32_t total = 0;

    void Write(char* to) const;
    /// `bytes` has kBytes at least.
    static PartHead Read(std::string_view bytes);
};

/// All but the last part of a frame hold so much.
inline constexpr std::size_t kPartBytes = kDatagramPlainBytes - 1 - PartHead::kBytes;

std::size_t PartsOf(std::size_t frameBytes);

/// Puts frames together while their parts come in any order. A frame whose part never comes makes room for
/// newer ones.
class PartGatherer {
public:
    /// At most so much is held of frames that are not whole, and as much again of their spares.
    static constexpr std::size_t kMostBytes = 2 * kDatagramFrameBytes;

    /// Spares stand in for parts that are lost; `part` of their heads counts on behind the parts.
    enum class What { Part, Spare };
    /// `part`: its head and what it holds. The frame when it is whole now. What contradicts itself, or what
    /// came before, is dropped.
    std::optional<std::string> Take(std::string_view part, What what = What::Part);
    std::size_t HeldBytes() const { return mHeld; }
    /// Frames that were made whole of spares: work that parts alone do not make.
    std::uint64_t Restored() const { return mRestored; }

private:
    struct Half {
        std::uint64_t frame = 0;
        std::string bytes;
        std::uint64_t missing = 0;                                // a bit for each part
        std::vector<std::pair<std::size_t, std::string>> spares;  // by index
    };
    using Place = std::vector<Half>::iterator;
    static constexpr std::size_t kMostHalves = 8;
    static constexpr std::size_t kRemembered = 16;

    Place Begin(const PartHead& head);
    static bool Keep(Half& half, const PartHead& head, std::string_view held, What what);
    std::string Release(Place half);
    bool WasWhole(std::uint64_t frame) const;

    std::vector<Half> mHalves;  // the one that began first in front
    std::size_t mHeld = 0;
    std::uint64_t mRestored = 0;
    std::array<std::uint64_t, kRemembered> mWhole{};  // the numbers of the last ones
    std::size_t mWholeAt = 0;
};

}  // namespace zephyl
