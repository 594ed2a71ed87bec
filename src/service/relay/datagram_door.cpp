#include "service/relay/datagram_door.h"

#include <sodium.h>

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <utility>

namespace zephyl {
namespace {

std::string KeyBytes(const DatagramKey& key)
{
    return std::string(key.begin(), key.end());
}

}  // namespace

IpBytes ReadIp(const std::string& text)
{
    namespace ip = boost::asio::ip;
    boost::system::error_code failed;
    const ip::address address = ip::make_address(text, failed);
    if (failed) return {};
    const ip::address_v6 v6 =
        address.is_v6() ? address.to_v6() : ip::make_address_v6(ip::v4_mapped, address.to_v4());
    return v6.to_bytes();
}

static_assert(kVoiceTogetherBytes <= kPartBytes);

Departures& GatheredDatagrams::In(Client::Scratch& scratch)
{
    if (!scratch.beside) scratch.beside = std::make_unique<GatheredDatagrams>();
    return static_cast<GatheredDatagrams&>(*scratch.beside).mDepartures;
}

// --- one connection --------------------------------------------------------------------------------------

DatagramEnd::DatagramEnd(DatagramDoor& door, const DatagramKeys& keys, const IpBytes& peer, Owner owner)
    : mDoor(door),
      mId(keys.id),
      mPeer(peer),
      mOwner(std::move(owner)),
      mRoad(keys, DatagramRoad::Begins::There, Clock::now())
{
}

DatagramEnd::~DatagramEnd()
{
    mDoor.Forget(mId);
}

bool DatagramEnd::Takes(std::size_t bodyBytes) const
{
    const std::lock_guard lock(mMutex);
    return mRoad.Takes(bodyBytes);
}

bool DatagramEnd::Put(std::string_view frame)
{
    DatagramBatch batch;
    DatagramPath to;
    {
        const std::lock_guard lock(mMutex);
        const Clock::time_point now = Clock::now();
        const Clock::time_point free = mRoad.Free(now);
        if (free > now) {
            mWaiting = std::min(mWaiting, free);
            mWanted = true;
            return false;
        }
        mRoad.Put(frame, now, batch);
        to = mPath;
    }
    mDoor.Send(batch, to);
    return true;
}

void DatagramEnd::PutVoice(std::string_view frames)
{
    Departures alone;
    Departures& out = mTogether ? *mTogether : alone;
    {
        const std::lock_guard lock(mMutex);
        mRoad.Put(frames, Clock::now(), out.Batch());
        out.To(mDoor.Socket(), mPath);
    }
    alone.Send();
}

DatagramEnd::Clock::time_point DatagramEnd::TakeWaiting()
{
    const std::lock_guard lock(mMutex);
    return std::exchange(mWaiting, Clock::time_point::max());
}

void DatagramEnd::Tick(Clock::time_point now)
{
    DatagramBatch batch;
    DatagramPath to;
    {
        const std::lock_guard lock(mMutex);
        mRoad.Tick(now, batch);
        to = mPath;
    }
    if (!batch.Empty()) mDoor.Send(batch, to);
}

RoadFigures DatagramEnd::Figures() const
{
    const std::lock_guard lock(mMutex);
    return mRoad.Figures();
}

void DatagramEnd::Take(std::string_view datagram, const DatagramPath& from)
{
    if (from.PeerIp() != mPeer) return;
    DatagramBatch answers;
    DatagramRoad::Arrived arrived;
    bool free = false;
    DatagramPath to;
    {
        const std::lock_guard lock(mMutex);
        arrived = mRoad.Take(datagram, Clock::now(), answers);
        if (arrived.newest) mPath = from;
        to = mPath;
        free = arrived.news && std::exchange(mWanted, mWanted && !arrived.news);
    }
    if (!answers.Empty()) mDoor.Send(answers, to);
    if (free) mOwner.free();
    if (!arrived.frame) return;
    const std::size_t bytes = arrived.frame->size();
    if (mHandedOver.fetch_add(CostOf(bytes)) + CostOf(bytes) <= kHandedOverMost)
        mOwner.frame(shared_from_this(), std::move(*arrived.frame));
    else
        Done(bytes);
}

// --- the port --------------------------------------------------------------------------------------------

DatagramDoor::DatagramDoor(boost::asio::io_context& io, const sockaddr_storage& at)
    : mSocket(DatagramSocket::Listen(at)), mReady(std::in_place, io, mSocket.Descriptor())
{
}

void DatagramDoor::Drop()
{
    mReady->release();  // the socket closes it
    mReady.reset();
}

std::shared_ptr<DatagramEnd> DatagramDoor::Offer(Place& place, const IpBytes& peer, DatagramEnd::Owner owner)
{
    DatagramKeys keys;
    randombytes_buf(keys.send.data(), keys.send.size());
    randombytes_buf(keys.receive.data(), keys.receive.size());
    for (;;) {
        randombytes_buf(&keys.id, sizeof keys.id);
        if (keys.id == 0 || Find(keys.id)) continue;
        auto end = std::make_shared<DatagramEnd>(*this, keys, peer, std::move(owner));
        Shard& shard = Of(keys.id);
        const std::unique_lock lock(shard.mutex);
        shard.ends[keys.id] = end;
        place.set_udp_id(keys.id);
        place.set_udp_key_up(KeyBytes(keys.receive));
        place.set_udp_key_down(KeyBytes(keys.send));
        return end;
    }
}

std::shared_ptr<DatagramEnd> DatagramDoor::Find(std::uint64_t id)
{
    Shard& shard = Of(id);
    const std::shared_lock lock(shard.mutex);
    const auto found = shard.ends.find(id);
    return found == shard.ends.end() ? nullptr : found->second.lock();
}

void DatagramDoor::Forget(std::uint64_t id)
{
    Shard& shard = Of(id);
    const std::unique_lock lock(shard.mutex);
    shard.ends.erase(id);
}

void DatagramDoor::Wait()
{
    mReady->async_wait(boost::asio::posix::descriptor_base::wait_read,
                       [this](boost::system::error_code failed) {
                           if (!failed) Receive();
                       });
}

/// A turn of everybody's, however much comes. A frame that finds its meeting at rest is handled at once,
/// without a switch to another thread.
void DatagramDoor::Receive()
{
    if (mStopped) return;
    mSocket.Receive([this](std::string_view datagram, const DatagramPath& from) {
        const auto id = DatagramId(datagram);
        if (!id) return;
        if (const auto end = Find(*id)) end->Take(datagram, from);
    });
    Wait();
}

}  // namespace zephyl
