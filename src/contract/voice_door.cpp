#include "contract/voice_door.h"

namespace voice_door {

namespace {

constexpr std::size_t kPacketHead = 1 + 8 + 1 + 1;  // kind, frame, level, bytes of the handle
constexpr std::uint8_t kMostPercent = 100;

std::string Begin(Kind kind)
{
    return std::string(1, static_cast<char>(kind));
}

std::uint8_t ByteAt(std::string_view message, std::size_t at)
{
    return static_cast<std::uint8_t>(message[at]);
}

/// One a line. No handle has a line break; one that had would be two that nobody has.
void AppendHandles(std::string& to, const std::vector<std::string>& handles)
{
    for (const std::string& handle : handles) to += handle + '\n';
}

std::optional<std::vector<std::string>> ReadHandles(std::string_view lines)
{
    std::vector<std::string> handles;
    while (!lines.empty()) {
        const std::size_t end = lines.find('\n');
        if (end == lines.npos || end == 0 || end > kLongestHandle) return std::nullopt;
        if (handles.size() == kMostHandles) return std::nullopt;
        handles.emplace_back(lines.substr(0, end));
        lines.remove_prefix(end + 1);
    }
    return handles;
}

}  // namespace

std::optional<Kind> KindOf(std::string_view message)
{
    if (message.empty() || message.size() > kLongest) return std::nullopt;
    const Kind kind{message.front()};
    for (const Kind known : {Kind::Word, Kind::With, Kind::Status, Kind::Voice, Kind::People, Kind::Open})
        if (kind == known) return kind;
    return std::nullopt;
}

std::string WriteWord(std::string_view word)
{
    return Begin(Kind::Word).append(word);
}

std::string_view ReadWord(std::string_view message)
{
    return message.substr(1);
}

std::string WriteWith(const std::vector<std::string>& handles)
{
    std::string message = Begin(Kind::With);
    AppendHandles(message, handles);
    return message;
}

std::optional<std::vector<std::string>> ReadWith(std::string_view message)
{
    return ReadHandles(message.substr(1));
}

std::string WriteStatus(const Status& status)
{
    return Begin(Kind::Status) + static_cast<char>(status.trouble) + static_cast<char>(status.muted);
}

std::optional<Status> ReadStatus(std::string_view message)
{
    if (message.size() != 3 || ByteAt(message, 1) > std::uint8_t(Trouble::NoSpeaker)) return std::nullopt;
    return Status{Trouble{ByteAt(message, 1)}, message[2] != 0};
}

std::string WritePacket(const Packet& packet)
{
    std::string message = Begin(Kind::Voice);
    message.reserve(kPacketHead + packet.from.size() + packet.body.size());
    for (int shift = 56; shift >= 0; shift -= 8) message += static_cast<char>(packet.frame >> shift & 0xff);
    message += static_cast<char>(packet.level);
    message += static_cast<char>(packet.from.size());
    return message.append(packet.from).append(packet.body);
}

std::optional<Packet> ReadPacket(std::string_view message)
{
    if (message.size() < kPacketHead) return std::nullopt;
    Packet packet;
    for (std::size_t i = 1; i <= 8; ++i) packet.frame = packet.frame << 8 | ByteAt(message, i);
    packet.level = ByteAt(message, 9);
    const std::size_t from = ByteAt(message, 10);
    if (packet.level > kSilence || message.size() <= kPacketHead + from) return std::nullopt;
    packet.from = message.substr(kPacketHead, from);
    packet.body = message.substr(kPacketHead + from);
    return packet.body.size() <= kLongestPacket ? std::optional(packet) : std::nullopt;
}

std::string WritePeople(const People& people)
{
    std::string message = Begin(Kind::People);
    message += static_cast<char>(people.phase);
    message += static_cast<char>(people.lost);
    AppendHandles(message, people.handles);
    return message;
}

std::optional<People> ReadPeople(std::string_view message)
{
    if (message.size() < 3 || ByteAt(message, 1) > std::uint8_t(Phase::Inside)) return std::nullopt;
    if (ByteAt(message, 2) > kMostPercent) return std::nullopt;
    auto handles = ReadHandles(message.substr(3));
    if (!handles) return std::nullopt;
    return People{Phase{ByteAt(message, 1)}, ByteAt(message, 2), std::move(*handles)};
}

std::string WriteOpen()
{
    return Begin(Kind::Open);
}

}  // namespace voice_door
