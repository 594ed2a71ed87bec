#include "service/link/connection.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/connect.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

namespace zephyl::link {

namespace asio = boost::asio;
using asio::ip::tcp;
using SteadyClock = std::chrono::steady_clock;

namespace {

constexpr auto kNoThrow = asio::as_tuple(asio::use_awaitable);

}  // namespace

std::string ProblemText(const std::exception& problem)
{
    const auto* system = dynamic_cast<const boost::system::system_error*>(&problem);
    if (system && system->code() == asio::error::eof) return "the service closed the connection";
    const std::string text = system ? system->code().message() : problem.what();
    return text.empty() ? "no answer" : text;
}

asio::awaitable<std::shared_ptr<Connection>> Connection::Open(std::shared_ptr<const TlsContext> context,
                                                              std::string host, std::uint16_t port)
{
    const auto executor = co_await asio::this_coro::executor;
    tcp::resolver resolver(executor);
    const auto found = co_await resolver.async_resolve(host, std::to_string(port), asio::use_awaitable);
    tcp::socket socket(executor);
    co_await asio::async_connect(socket, found, asio::use_awaitable);
    auto connection = std::make_shared<Connection>(std::move(socket), std::move(context), host);
    co_await connection->mStream.Handshake();
    connection->mPeer = connection->mStream.Peer();
    co_return connection;
}

Connection::Connection(TlsStream::Socket socket, std::shared_ptr<const TlsContext> context,
                       const std::string& host)
    : mStream(std::move(socket), std::move(context), host),
      mWake(mStream.Tcp().get_executor(), SteadyClock::time_point::max()),
      mPing(mStream.Tcp().get_executor())
{
}

void Connection::Run(ConnectionOwner& owner)
{
    mOwner = &owner;
    mHeard = SteadyClock::now();
    const auto executor = mStream.Tcp().get_executor();
    const auto self = shared_from_this();
    asio::co_spawn(
        executor, [self] { return self->ReadLoop(); }, asio::detached);
    asio::co_spawn(
        executor, [self] { return self->WriteLoop(); }, asio::detached);
    asio::co_spawn(
        executor, [self] { return self->PingLoop(); }, asio::detached);
}

void Connection::Control(const Header& header)
{
    if (!mOwner) return;
    AppendFrame(mUrgent, header, {}, Way::Up);
    Wake();
}

void Connection::Wake()
{
    mWake.cancel();
}

void Connection::Close()
{
    mOwner = nullptr;
    mWake.cancel();
    mPing.cancel();
    mStream.Close();
}

void Connection::Lost(const std::string& reason)
{
    ConnectionOwner* owner = mOwner;
    Close();
    if (owner) owner->OnLost(reason);
}

asio::awaitable<void> Connection::ReadLoop()
{
    const auto self = shared_from_this();
    std::string problem;
    try {
        FrameReader reader(Way::Down);
        std::string bytes;
        while (mOwner) {
            bytes.clear();
            co_await mStream.Read(bytes);
            mHeard = SteadyClock::now();
            mTraffic.bytesIn += bytes.size();
            reader.Feed(bytes);
            while (mOwner) {
                const auto frame = reader.Next();
                if (!frame) break;
                if (!OwnFrame(frame->header)) mOwner->OnFrame(*frame);
            }
            reader.Rest();
        }
    } catch (const std::exception& e) {
        problem = ProblemText(e);
    }
    Lost(problem);
}

asio::awaitable<void> Connection::WriteLoop()
{
    const auto self = shared_from_this();
    std::string problem;
    try {
        std::string batch;
        while (mOwner) {
            batch.clear();
            batch.swap(mUrgent);
            const SteadyClock::time_point again = mOwner->Fill(batch);
            if (batch.empty()) {
                mWake.expires_at(again);
                co_await mWake.async_wait(kNoThrow);
                continue;
            }
            co_await mStream.Write(batch);
            mTraffic.bytesOut += batch.size();
        }
    } catch (const std::exception& e) {
        problem = ProblemText(e);
    }
    Lost(problem);
}

asio::awaitable<void> Connection::PingLoop()
{
    const auto self = shared_from_this();
    while (mOwner) {
        mPing.expires_after(kPingAfterSilence);
        co_await mPing.async_wait(kNoThrow);
        if (!mOwner) co_return;
        const auto silent = SteadyClock::now() - mHeard;
        if (silent >= kLostAfterSilence) {
            Lost("nothing heard for 15 seconds");
            co_return;
        }
        Header ping;
        ping.mutable_ping()->set_nonce(++mNonce);
        mPinged = SteadyClock::now();
        Control(ping);
    }
}

bool Connection::OwnFrame(const Header& header)
{
    if (header.has_ping()) {
        Header pong;
        pong.mutable_pong()->set_nonce(header.ping().nonce());
        Control(pong);
        return true;
    }
    if (!header.has_pong()) return false;
    if (header.pong().nonce() == mNonce)
        mTraffic.roundTrip =
            std::chrono::duration_cast<std::chrono::microseconds>(SteadyClock::now() - mPinged);
    return true;
}

}  // namespace zephyl::link
