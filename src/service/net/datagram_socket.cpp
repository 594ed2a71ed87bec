#include "service/net/datagram_socket.h"

#include <netinet/in.h>
#include <netinet/udp.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>
#include <utility>

namespace zephyl {
namespace {

constexpr int kBufferBytes = 4 * 1024 * 1024;  // a burst of everybody's frames; the machine may allow less
constexpr std::size_t kSlotBytes = kDatagramBytes + 1;  // one more than there may be: too long shows
constexpr std::size_t kControlBytes = CMSG_SPACE(sizeof(in6_pktinfo)) + CMSG_SPACE(sizeof(in_pktinfo));
constexpr std::size_t kRunBytes =
    65'000;  // of one send: what a UDP length can say, less its own header and IP's

[[noreturn]] void Fail(const char* what)
{
    throw std::system_error(errno, std::system_category(), what);
}

socklen_t LengthOf(int family)
{
    return family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
}

IpBytes Mapped(const in_addr& v4)
{
    IpBytes ip{};
    ip[10] = ip[11] = 0xff;
    std::memcpy(ip.data() + 12, &v4, sizeof v4);
    return ip;
}

void EnlargeBuffer(int socket, int which, int forced)
{
    if (::setsockopt(socket, SOL_SOCKET, forced, &kBufferBytes, sizeof kBufferBytes) != 0)
        ::setsockopt(socket, SOL_SOCKET, which, &kBufferBytes, sizeof kBufferBytes);
}

/// To which own address it came.
in6_pktinfo OwnAddress(msghdr& message)
{
    in6_pktinfo own{};
    for (cmsghdr* one = CMSG_FIRSTHDR(&message); one; one = CMSG_NXTHDR(&message, one)) {
        if (one->cmsg_level == IPPROTO_IPV6 && one->cmsg_type == IPV6_PKTINFO) {
            std::memcpy(&own, CMSG_DATA(one), sizeof own);
        } else if (one->cmsg_level == IPPROTO_IP && one->cmsg_type == IP_PKTINFO) {
            in_pktinfo v4;
            std::memcpy(&v4, CMSG_DATA(one), sizeof v4);
            const IpBytes ip = Mapped(v4.ipi_addr);
            std::memcpy(&own.ipi6_addr, ip.data(), ip.size());
        }
    }
    return own;
}

/// What a send says beside its bytes: from which address, and how long each datagram of it is.
class SendWords {
public:
    SendWords(int family, const in6_pktinfo& own)
    {
        static constexpr unsigned char kNone[16] = {};
        if (std::memcmp(&own.ipi6_addr, kNone, sizeof kNone) == 0) return;
        if (family == AF_INET) {
            in_pktinfo v4{};
            std::memcpy(&v4.ipi_spec_dst, own.ipi6_addr.s6_addr + 12, sizeof v4.ipi_spec_dst);
            Add(IPPROTO_IP, IP_PKTINFO, v4);
        } else {
            Add(IPPROTO_IPV6, IPV6_PKTINFO, own);
        }
    }
    void CutInto(std::uint16_t bytes) { Add(IPPROTO_UDP, UDP_SEGMENT, bytes); }
    void Into(msghdr& message)
    {
        message.msg_control = mBytes ? mControl : nullptr;
        message.msg_controllen = mBytes;
    }

private:
    template <class Word>
    void Add(int level, int type, const Word& word)
    {
        auto* const head = reinterpret_cast<cmsghdr*>(mControl + mBytes);
        head->cmsg_level = level;
        head->cmsg_type = type;
        head->cmsg_len = CMSG_LEN(sizeof word);
        std::memcpy(CMSG_DATA(head), &word, sizeof word);
        mBytes += CMSG_SPACE(sizeof word);
    }
    alignas(cmsghdr) char mControl[kControlBytes + CMSG_SPACE(sizeof(std::uint16_t))] = {};
    std::size_t mBytes = 0;
};

/// False: the network takes nothing now.
bool SendAll(int socket, mmsghdr* messages, std::size_t count)
{
    for (std::size_t sent = 0; sent < count;) {
        const int now = ::sendmmsg(socket, messages + sent, static_cast<unsigned>(count - sent), 0);
        if (now < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return false;
        sent += now > 0 ? static_cast<std::size_t>(now) : 1;  // one that is refused is lost
    }
    return true;
}

}  // namespace

IpBytes DatagramPath::PeerIp() const
{
    if (peer.ss_family == AF_INET) return Mapped(reinterpret_cast<const sockaddr_in&>(peer).sin_addr);
    IpBytes ip{};
    if (peer.ss_family == AF_INET6)
        std::memcpy(ip.data(), &reinterpret_cast<const sockaddr_in6&>(peer).sin6_addr, ip.size());
    return ip;
}

DatagramSocket::DatagramSocket(int family)
    : mSocket(::socket(family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)), mFamily(family)
{
    if (mSocket < 0) Fail("no UDP socket");
    EnlargeBuffer(mSocket, SO_RCVBUF, SO_RCVBUFFORCE);
    EnlargeBuffer(mSocket, SO_SNDBUF, SO_SNDBUFFORCE);
}

DatagramSocket::DatagramSocket(DatagramSocket&& other) noexcept
    : mSocket(std::exchange(other.mSocket, -1)), mFamily(other.mFamily), mKernelCuts(other.mKernelCuts.load())
{
}

DatagramSocket::~DatagramSocket()
{
    if (mSocket >= 0) ::close(mSocket);
}

DatagramSocket DatagramSocket::Listen(const sockaddr_storage& at)
{
    DatagramSocket made(at.ss_family);
    const int on = 1, off = 0;
    if (at.ss_family == AF_INET) {
        ::setsockopt(made.mSocket, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    } else {
        const auto& v6 = reinterpret_cast<const sockaddr_in6&>(at);
        if (IN6_IS_ADDR_UNSPECIFIED(&v6.sin6_addr))
            ::setsockopt(made.mSocket, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
        ::setsockopt(made.mSocket, IPPROTO_IPV6, IPV6_RECVPKTINFO, &on, sizeof on);
    }
    if (::bind(made.mSocket, reinterpret_cast<const sockaddr*>(&at), LengthOf(at.ss_family)) != 0)
        Fail("cannot take the UDP port");
    return made;
}

DatagramSocket DatagramSocket::Towards(const sockaddr_storage& peer)
{
    DatagramSocket made(peer.ss_family);
    if (::connect(made.mSocket, reinterpret_cast<const sockaddr*>(&peer), LengthOf(peer.ss_family)) != 0)
        Fail("no way for UDP");
    return made;
}

bool DatagramSocket::Receive(const Taker& take)
{
    char bytes[kAtOnce][kSlotBytes];
    alignas(cmsghdr) char control[kAtOnce][kControlBytes];
    DatagramPath from[kAtOnce];
    iovec parts[kAtOnce];
    mmsghdr messages[kAtOnce] = {};
    for (std::size_t i = 0; i < kAtOnce; ++i) {
        parts[i] = {bytes[i], kSlotBytes};
        msghdr& message = messages[i].msg_hdr;
        message.msg_name = &from[i].peer;
        message.msg_namelen = sizeof from[i].peer;
        message.msg_iov = &parts[i];
        message.msg_iovlen = 1;
        message.msg_control = control[i];
        message.msg_controllen = kControlBytes;
    }
    const int got = ::recvmmsg(mSocket, messages, kAtOnce, 0, nullptr);
    for (int i = 0; i < got; ++i) {
        from[i].own = OwnAddress(messages[i].msg_hdr);
        take(std::string_view(bytes[i], messages[i].msg_len), from[i]);
    }
    // An error that an earlier datagram met is told once, and means nothing for those that come.
    return got < 0 ? errno == EAGAIN || errno == EWOULDBLOCK : got < int(kAtOnce);
}

/// Datagrams of one size, the last of which may be shorter.
struct DatagramSocket::Run {
    const char* bytes;
    std::size_t length;
    std::uint16_t each;
    std::size_t count;
};

void DatagramSocket::Send(const DatagramBatch& batch, const DatagramPath* to)
{
    const auto& sizes = batch.sizes;
    const char* at = batch.bytes.data();
    for (std::size_t i = 0; i < sizes.size();) {
        Run run{at, 0, sizes[i], 0};
        do {
            run.length += sizes[i];
            ++run.count;
            ++i;
        } while (i < sizes.size() && run.count < kAtOnce && sizes[i - 1] == run.each &&
                 sizes[i] <= run.each && run.length + sizes[i] <= kRunBytes);
        at += run.length;
        const bool cut = run.count > 1 && mKernelCuts && SendRun(run, to);
        if (!cut && !SendEach(run, to)) return;
    }
}

/// False: nothing of it has left, and it has to go one by one.
bool DatagramSocket::SendRun(const Run& run, const DatagramPath* to)
{
    SendWords words(mFamily, to ? to->own : in6_pktinfo{});
    words.CutInto(run.each);
    iovec part{const_cast<char*>(run.bytes), run.length};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (to) {
        message.msg_name = const_cast<sockaddr_storage*>(&to->peer);
        message.msg_namelen = LengthOf(to->peer.ss_family);
    }
    words.Into(message);
    if (::sendmsg(mSocket, &message, 0) >= 0) return true;
    // A device that cannot, whichever way it says so: no more of it. Else it is this way, or this moment.
    if (errno == EIO || errno == EOPNOTSUPP) mKernelCuts = false;
    return false;
}

/// False: the network takes nothing now.
bool DatagramSocket::SendEach(const Run& run, const DatagramPath* to)
{
    SendWords words(mFamily, to ? to->own : in6_pktinfo{});
    iovec parts[kAtOnce];
    mmsghdr messages[kAtOnce] = {};
    for (std::size_t i = 0; i < run.count; ++i) {
        const std::size_t begin = i * run.each;
        parts[i] = {const_cast<char*>(run.bytes + begin),
                    std::min<std::size_t>(run.each, run.length - begin)};
        msghdr& message = messages[i].msg_hdr;
        message.msg_iov = &parts[i];
        message.msg_iovlen = 1;
        if (!to) continue;
        message.msg_name = const_cast<sockaddr_storage*>(&to->peer);
        message.msg_namelen = LengthOf(to->peer.ss_family);
        words.Into(message);
    }
    return SendAll(mSocket, messages, run.count);
}

void Departures::To(DatagramSocket& socket, const DatagramPath& peer)
{
    const std::size_t before = mParts.empty() ? 0 : mParts.back().upTo;
    if (mBatch.sizes.size() > before) mParts.push_back({&socket, peer, mBatch.sizes.size()});
}

void Departures::Send()
{
    if (mParts.empty()) return;
    iovec parts[DatagramSocket::kAtOnce];
    mmsghdr messages[DatagramSocket::kAtOnce];
    std::optional<SendWords> words[DatagramSocket::kAtOnce];
    char* at = mBatch.bytes.data();
    std::size_t count = 0, datagram = 0;
    DatagramSocket* socket = nullptr;
    const auto send = [&] {
        if (count > 0) SendAll(socket->mSocket, messages, count);
        count = 0;
    };
    for (Part& part : mParts) {
        if (part.socket != socket) send();
        socket = part.socket;
        for (; datagram < part.upTo; ++datagram) {
            if (count == DatagramSocket::kAtOnce) send();
            parts[count] = {at, mBatch.sizes[datagram]};
            at += mBatch.sizes[datagram];
            msghdr& message = messages[count].msg_hdr;
            message = {};
            message.msg_iov = &parts[count];
            message.msg_iovlen = 1;
            message.msg_name = &part.peer.peer;
            message.msg_namelen = LengthOf(part.peer.peer.ss_family);
            words[count].emplace(socket->mFamily, part.peer.own).Into(message);
            ++count;
        }
    }
    send();
    mBatch.Clear();
    mParts.clear();
}

}  // namespace zephyl
