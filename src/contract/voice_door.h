#pragma once
// What the client's link and the voice companion say to each other: one message, one packet of a local
// socket (SOCK_SEQPACKET) that only this user can open. The companion's first one is the word that it was
// started with. Whatever is not whole, or over its bound, is skipped by both. Pure; any thread.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace voice_door {

/// How a companion is told of the door: its environment.
inline constexpr char kPathVariable[] = "VOKTAL_DOOR";
inline constexpr char kWordVariable[] = "VOKTAL_WORD";
inline constexpr char kClientVariable[] = "VOKTAL_CLIENT";  // the client's process id
/// And how its window says whose it is: a CARDINAL.
inline constexpr char kClientProperty[] = "VOKTAL_CLIENT";

inline constexpr std::size_t kLongest = 64 * 1024;  // bytes of a message
inline constexpr std::size_t kMostHandles = 1000;
inline constexpr std::size_t kLongestHandle = 255;  // bytes
inline constexpr std::size_t kLongestPacket = 320;  // bytes of voice
inline constexpr std::uint8_t kSilence = 127;       // decibels below full scale

enum class Kind : char {
    Word = 'W',    // up: the word
    With = 'T',    // up: whom to talk with
    Status = 'S',  // up
    Voice = 'V',   // both ways
    People = 'P',  // down
    Open = 'O',    // down: show the window
};

/// 20 ms of somebody's voice; `from` is empty on the way up.
struct Packet {
    std::uint64_t frame = 0;  // counted by the sender
    std::uint8_t level = kSilence;
    std::string_view from, body;
};

enum class Trouble : std::uint8_t { None, NoServer, NoMicrophone, NoSpeaker };
struct Status {
    Trouble trouble = Trouble::None;
    bool muted = false;
    bool operator==(const Status&) const = default;
};

enum class Phase : std::uint8_t { Outside, Cut, Inside };
struct People {
    Phase phase = Phase::Outside;
    std::uint8_t lost = 0;             // per cent of what we send, as far as the link knows
    std::vector<std::string> handles;  // the own one first
    bool operator==(const People&) const = default;
};

/// None: empty, or of no kind that is known.
std::optional<Kind> KindOf(std::string_view message);

std::string WriteWord(std::string_view word);
std::string WriteWith(const std::vector<std::string>& handles);
std::string WriteStatus(const Status& status);
std::string WritePacket(const Packet& packet);
std::string WritePeople(const People& people);
std::string WriteOpen();

// Of a message of that kind; none: it is not whole.
std::string_view ReadWord(std::string_view message);
std::optional<std::vector<std::string>> ReadWith(std::string_view message);
std::optional<Status> ReadStatus(std::string_view message);
std::optional<Packet> ReadPacket(std::string_view message);
std::optional<People> ReadPeople(std::string_view message);

}  // namespace voice_door
