#include "service/link/datagrams.h"

#include <fcntl.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cstring>
#include <tuple>

#include "service/net/no_throw.h"

namespace zephyl::link {

namespace asio = boost::asio;

namespace {

constexpr std::chrono::milliseconds kLookAgain{500};  // what is sent meanwhile may be doubted sooner

sockaddr_storage AddressOf(const asio::ip::tcp::endpoint& endpoint)
{
    sockaddr_storage address{};
    std::memcpy(&address, endpoint.data(), endpoint.size());
    return address;
}

}  // namespace

std::optional<DatagramKeys> KeysOf(const Place& place)
{
    const auto up = ReadDatagramKey(place.udp_key_up()), down = ReadDatagramKey(place.udp_key_down());
    if (place.udp_id() == 0 || !up || !down) return std::nullopt;
    return DatagramKeys{place.udp_id(), *up, *down};
}

Datagrams::Datagrams(const asio::any_io_executor& executor, const asio::ip::tcp::endpoint& service,
                     const DatagramKeys& keys)
    : mSocket(DatagramSocket::Towards(AddressOf(service))),
      mReadable(executor, ::fcntl(mSocket.Descriptor(), F_DUPFD_CLOEXEC, 0)),
      mTick(executor),
      mId(keys.id),
      mRoad(keys, DatagramRoad::Begins::Here, Clock::now())
{
}

void Datagrams::Run(DatagramsOwner& owner)
{
    mOwner = &owner;
    const auto self = shared_from_this();
    asio::co_spawn(
        mTick.get_executor(), [self] { return self->ReadLoop(); }, asio::detached);
    asio::co_spawn(
        mTick.get_executor(), [self] { return self->TickLoop(); }, asio::detached);
}

void Datagrams::Close()
{
    mOwner = nullptr;
    mTick.cancel();
    boost::system::error_code ignored;
    std::ignore = mReadable.close(ignored);
}

void Datagrams::SendOut()
{
    mSocket.Send(mOut);
    mOut.Clear();
}

void Datagrams::Put(std::string_view frame, Clock::time_point now)
{
    mRoad.Put(frame, now, mOut);
    SendOut();
}

void Datagrams::Take(std::string_view datagram)
{
    if (!mOwner || DatagramId(datagram) != mId) return;
    const auto arrived = mRoad.Take(datagram, Clock::now(), mOut);
    SendOut();
    if (arrived.frame) mOwner->OnLiveFrame(*arrived.frame);
    if (mOwner && arrived.news) mOwner->OnRoadNews();
}

asio::awaitable<void> Datagrams::ReadLoop()
{
    const auto self = shared_from_this();
    while (mOwner) {
        const auto [failed] =
            co_await mReadable.async_wait(asio::posix::stream_descriptor::wait_read, kNoThrow);
        if (failed || !mOwner) co_return;
        mSocket.Receive([this](std::string_view datagram, const DatagramPath&) { Take(datagram); });
        // However much comes, others have a turn.
        co_await asio::post(mTick.get_executor(), asio::use_awaitable);
    }
}

asio::awaitable<void> Datagrams::TickLoop()
{
    const auto self = shared_from_this();
    while (mOwner) {
        const bool went = mRoad.Takes(0);
        const Clock::time_point next = mRoad.Tick(Clock::now(), mOut);
        SendOut();
        if (went != mRoad.Takes(0)) mOwner->OnRoadNews();
        if (!mOwner) co_return;
        mTick.expires_at(std::min(next, Clock::now() + kLookAgain));
        co_await mTick.async_wait(kNoThrow);
    }
}

}  // namespace zephyl::link
