#pragma once
// Parts beyond those of a frame, any of which stands in for any that is lost: a Cauchy code over the field of
// 256 elements (polynomial 0x11d). Pure.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zephyl {

inline constexpr std::size_t kMostWholeParts = 64;  // of one frame: a bit for each
inline constexpr std::size_t kMostSpares = 32;      // of one frame

/// The spare part with this index, below kMostSpares: as long as a whole part. Behind the frame's end its
/// last part counts as zeros.
std::string SparePart(std::string_view frame, std::size_t index);

/// Fills the parts of `frame` that are missing (a bit for each) from as many spare parts, by index, each
/// once.
void RestoreParts(std::string& frame, std::uint64_t missing,
                  std::vector<std::pair<std::size_t, std::string>> spares);

/// How many to send with a frame of so many parts where this share of datagrams is lost, so that nearly every
/// frame becomes whole; none where hardly any is lost.
std::size_t SparesFor(std::size_t parts, double lost);

}  // namespace zephyl
