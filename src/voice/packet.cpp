#include "voice/packet.h"

#include <opus.h>

#include "voice/sound.h"

namespace voice {

namespace {
constexpr char kFirst = 1, kLast = 2;
constexpr int kMostPercent = 100;
constexpr std::size_t kHead = 2;
}  // namespace

std::string WritePacket(const Packet& packet)
{
    std::string bytes;
    bytes.reserve(kHead + packet.opus.size());
    bytes += char((packet.first ? kFirst : 0) | (packet.last ? kLast : 0));
    bytes += char(packet.lost);
    return bytes.append(packet.opus);
}

std::optional<Packet> ReadPacket(std::string_view bytes)
{
    if (bytes.size() <= kHead || bytes.size() > kMostPacketBytes) return std::nullopt;
    if ((bytes[0] & ~(kFirst | kLast)) != 0 || std::uint8_t(bytes[1]) > kMostPercent) return std::nullopt;
    const std::string_view opus = bytes.substr(kHead);
    const int samples = opus_packet_get_nb_samples(reinterpret_cast<const unsigned char*>(opus.data()),
                                                   opus_int32(opus.size()), kRate);
    if (samples != int(kPacketSamples)) return std::nullopt;
    return Packet{(bytes[0] & kFirst) != 0, (bytes[0] & kLast) != 0, std::uint8_t(bytes[1]), opus};
}

}  // namespace voice
