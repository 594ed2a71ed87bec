#pragma once
// A UDP socket that receives and sends many datagrams with one system call. Not blocking. Receive from one
// thread; Send from any number of them.

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "service/net/datagram.h"

namespace zephyl {

/// Sixteen bytes, of IPv4 within IPv6 as ::ffff:a.b.c.d: two that are the same computer are equal.
using IpBytes = std::array<unsigned char, 16>;

/// Where a datagram came from, and to which of our own addresses: an answer goes the same way back.
struct DatagramPath {
    sockaddr_storage peer{};
    in6_pktinfo own{};  // IPv4 as above; zeros: not known

    IpBytes PeerIp() const;
};

class DatagramSocket {
public:
    /// At an address of this computer, as getsockname gives it; IPv6's "any" takes IPv4 as well. Throws
    /// std::system_error.
    static DatagramSocket Listen(const sockaddr_storage& at);
    /// Towards one peer: nobody else is heard. Throws std::system_error.
    static DatagramSocket Towards(const sockaddr_storage& peer);
    ~DatagramSocket();
    DatagramSocket(DatagramSocket&& other) noexcept;
    DatagramSocket& operator=(DatagramSocket&&) = delete;

    /// Hands over what has come, at most kAtOnce. Longer ones than a datagram can be are cut, and so are
    /// none. False: there may be more. The view is good inside the call only.
    using Taker = std::function<void(std::string_view datagram, const DatagramPath& from)>;
    bool Receive(const Taker& take);
    /// What the network does not take now is lost, as datagrams may be. `to` null: of a socket that is
    /// towards one peer. Runs of one size are cut by the kernel where it can, one by one elsewhere.
    void Send(const DatagramBatch& batch, const DatagramPath* to = nullptr);
    /// From now on nothing is left to the kernel to cut.
    void CutNothing() { mKernelCuts = false; }

    int Descriptor() const { return mSocket; }
    static constexpr std::size_t kAtOnce = 64;

private:
    friend class Departures;
    DatagramSocket(int family);
    struct Run;
    bool SendRun(const Run& run, const DatagramPath* to);
    bool SendEach(const Run& run, const DatagramPath* to);

    int mSocket;
    int mFamily;
    std::atomic<bool> mKernelCuts{true};
};

/// Small datagrams to several peers that leave together, with one system call for 64 of them. One thread at a
/// time.
class Departures {
public:
    /// To append to.
    DatagramBatch& Batch() { return mBatch; }
    /// What was appended since the last call goes from `socket` to this peer. It must outlive Send.
    void To(DatagramSocket& socket, const DatagramPath& peer);
    /// What the network does not take now is lost.
    void Send();

private:
    struct Part {
        DatagramSocket* socket;
        DatagramPath peer;
        std::size_t upTo;  // of the batch's sizes
    };
    DatagramBatch mBatch;
    std::vector<Part> mParts;
};

}  // namespace zephyl
