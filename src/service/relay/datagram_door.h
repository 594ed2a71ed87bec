#pragma once
// The service's UDP port: live frames beside their connections, in datagrams. One thread receives, and looks
// at nothing but the id and the sender's address before it lets a datagram cost more. docs/protocol.md has
// the format.

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <unordered_map>

#include "service/net/datagram_road.h"
#include "service/net/datagram_socket.h"
#include "service/relay/meeting/client.h"

namespace zephyl {

class DatagramDoor;

/// One connection's end of its datagrams.
class DatagramEnd final : public LiveRoad, public std::enable_shared_from_this<DatagramEnd> {
public:
    using Clock = DatagramRoad::Clock;

    /// What the receiving thread tells the connection's owner, who may be gone.
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
    void PutVoice(std::string_view frame) override;
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
    mutable std::mutex mMutex;  // for what follows
    DatagramRoad mRoad;
    DatagramPath mPath;  // where the newest one came from
    Clock::time_point mWaiting = Clock::time_point::max();
    bool mWanted = false;  // somebody waits
};

class DatagramDoor {
public:
    /// Nobody is heard before Start. Throws std::system_error when the port is taken.
    explicit DatagramDoor(const sockaddr_storage& at);
    ~DatagramDoor();
    void Start();
    /// Nobody is told anything any more.
    void Stop();

    // --- any thread ---
    /// A new id and new keys, put into the place; good as long as the result is held. `peer`: the only
    /// computer that it is for.
    std::shared_ptr<DatagramEnd> Offer(Place& place, const IpBytes& peer, DatagramEnd::Owner owner);
    void Send(const DatagramBatch& batch, const DatagramPath& to) { mSocket.Send(batch, &to); }

private:
    friend class DatagramEnd;
    struct Shard {
        std::shared_mutex mutex;
        std::unordered_map<std::uint64_t, std::weak_ptr<DatagramEnd>> ends;
    };
    Shard& Of(std::uint64_t id) { return mShards[id % mShards.size()]; }
    std::shared_ptr<DatagramEnd> Find(std::uint64_t id);
    void Forget(std::uint64_t id);
    void Run();

    DatagramSocket mSocket;
    std::array<Shard, 16> mShards;
    int mStop;  // an eventfd
    std::thread mThread;
};

/// Of an address as the service writes it.
IpBytes ReadIp(const std::string& address);

}  // namespace zephyl
