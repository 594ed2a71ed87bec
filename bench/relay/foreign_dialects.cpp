// As much of three public protocols as a client needs that sends to one place and hears from it.

#include <cstring>
#include <stdexcept>

#include "relay/dialect.h"

namespace {

void PutBigEndian(std::string& out, std::size_t value, int bytes)
{
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) out += static_cast<char>(value >> shift & 0xff);
}

std::size_t BigEndian(std::string_view bytes)
{
    std::size_t value = 0;
    for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

void PutVarint(std::string& out, std::size_t value)
{
    for (; value >= 0x80; value >>= 7) out += static_cast<char>(value | 0x80);
    out += static_cast<char>(value);
}

// Takes it off `bytes`; false when it is not whole.
bool TakeVarint(std::string_view& bytes, std::size_t& value)
{
    value = 0;
    for (std::size_t i = 0; i < bytes.size() && i < 9; ++i) {
        value |= static_cast<std::size_t>(bytes[i] & 0x7f) << 7 * i;
        if (bytes[i] & 0x80) continue;
        bytes.remove_prefix(i + 1);
        return true;
    }
    return false;
}

// --- MQTT 5, without acknowledgement (QoS 0) -----------------------------------------------------------

constexpr char kTopic[] = "bench";
constexpr std::size_t kTopicBytes = sizeof kTopic - 1;

class Mqtt final : public Dialect {
public:
    void Enter(Line& line, int index, bool joins) override
    {
        std::string connect;
        PutText(connect, "MQTT");
        connect += {5, 2, 0, 0, 0};  // version, clean start, no keep-alive, no properties
        PutText(connect, "user" + std::to_string(index));
        Say(line, 0x10, connect, 0x20);
        if (!joins) return;
        std::string subscribe{0, 1, 0};
        PutText(subscribe, kTopic);
        subscribe += 4;  // nothing of one's own
        Say(line, static_cast<char>(0x82), subscribe, 0x90);
    }

    void AppendPost(std::string& out, std::string_view body) override
    {
        out += 0x30;
        PutVarint(out, 2 + kTopicBytes + 1 + body.size());
        PutText(out, kTopic);
        out += '\0';
        out += body;
    }

    void Take(const Got& got, std::string&) override
    {
        std::string_view rest = mIn, packet;
        while (const int type = Next(rest, packet)) {
            if ((type & 0xf0) != 0x30) continue;
            packet.remove_prefix(2 + BigEndian(packet.substr(0, 2)));
            std::size_t properties = 0;
            TakeVarint(packet, properties);
            got(packet.substr(properties));
        }
        mIn.erase(0, mIn.size() - rest.size());
    }

private:
    static void PutText(std::string& out, std::string_view text)
    {
        PutBigEndian(out, text.size(), 2);
        out += text;
    }

    // The type of the packet in front, 0 when it is not whole.
    static int Next(std::string_view& rest, std::string_view& packet)
    {
        if (rest.size() < 2) return 0;
        std::string_view behind = rest.substr(1);
        std::size_t bytes = 0;
        if (!TakeVarint(behind, bytes) || behind.size() < bytes) return 0;
        const int type = static_cast<unsigned char>(rest[0]);
        packet = behind.substr(0, bytes);
        rest = behind.substr(bytes);
        return type;
    }

    void Say(Line& line, char type, std::string_view packet, int awaited)
    {
        std::string bytes(1, type);
        PutVarint(bytes, packet.size());
        line.Put(bytes.append(packet));
        for (;;) {
            std::string_view rest = mIn, answer;
            while (const int got = Next(rest, answer)) {
                if (got != awaited) continue;
                if (awaited == 0x20 && answer[1] != 0) throw std::runtime_error("mosquitto lets nobody in");
                mIn.erase(0, mIn.size() - rest.size());
                return;
            }
            line.Wait();
        }
    }
};

// --- NATS ----------------------------------------------------------------------------------------------

class Nats final : public Dialect {
public:
    void Enter(Line& line, int, bool joins) override
    {
        std::string hello = "CONNECT {\"verbose\":false,\"pedantic\":false,\"echo\":false}\r\n";
        if (joins) hello += "SUB bench 1\r\n";
        line.Put(hello + "PING\r\n");
        while (mIn.find("PONG\r\n") == std::string::npos) {
            if (mIn.find("-ERR") != std::string::npos) throw std::runtime_error("nats-server: " + mIn);
            line.Wait();
        }
        mIn.erase(0, mIn.find("PONG\r\n") + 6);
    }

    void AppendPost(std::string& out, std::string_view body) override
    {
        out.append("PUB bench ")
            .append(std::to_string(body.size()))
            .append("\r\n")
            .append(body)
            .append("\r\n");
    }

    void Take(const Got& got, std::string& answer) override
    {
        std::string_view rest = mIn;
        for (;;) {
            const std::size_t end = rest.find("\r\n");
            if (end == std::string_view::npos) break;
            const std::string_view line = rest.substr(0, end);
            if (line.starts_with("MSG ")) {
                const std::size_t bytes = std::stoul(std::string(line.substr(line.rfind(' ') + 1)));
                if (rest.size() < end + 2 + bytes + 2) break;
                got(rest.substr(end + 2, bytes));
                rest.remove_prefix(end + 2 + bytes + 2);
                continue;
            }
            if (line == "PING") answer += "PONG\r\n";
            rest.remove_prefix(end + 2);
        }
        mIn.erase(0, mIn.size() - rest.size());
    }
};

// --- Mumble: text messages to the root channel ---------------------------------------------------------

class Mumble final : public Dialect {
public:
    void Enter(Line& line, int index, bool) override
    {
        std::string hello;
        Put(hello, kVersion, std::string("\x08\x84\x86\x04", 4));  // 1.3.4
        const std::string name = "user" + std::to_string(index);
        std::string authenticate("\x0a");
        PutVarint(authenticate, name.size());
        Put(hello, kAuthenticate, authenticate + name);
        line.Put(hello);
        for (bool in = false; !in; line.Wait()) {
            std::string_view rest = mIn, packet;
            for (int type = 0; !in && Next(rest, type, packet);) {
                if (type == kReject) throw std::runtime_error("mumble-server lets nobody in");
                in = type == kServerSync;
            }
            mIn.erase(0, mIn.size() - rest.size());
            if (in) return;
        }
    }

    void AppendPost(std::string& out, std::string_view body) override
    {
        std::string packet("\x18\0\x2a", 3);  // channel 0, then the text
        PutVarint(packet, body.size());
        Put(out, kText, packet.append(body));
    }

    void Take(const Got& got, std::string&) override
    {
        std::string_view rest = mIn, packet;
        for (int type = 0; Next(rest, type, packet);)
            if (type == kText) got(TextOf(packet));
        mIn.erase(0, mIn.size() - rest.size());
    }

private:
    enum : int { kVersion = 0, kAuthenticate = 2, kReject = 4, kServerSync = 5, kText = 11 };

    static void Put(std::string& out, int type, std::string_view packet)
    {
        PutBigEndian(out, static_cast<std::size_t>(type), 2);
        PutBigEndian(out, packet.size(), 4);
        out += packet;
    }

    static bool Next(std::string_view& rest, int& type, std::string_view& packet)
    {
        if (rest.size() < 6) return false;
        const std::size_t bytes = BigEndian(rest.substr(2, 4));
        if (rest.size() < 6 + bytes) return false;
        type = static_cast<int>(BigEndian(rest.substr(0, 2)));
        packet = rest.substr(6, bytes);
        rest.remove_prefix(6 + bytes);
        return true;
    }

    static std::string_view TextOf(std::string_view packet)
    {
        for (std::size_t key = 0, value = 0; TakeVarint(packet, key) && TakeVarint(packet, value);) {
            if ((key & 7) != 2) continue;  // a number, taken already
            if (key >> 3 == 5) return packet.substr(0, value);
            packet.remove_prefix(value);
        }
        throw std::runtime_error("mumble-server sent no text");
    }
};

}  // namespace

std::unique_ptr<Dialect> MakeMosquittoDialect()
{
    return std::make_unique<Mqtt>();
}

std::unique_ptr<Dialect> MakeNatsDialect()
{
    return std::make_unique<Nats>();
}

std::unique_ptr<Dialect> MakeMumbleDialect()
{
    return std::make_unique<Mumble>();
}
