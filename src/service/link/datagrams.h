#pragma once
// The client's UDP socket beside one connection: live frames by datagrams, while they pass. Network thread
// only.

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <optional>
#include <string_view>

#include "service/link/lanes.h"
#include "service/net/datagram_road.h"
#include "service/net/datagram_socket.h"

namespace zephyl::link {

class DatagramsOwner {
public:
    virtual ~DatagramsOwner() = default;
    virtual void OnLiveFrame(std::string_view frame) = 0;
    /// What the road did not take may go now, or has to go inside TLS.
    virtual void OnRoadNews() = 0;
};

class Datagrams final : public LiveRoad, public std::enable_shared_from_this<Datagrams> {
public:
    /// `service`: where its TLS connection goes, with the port for datagrams. Throws std::system_error.
    Datagrams(const boost::asio::any_io_executor& executor, const boost::asio::ip::tcp::endpoint& service,
              const DatagramKeys& keys);

    /// Begins with a probe. The owner stays until Close.
    void Run(DatagramsOwner& owner);
    void Close();

    bool Takes(std::size_t bodyBytes) const override { return mRoad.Takes(bodyBytes); }
    Clock::time_point Free(Clock::time_point now) override { return mRoad.Free(now); }
    void Put(std::string_view frame, Clock::time_point now) override;
    RoadFigures Figures() const { return mRoad.Figures(); }

private:
    boost::asio::awaitable<void> ReadLoop();
    boost::asio::awaitable<void> TickLoop();
    void Take(std::string_view datagram);
    void SendOut();

    DatagramSocket mSocket;
    boost::asio::posix::stream_descriptor mReadable;  // the same socket, to wait for
    boost::asio::steady_timer mTick;
    const std::uint64_t mId;
    DatagramRoad mRoad;
    DatagramBatch mOut;
    DatagramsOwner* mOwner = nullptr;  // null: closed
};

/// What a place offers; none: no datagrams.
std::optional<DatagramKeys> KeysOf(const Place& place);

}  // namespace zephyl::link
