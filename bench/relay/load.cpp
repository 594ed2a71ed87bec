#include "relay/load.h"

#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstring>
#include <stdexcept>

namespace asio = boost::asio;
using namespace zephyl;
using std::chrono::steady_clock;

namespace {

constexpr char kTag[] = "[[ZUM_WB_PEN]]";
constexpr int kPatience = 10'000;  // milliseconds

bool IsRelay(Kind kind)
{
    return kind == Kind::Relay || kind == Kind::RelayFiles;
}

double Now()
{
    return std::chrono::duration<double>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

Peer::Peer(asio::io_context& io, const ServerProcess& server, Kind kind, int index, bool enters) : mKind(kind)
{
    asio::ip::tcp::socket socket(io);
    socket.connect({asio::ip::address_v4::loopback(), server.Port()});
    mStream = std::make_unique<TlsStream>(std::move(socket), TlsContext::Client());
    asio::co_spawn(io, mStream->Handshake(), [](std::exception_ptr error) {
        if (error) std::rethrow_exception(error);
    });
    io.restart();
    io.run();
    if (IsRelay(kind)) Enter(index, enters);
}

void Peer::Enter(int index, bool enters)
{
    Header header;
    header.mutable_hello()->set_version(kProtocolVersion);
    Call(header);
    header.mutable_login()->set_handle("user" + std::to_string(index));
    header.mutable_login()->set_password("secret");
    header.mutable_login()->set_stream(static_cast<std::uint64_t>(index) + 1);
    if (Call(header).logged_in().result() != RESULT_OK) throw std::runtime_error("no login");
    if (!enters) return;
    header.mutable_enter()->set_code("bench");
    header.mutable_enter()->set_create(index == 0);
    if (Call(header).entered().result() != RESULT_OK) throw std::runtime_error("not entered");
}

void Peer::Put(std::string_view bytes)
{
    for (bool sent = mStream->Put(bytes); !sent; sent = mStream->Flush()) {
        pollfd socket{Socket(), POLLOUT, 0};
        if (::poll(&socket, 1, kPatience) <= 0) throw std::runtime_error("the server takes nothing");
    }
}

void Peer::Send(const Header& header, std::string_view body)
{
    std::string bytes;
    AppendFrame(bytes, header, body, Way::Up);
    Put(bytes);
}

Header Peer::Call(const Header& header)
{
    Send(header);
    for (;;) {
        while (const auto frame = mReader.Next()) {
            if (frame->header.has_item() || frame->header.has_accepted()) continue;  // somebody else has come
            return frame->header;
        }
        pollfd socket{Socket(), POLLIN, 0};
        if (::poll(&socket, 1, kPatience) <= 0) throw std::runtime_error("no answer");
        mStream->TakeReady(mReader.Intake());
    }
}

void Peer::Post(std::size_t bytes)
{
    std::string body(bytes, 'x');
    const double now = Now();
    const Channel channel = bytes > kTextBytes ? CHANNEL_BOARD : CHANNEL_TALK;  // larger ones must be records
    if (channel == CHANNEL_BOARD) body.replace(0, sizeof kTag - 1, kTag);
    std::memcpy(body.data() + sizeof kTag, &now, sizeof now);
    Header header;
    if (IsRelay(mKind)) {
        header.mutable_post()->set_channel(channel);
        header.mutable_post()->set_number(++mNumber);
        header.mutable_post()->set_everyone(true);
        header.mutable_post()->mutable_text();
        header.mutable_post()->set_total(static_cast<std::uint32_t>(bytes));
    } else {  // what the relay would send down
        Item& item = *header.mutable_item();
        item.set_channel(channel);
        item.set_sequence(++mNumber);
        item.set_from("user0");
        item.set_stream(1);
        item.set_number(mNumber);
        item.mutable_text();
        item.set_total(static_cast<std::uint32_t>(bytes));
    }
    std::string frames;
    AppendItem(frames, header, LaneOf(header), body, Way::Up);
    Put(frames);
}

void Peer::Take(std::vector<double>* ages)
{
    if (!mStream->TakeReady(mReader.Intake())) return;
    while (const auto frame = mReader.Next()) {
        if (!ItemReader::IsLaneFrame(frame->header)) continue;
        const auto item = mItems.Take(*frame);
        if (!item || !item->header.has_item() || !item->header.item().has_text()) continue;
        ++mReceived;
        ++mUnsaid;
        mUnsaidBytes += item->body.size();
        (item->header.item().channel() == CHANNEL_TALK ? mTalk : mBoard) = item->header.item().sequence();
        if (!ages) continue;
        double sent = 0;
        std::memcpy(&sent, item->body.data() + sizeof kTag, sizeof sent);
        ages->push_back(Now() - sent);
    }
    if (IsRelay(mKind) && (mUnsaid >= kReadEveryItems || mUnsaidBytes >= kReadEveryBytes / 2)) SayRead();
}

void Peer::SayRead()
{
    Header header;
    header.mutable_read()->set_talk(mTalk);
    header.mutable_read()->set_board(mBoard);
    Send(header);
    mUnsaid = mUnsaidBytes = 0;
}

Peers::Peers(const ServerProcess& server, Kind kind, int count, bool enter) : mEpoll(::epoll_create1(0))
{
    for (int i = 0; i < count; ++i) {
        mPeers.push_back(std::make_unique<Peer>(mIo, server, kind, i, enter));
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u32 = static_cast<std::uint32_t>(i);
        ::epoll_ctl(mEpoll, EPOLL_CTL_ADD, mPeers.back()->Socket(), &event);
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
    for (int i = 0; i < count; ++i) mPeers[events[i].data.u32]->Take(ages);
}

std::uint64_t Peers::Slowest(int from, int to) const
{
    std::uint64_t least = ~std::uint64_t{0};
    for (int i = from; i < to; ++i) least = std::min(least, mPeers[static_cast<std::size_t>(i)]->Received());
    return least;
}
