#pragma once
// What names a meeting on disk, and counts its openings. It stands in a file of its own and once more in
// front of the seats: each stands in for the other.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace zephyl {

struct MeetingHead {
    std::string id;
    std::string code;
    std::string creatorKey;
    std::uint64_t creatorStream = 0;
};
/// None when the folder holds no head that can be read.
std::optional<MeetingHead> ReadHead(const std::filesystem::path& folder);

/// A copy of a meeting from before: from now on it counts as opened more often than it can have been since,
/// so that nothing gets a sequence that somebody has seen already. Throws std::system_error.
void SkipOpenings(const std::filesystem::path& folder);

struct Opening {
    std::uint64_t firstSequence = 0;  // above all that were ever given out
    std::string entry;                // for the front of the seats' file
    bool headLost = false;            // its own file could not be read; it is put aside and written again
};
/// Counts one more opening, and makes that last. Throws std::system_error.
Opening OpenHead(const std::filesystem::path& folder, const MeetingHead& head);

}  // namespace zephyl
