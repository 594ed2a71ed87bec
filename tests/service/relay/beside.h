#pragma once
// A raw client's datagrams.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "service/net/datagram_road.h"
#include "service/relay/raw_client.h"
#include "service/wire/framing.h"

namespace zephyl {

/// The datagrams of one client, beside its connection.
class Beside {
public:
    using Clock = DatagramRoad::Clock;
    Beside(std::uint16_t port, const Place& place, const char* from = "127.0.0.1")
        : Beside(port,
                 std::make_shared<DatagramRoad>(KeysOf(place), DatagramRoad::Begins::Here, Clock::now()),
                 from)
    {
    }
    Beside(std::uint16_t port, std::shared_ptr<DatagramRoad> known, const char* from = "127.0.0.1")
        : road(std::move(known)), mSocket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_in own = At(from, 0), service = At("127.0.0.1", port);
        EXPECT_EQ(::bind(mSocket, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
        EXPECT_EQ(::connect(mSocket, reinterpret_cast<const sockaddr*>(&service), sizeof service), 0);
    }
    ~Beside() { ::close(mSocket); }

    static DatagramKeys KeysOf(const Place& place)
    {
        const auto up = ReadDatagramKey(place.udp_key_up()), down = ReadDatagramKey(place.udp_key_down());
        EXPECT_TRUE(place.udp_id() != 0 && up && down);
        return {place.udp_id(), up.value_or(DatagramKey{}), down.value_or(DatagramKey{})};
    }
    /// Probes until frames may go both ways.
    bool Open()
    {
        return Until([&] { return road->Takes(1) && road->Figures().comes; });
    }
    bool Until(const std::function<bool()>& enough)
    {
        for (const auto until = Clock::now() + std::chrono::seconds(10); Clock::now() < until;) {
            DatagramBatch out;
            road->Tick(Clock::now(), out);
            Send(out);
            if (enough()) return true;
            Receive(std::chrono::milliseconds(20));
        }
        return false;
    }
    /// Whether anything comes within this time.
    bool Receive(std::chrono::milliseconds time)
    {
        pollfd wait{mSocket, POLLIN, 0};
        if (::poll(&wait, 1, int(time.count())) <= 0) return false;
        char bytes[2000];
        const ssize_t got = ::recv(mSocket, bytes, sizeof bytes, 0);
        if (got <= 0) return false;  // the port is closed
        DatagramBatch out;
        auto arrived = road->Take({bytes, std::size_t(got)}, Clock::now(), out);
        if (arrived.frame)
            ReadLiveFrame(*arrived.frame, Way::Down, [&](const ItemView& item) {
                const Header& header = item.header;
                frames.push_back(header.has_voice()
                                     ? "voice " + std::to_string(header.voice().frame())
                                     : header.live().from() + ' ' + std::to_string(header.live().frame()));
            });
        Send(out);
        return true;
    }
    void Film(std::uint64_t number, std::size_t bytes, int type = 0, std::size_t but = SIZE_MAX)
    {
        std::string frame;
        AppendItem(frame, LiveHeader(type, number, bytes), LANE_LIVE, std::string(bytes, 'f'), Way::Up);
        Put(frame, but);
    }
    void Say(std::uint64_t number, const std::string& sound = "packet")
    {
        Header header;
        header.mutable_voice()->set_frame(number);
        std::string frame;
        AppendFrame(frame, header, sound, Way::Up);
        Put(frame);
    }
    /// `but`: this part is lost.
    void Put(const std::string& frame, std::size_t but = SIZE_MAX)
    {
        DatagramBatch out;
        road->Put(frame, Clock::now(), out);
        Send(out, but);
    }
    void Send(const DatagramBatch& out, std::size_t but = SIZE_MAX)
    {
        std::size_t at = 0;
        for (std::size_t i = 0; i < out.sizes.size(); at += out.sizes[i++])
            if (i != but) SendRaw(out.bytes.substr(at, out.sizes[i]));
    }
    void SendRaw(const std::string& datagram)
    {
        sent.push_back(datagram);
        ::send(mSocket, datagram.data(), datagram.size(), 0);
    }

    const std::shared_ptr<DatagramRoad> road;
    std::vector<std::string> frames;  // "from number"
    std::vector<std::string> sent;

private:
    static sockaddr_in At(const char* address, std::uint16_t port)
    {
        sockaddr_in at{};
        at.sin_family = AF_INET;
        at.sin_port = htons(port);
        ::inet_pton(AF_INET, address, &at.sin_addr);
        return at;
    }
    int mSocket;
};

}  // namespace zephyl
