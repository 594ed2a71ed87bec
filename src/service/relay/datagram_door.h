#pragma once
// The service's UDP port: live frames beside their connections, in datagrams. Whoever receives looks at
// nothing but the id and the sender's address before it lets a datagram cost more. docs/protocol.md has the
// format.

#include <array>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <unordered_map>

#include "service/net/datagram_road.h"
#include "service/net/datagram_socket.h"
#include "service/relay/meeting/client.h"

namespace zephyl {

class DatagramDoor;

/// Of connections.
class GatheredDatagrams final : public Gathered {
public:
    /// Made at first; there is no other kind.
    static Departures& In(Client::Scratch& scratch);
    void Send() override { mDepartures.Send(); }

private:
    Departures mDepartures;
};

/// One connection's end of its datagrams.
class DatagramEnd final : public LiveRoad, public std::enable_shared_from_this<DatagramEnd> {
public:
    using Clock = DatagramRoad::Clock;

    /// What is told to the connection's owner, who may be gone, on whatever thread receives.
    struct Owner {
        /// It says Done with the frame's bytes when it has taken it.
        std::function<void(std::shared_ptr<DatagramEnd> from, std::string frame)> frame;
        std::function<void()> free;  // what could not be put may be now
    };
    DatagramEnd(DatagramDoor& door, const DatagramKeys& keys, const IpBytes& peer, Owner owner);
    ~DatagramEnd() override;

    // --- on the owner's strand ---
    bool Takes(std::size_t bodyBytes) const override;
    bool Put(std::string_view frame) override;
    void PutVoice(std::string_view frames) override;
    /// Until the next call packets of voice go with these; null: each by itself.
    void Gather(Departures* together) { mTogether = together; }
    /// When what could not be put since the last call may be; max: everything could.
    Clock::time_point TakeWaiting();
    /// Now and then: sends the probes that are due.
    void Tick(Clock::time_point now);
    void Done(std::size_t frameBytes) { mHandedOver -= CostOf(frameBytes); }

    // --- any thread ---
    RoadFigures Figures() const;

private:
    friend class DatagramDoor;
    void Take(std::string_view datagram, const DatagramPath& from);

    // Of frames that the owner has not taken yet.
    static constexpr std::size_t kHandedOverMost = 256 * 1024;
    static std::size_t CostOf(std::size_t frameBytes) { return frameBytes + 4096; }

    DatagramDoor& mDoor;
    const std::uint64_t mId;
    const IpBytes mPeer;
    const Owner mOwner;
    std::atomic<std::size_t> mHandedOver{0};
    Departures* mTogether = nullptr;
    mutable std::mutex mMutex;  // for what follows
    DatagramRoad mRoad;
    DatagramPath mPath;  // where the newest one came from
    Clock::time_point mWaiting = Clock::time_point::max();
    bool mWanted = false;  // somebody waits
};

class DatagramDoor {
public:
    /// Nobody is heard before Start. Receives on the threads of `io`. Throws std::system_error when the port
    /// is taken.
    DatagramDoor(boost::asio::io_context& io, const sockaddr_storage& at);
    void Start() { Wait(); }
    /// Nothing that comes is looked at any more.
    void Stop() { mStopped = true; }
    /// When no thread runs any more, before `io` goes.
    void Drop();

    // --- any thread ---
    /// A new id and new keys, put into the place; good as long as the result is held. `peer`: the only
    /// computer that it is for.
    std::shared_ptr<DatagramEnd> Offer(Place& place, const IpBytes& peer, DatagramEnd::Owner owner);
    void Send(const DatagramBatch& batch, const DatagramPath& to) { mSocket.Send(batch, &to); }
    DatagramSocket& Socket() { return mSocket; }

private:
    friend class DatagramEnd;
    struct Shard {
        std::shared_mutex mutex;
        std::unordered_map<std::uint64_t, std::weak_ptr<DatagramEnd>> ends;
    };
    Shard& Of(std::uint64_t id) { return mShards[id % mShards.size()]; }
    std::shared_ptr<DatagramEnd> Find(std::uint64_t id);
    void Forget(std::uint64_t id);
    void Wait();
    void Receive();

    DatagramSocket mSocket;
    std::optional<boost::asio::posix::stream_descriptor> mReady;  // the socket, for waiting
    std::array<Shard, 16> mShards;
    std::atomic<bool> mStopped{false};
};

/// Of an address as the service writes it.
IpBytes ReadIp(const std::string& address);

}  // namespace zephyl
