#pragma once
// A relay in a process of its own, for benches that talk with it by datagrams.

#include <sys/socket.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "service/net/datagram_road.h"
#include "service/net/datagram_socket.h"
#include "service/relay/raw_client.h"
#include "service/relay/relay.h"

void PinTo(int core);
sockaddr_storage AddressOf(const std::string& host, std::uint16_t port);
double Seconds(std::chrono::steady_clock::duration time);

/// One thread, its log in memory, no limits for pictures; accounts "user0" and so on, all with the password
/// "secret".
std::unique_ptr<zephyl::Relay> StartRelay(const std::filesystem::path& data, const std::string& host,
                                          int accounts);

/// A process of its own on the first core; the port that it says.
class Server {
public:
    explicit Server(const std::function<void(int report)>& run);
    ~Server();
    /// Processor time so far, of all its threads, in seconds.
    double Cpu() const;
    std::uint16_t port = 0;

private:
    pid_t mPid;
};
/// The server's own word.
void Tell(int report, std::uint16_t port);

/// A client in the meeting "Bench1", with its datagrams or without; the one of index 0 begins it.
class LiveClient {
public:
    LiveClient(const std::string& service, std::uint16_t port, int index, bool udp, const std::string& from);
    /// One live frame, by whichever way it has.
    void Put(const std::string& frame);
    /// Takes what has come.
    void Turn(std::chrono::milliseconds atMost = {});
    std::function<void(const zephyl::Header&, std::string_view body)> onItem;
    zephyl::RawClient raw;

private:
    void SendOut();
    std::unique_ptr<zephyl::DatagramSocket> mSocket;
    std::unique_ptr<zephyl::DatagramRoad> mRoad;
    zephyl::DatagramBatch mOut;
};
