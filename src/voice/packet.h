#pragma once
// What a packet of voice holds: one byte of flags, one that says how much of others' voice was lost here, and
// what Opus made of 20 ms. Pure; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace voice {

struct Packet {
    bool first = false;     // after silence
    bool last = false;      // silence follows
    std::uint8_t lost = 0;  // per cent of what came to the speaker
    std::string_view opus;
};

inline constexpr std::size_t kMostPacketBytes = 320;

std::string WritePacket(const Packet& packet);
/// None: no packet of ours, or not 20 ms of Opus.
std::optional<Packet> ReadPacket(std::string_view bytes);

}  // namespace voice
