#include "relay/load.h"

#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <charconv>
#include <cstdio>
#include <stdexcept>

#include "service/wire/limits.h"

namespace asio = boost::asio;
using namespace zephyl;
using std::chrono::steady_clock;

namespace {

constexpr char kTag[] = "[[ZUM_WB_PEN]]";
constexpr std::size_t kStampAt = 16;  // behind the tag
constexpr int kStampDigits = 20;
constexpr std::size_t kStampEvery = 1024;
constexpr std::size_t kFirstPlace = 10'000'000, kPlaceDigits = 8;
constexpr int kPatience = 10'000;  // milliseconds

std::uint64_t Nanoseconds()
{
    return static_cast<std::uint64_t>(
        std::chrono::nanoseconds(steady_clock::now().time_since_epoch()).count());
}

std::string Body(std::size_t bytes)
{
    std::string body(bytes, 'x');
    if (bytes > kTextBytes) body.replace(0, sizeof kTag - 1, kTag);  // larger ones must be records
    char stamp[kStampDigits + 1];
    std::snprintf(stamp, sizeof stamp, "%020llu", static_cast<unsigned long long>(Nanoseconds()));
    // Also further on, and where that is, or most of what is sent would be the same bytes again.
    for (std::size_t at = kStampAt; at + kStampEvery / 2 <= body.size() || at == kStampAt; at += kStampEvery)
        body.replace(at, kStampDigits, stamp, kStampDigits)
            .replace(at + kStampDigits, kPlaceDigits, std::to_string(kFirstPlace + at));
    return body;
}

double Age(std::string_view body)
{
    std::uint64_t sent = 0;
    std::from_chars(body.data() + kStampAt, body.data() + kStampAt + kStampDigits, sent);
    return static_cast<double>(Nanoseconds() - sent) * 1e-9;
}

}  // namespace

Peer::Peer(asio::io_context& io, std::shared_ptr<const TlsContext> tls, const ServerProcess& server,
           int index, bool joins)
    : mDialect(Dialect::Of(server.What()))
{
    asio::ip::tcp::socket socket(io);
    socket.connect({asio::ip::address_v4::loopback(), server.Port()});
    if (server.What() == Kind::Nats) {  // says what it is before TLS begins
        std::string info;
        asio::read_until(socket, asio::dynamic_buffer(info), "\r\n");
    }
    mStream = std::make_unique<TlsStream>(std::move(socket), std::move(tls));
    const Speaks speaks = server.Foreign() ? Speaks::OtherThings : Speaks::Zephyl;
    asio::co_spawn(io, mStream->Handshake(speaks), [](std::exception_ptr error) {
        if (error) std::rethrow_exception(error);
    });
    io.restart();
    io.run();
    mDialect->Enter(*this, index, joins);
}

void Peer::Put(std::string_view bytes)
{
    for (bool sent = mStream->Put(bytes); !sent; sent = mStream->Flush()) {
        pollfd socket{Socket(), POLLOUT, 0};
        if (::poll(&socket, 1, kPatience) <= 0) throw std::runtime_error("the server takes nothing");
    }
}

void Peer::Wait()
{
    while (!mStream->TakeReady(mDialect->Intake())) {
        pollfd socket{Socket(), POLLIN, 0};
        if (::poll(&socket, 1, kPatience) <= 0) throw std::runtime_error("no answer");
    }
}

void Peer::Post(std::size_t bytes)
{
    std::string message;
    mDialect->AppendPost(message, Body(bytes));
    Put(message);
}

void Peer::TakeArrived(std::vector<double>* ages)
{
    if (!mStream->TakeReady(mDialect->Intake())) return;
    std::string answer;
    mDialect->Take(
        [&](std::string_view body) {
            ++mReceived;
            if (ages) ages->push_back(Age(body));
        },
        answer);
    if (!answer.empty()) Put(answer);
}

Peers::Peers(const Servers& servers, int count, bool join, int first) : mEpoll(::epoll_create1(0))
{
    const auto tls = TlsContext::Client();
    for (int i = 0; i < count; ++i) {
        const ServerProcess& server = *servers[static_cast<std::size_t>(i) % servers.size()];
        mPeers.push_back(std::make_unique<Peer>(mIo, tls, server, first + i, join));
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u32 = static_cast<std::uint32_t>(i);
        ::epoll_ctl(mEpoll, EPOLL_CTL_ADD, mPeers.back()->Socket(), &event);
        Poll(std::chrono::milliseconds(0));  // what the newcomer means to the others
    }
}

Peers::~Peers()
{
    ::close(mEpoll);
}

void Peers::Stop(int at)
{
    ::epoll_ctl(mEpoll, EPOLL_CTL_DEL, (*this)[at].Socket(), nullptr);
}

void Peers::Poll(std::chrono::milliseconds atMost, std::vector<double>* ages)
{
    epoll_event events[64];
    const int count = ::epoll_wait(mEpoll, events, 64, static_cast<int>(atMost.count()));
    for (int i = 0; i < count; ++i) mPeers[events[i].data.u32]->TakeArrived(ages);
}

std::uint64_t Peers::Slowest(int from, int to) const
{
    std::uint64_t least = ~std::uint64_t{0};
    for (int i = from; i < to; ++i) least = std::min(least, mPeers[static_cast<std::size_t>(i)]->Received());
    return least;
}
