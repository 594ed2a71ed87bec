#pragma once
// What a meeting file keeps, and its bounds. Plain data without the toolkit; docs/meeting-file.md is the
// format for everybody else.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace meeting_file {

/// What the meeting's log held. The numbers are those of the file; a reader goes over others.
enum class Kind : std::uint8_t {
    Record = 1,    // of the board: its text, tag included
    Picture = 2,   // of the board: JPEG with its corner at x, y
    Line = 3,      // of the chat, in clear
    TakeBack = 4,  // of the board: all marks of the handle that is the body go
    Begins = 5,    // of the board: white and without a past; what follows draws all of it again
};

struct Item {
    Kind kind = Kind::Record;
    std::string from;            // handle, UTF-8
    std::uint64_t sequence = 0;  // in the meeting's log; 0: not known
    std::int64_t time = 0;       // milliseconds since 1970, UTC; 0: not known
    std::int16_t x = 0, y = 0;   // board pixels; pictures alone
    std::string body;
    bool operator==(const Item&) const = default;
};

/// Of the whole file.
struct About {
    std::string title;      // the meeting's code, or what else it was called; UTF-8
    std::string program;    // what wrote it, "quorvia 1.0.0"
    std::int64_t made = 0;  // milliseconds since 1970, UTC
    bool operator==(const About&) const = default;
};

// Bounds, in bytes and items: more than a meeting's log keeps, and what a program with a window can hold.
inline constexpr std::size_t kBodyBytes = 8 * 1024 * 1024;
inline constexpr std::size_t kHandleBytes = 1024;
inline constexpr std::size_t kTitleBytes = 1024;
inline constexpr std::size_t kFramePlainBytes = 16 * 1024 * 1024;
inline constexpr std::uint64_t kPlainBytes = std::uint64_t(2) << 30;
inline constexpr std::uint64_t kItems = 4'000'000;

/// The file, or what was to become one, is not what it must be; says in a sentence why.
struct BadFile : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace meeting_file
