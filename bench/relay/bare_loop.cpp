#include "relay/bare_loop.h"

#include <sys/epoll.h>

#include <boost/asio/co_spawn.hpp>

#include "service/wire/framing.h"

namespace asio = boost::asio;
using namespace zephyl;

BareLoop::BareLoop(asio::io_context& io, asio::ip::tcp::acceptor& acceptor,
                   std::shared_ptr<const TlsContext> tls, bool batch)
    : mIo(io), mAcceptor(acceptor), mTls(std::move(tls)), mBatch(batch), mEpoll(::epoll_create1(0))
{
    Watch(acceptor.native_handle(), EPOLLIN, EPOLL_CTL_ADD);
}

void BareLoop::Run()
{
    epoll_event events[64];
    for (;;) {
        const int count = ::epoll_wait(mEpoll, events, 64, -1);
        for (int i = 0; i < count; ++i) {
            if (events[i].data.fd == mAcceptor.native_handle())
                Accept();
            else
                Serve(events[i].data.fd, events[i].events);
        }
    }
}

void BareLoop::Watch(int fd, std::uint32_t what, int operation) const
{
    epoll_event event{};
    event.events = what;
    event.data.fd = fd;
    ::epoll_ctl(mEpoll, operation, fd, &event);
}

void BareLoop::Accept()
{
    asio::ip::tcp::socket socket = mAcceptor.accept();
    const int fd = socket.native_handle();
    auto stream = std::make_unique<TlsStream>(std::move(socket), mTls);
    asio::co_spawn(mIo, stream->Handshake(), [](std::exception_ptr) {});
    mIo.restart();
    mIo.run();
    mConnections[fd].stream = std::move(stream);
    Watch(fd, EPOLLIN, EPOLL_CTL_ADD);
}

void BareLoop::Serve(int fd, std::uint32_t events)
{
    Connection& from = mConnections[fd];
    try {
        if (events & EPOLLOUT) Writable(fd, from);
        if (events & EPOLLIN) Forward(fd, from);
    } catch (const std::exception&) {
        mConnections.erase(fd);
    }
}

void BareLoop::Forward(int fd, Connection& from)
{
    if (!from.stream->TakeReady(from.in)) return;
    std::size_t whole = 0;
    while (from.in.size() - whole >= kFramePrefixBytes) {
        const std::size_t frame = FrameBytes(std::string_view(from.in).substr(whole));
        if (from.in.size() - whole < frame) break;
        if (!mBatch) Send(fd, std::string_view(from.in).substr(whole, frame));
        whole += frame;
    }
    if (mBatch && whole > 0) Send(fd, std::string_view(from.in).substr(0, whole));
    from.in.erase(0, whole);
}

void BareLoop::Send(int from, std::string_view bytes)
{
    for (auto& [fd, to] : mConnections) {
        if (fd == from) continue;
        if (to.stream->Backlog() > 0)
            to.waiting.append(bytes);
        else if (!to.stream->Put(bytes))
            Watch(fd, EPOLLIN | EPOLLOUT, EPOLL_CTL_MOD);
    }
}

void BareLoop::Writable(int fd, Connection& to)
{
    if (!to.stream->Flush()) return;
    const std::string waiting = std::move(to.waiting);
    to.waiting.clear();
    if (to.stream->Put(waiting)) Watch(fd, EPOLLIN, EPOLL_CTL_MOD);
}
