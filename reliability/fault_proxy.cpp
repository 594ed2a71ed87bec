#include "reliability/fault_proxy.h"

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <future>

namespace asio = boost::asio;
using asio::ip::tcp;
using namespace std::chrono_literals;

namespace {

constexpr auto kTuple = asio::as_tuple(asio::use_awaitable);
constexpr std::size_t kPortion = 16384;
constexpr int kNarrowBuffer = 16384;  // a narrow road must not have a wide buffer in front

}  // namespace

struct FaultProxy::Pair {
    explicit Pair(Socket accepted)
        : client(std::move(accepted)),
          relay(client.get_executor()),
          timers{asio::steady_timer(client.get_executor()), asio::steady_timer(client.get_executor())}
    {
    }
    void Close(End how)
    {
        open = false;
        boost::system::error_code ignored;
        for (Socket* socket : {&client, &relay}) {
            if (how == End::Reset) socket->set_option(asio::socket_base::linger(true, 0), ignored);
            socket->close(ignored);
        }
        for (auto& timer : timers) timer.cancel();
    }
    Socket client, relay;
    bool open = true;
    std::array<std::array<char, kPortion>, 2> buffers;
    std::array<asio::steady_timer, 2> timers;
    Fate fate;
    std::optional<std::size_t> silentIn;  // bytes to the client until it is; 0: it is silent
    bool Silent() const { return silentIn == 0u; }
    bool records = false;
    std::array<std::string, 2> recorded, inserted;
};

FaultProxy::FaultProxy(std::uint16_t target, const std::string& at)
    : mAcceptor(mIo, at.empty() ? tcp::endpoint(asio::ip::address_v4::loopback(), 0)
                                : tcp::endpoint(asio::ip::make_address(at), target)),
      mPort(mAcceptor.local_endpoint().port()),
      mTargets{target}
{
    asio::co_spawn(mIo, Accept(), asio::detached);
    mThread = std::thread([this] { mIo.run(); });
}

FaultProxy::~FaultProxy()
{
    mIo.stop();
    mThread.join();
}

template <class Work>
void FaultProxy::OnThread(Work work)
{
    std::promise<void> done;
    asio::post(mIo, [&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

void FaultProxy::SetTargets(std::vector<std::uint16_t> targets)
{
    OnThread([&] { mTargets = std::move(targets); });
}

void FaultProxy::CutAfter(std::size_t bytes, Way way, End how)
{
    OnThread([&] { mNext = {bytes, way, how}; });
}

void FaultProxy::CutIn(std::size_t bytes, Way way, End how)
{
    OnThread([&] {
        for (const auto& pair : mPairs)
            if (const auto there = pair.lock()) there->fate = {bytes, way, how};
    });
}

void FaultProxy::Block(bool blocked)
{
    OnThread([&] { mBlocked = blocked; });
}

void FaultProxy::BlackHole(bool on)
{
    OnThread([&] { mBlackHole = on; });
}

void FaultProxy::Silence(std::optional<std::size_t> behind)
{
    OnThread([&] { mSilence = behind; });
}

std::uint64_t FaultProxy::Connections()
{
    std::uint64_t count = 0;
    OnThread([&] { count = mConnections; });
    return count;
}

std::uint64_t FaultProxy::Cuts()
{
    std::uint64_t cuts = 0;
    OnThread([&] { cuts = mCuts; });
    return cuts;
}

void FaultProxy::SilenceOne(std::optional<std::size_t> behind)
{
    OnThread([&] { mSilenceOne = behind; });
}

void FaultProxy::Stall(Way way, bool stalled)
{
    OnThread([&] { Of(way).stalled = stalled; });
}

void FaultProxy::Throttle(Way way, std::size_t bytesPerSecond)
{
    OnThread([&] { Of(way).bytesPerSecond = bytesPerSecond; });
}

void FaultProxy::Delay(Way way, std::chrono::milliseconds time)
{
    OnThread([&] { Of(way).delay = time; });
}

void FaultProxy::Record()
{
    OnThread([&] { mRecords = true; });
}

std::string FaultProxy::Recorded(Way way)
{
    std::string bytes;
    OnThread([&] {
        if (const auto newest = Newest()) bytes = newest->recorded[way == Way::Up];
    });
    return bytes;
}

void FaultProxy::Insert(Way way, const std::string& bytes)
{
    OnThread([&] {
        if (const auto newest = Newest()) newest->inserted[way == Way::Up] += bytes;
    });
}

std::uint64_t FaultProxy::Carried(Way way)
{
    std::uint64_t carried = 0;
    OnThread([&] { carried = Of(way).carried; });
    return carried;
}

void FaultProxy::Cut(End how)
{
    OnThread([&] {
        for (const auto& pair : mPairs)
            if (const auto there = pair.lock()) there->Close(how);
        mPairs.clear();
    });
}

asio::awaitable<void> FaultProxy::Accept()
{
    for (;;) {
        auto [failed, socket] = co_await mAcceptor.async_accept(kTuple);
        if (failed) co_return;
        const auto pair = std::make_shared<Pair>(std::move(socket));
        boost::system::error_code refused;
        ++mConnections;
        const std::optional<std::size_t> once = std::exchange(mSilenceOne, std::nullopt);
        pair->silentIn = mSilence ? mSilence : once;
        if (!mBlocked && !mBlackHole && !pair->Silent())
            pair->relay.connect({asio::ip::address_v4::loopback(), mTargets[mTurn++ % mTargets.size()]},
                                refused);
        if (mBlocked || refused) {
            pair->Close(End::Reset);
            continue;
        }
        pair->fate = std::exchange(mNext, {});
        pair->records = mRecords;
        boost::system::error_code ignored;
        for (Socket* end : {&pair->client, &pair->relay}) end->set_option(tcp::no_delay(true), ignored);
        const asio::socket_base::receive_buffer_size narrow(kNarrowBuffer);
        const asio::socket_base::send_buffer_size narrowOut(kNarrowBuffer);
        for (const Way way : {Way::Up, Way::Down}) {
            if (Of(way).bytesPerSecond == 0) continue;
            (way == Way::Up ? pair->client : pair->relay).set_option(narrow, ignored);
            (way == Way::Up ? pair->relay : pair->client).set_option(narrowOut, ignored);
        }
        std::erase_if(mPairs, [](const auto& old) { return old.expired(); });
        mPairs.push_back(pair);
        asio::co_spawn(mIo, Carry(pair, Way::Up), asio::detached);
        asio::co_spawn(mIo, Carry(pair, Way::Down), asio::detached);
    }
}

asio::awaitable<void> FaultProxy::Carry(std::shared_ptr<Pair> pair, Way way)
{
    Socket& from = way == Way::Up ? pair->client : pair->relay;
    Socket& to = way == Way::Up ? pair->relay : pair->client;
    auto& buffer = pair->buffers[way == Way::Up];
    auto& timer = pair->timers[way == Way::Up];
    Road& road = Of(way);
    auto due = std::chrono::steady_clock::now();
    const auto pause = [&](std::chrono::nanoseconds time) {
        timer.expires_after(time);
        return timer.async_wait(kTuple);
    };
    while (pair->open) {
        if (road.stalled || !from.is_open()) {
            co_await pause(5ms);
            continue;
        }
        const std::size_t most =
            road.bytesPerSecond ? std::clamp<std::size_t>(road.bytesPerSecond / 50, 1, kPortion) : kPortion;
        auto [failed, got] = co_await from.async_read_some(asio::buffer(buffer.data(), most), kTuple);
        if (failed && pair->Silent() && way == Way::Down) co_return;
        if (failed) break;
        if (pair->Silent()) continue;
        if (road.delay > 0ms) co_await pause(road.delay);
        while (road.stalled && pair->open) co_await pause(5ms);
        if (mBlackHole) continue;
        if (!to.is_open()) break;  // made inside the hole: it leads nowhere
        if (pair->records) pair->recorded[way == Way::Up].append(buffer.data(), got);
        if (std::string more = std::exchange(pair->inserted[way == Way::Up], {}); !more.empty())
            co_await asio::async_write(to, asio::buffer(more), kTuple);
        const bool cut = pair->fate.bytes != 0 && pair->fate.way == way && got >= pair->fate.bytes;
        std::size_t goes = cut ? pair->fate.bytes : got;
        if (way == Way::Down && pair->silentIn) {
            goes = std::min(goes, *pair->silentIn);
            *pair->silentIn -= goes;
        }
        if (pair->fate.bytes != 0 && pair->fate.way == way) pair->fate.bytes -= goes;
        auto [lost, written] = co_await asio::async_write(to, asio::buffer(buffer.data(), goes), kTuple);
        road.carried += written;
        if (lost) break;
        if (cut) {
            ++mCuts;
            co_return pair->Close(pair->fate.how);
        }
        if (road.bytesPerSecond == 0) continue;
        // Paced by due times: what one timer oversleeps the next one makes good.
        const auto now = std::chrono::steady_clock::now();
        due = std::max(due, now - 50ms) + std::chrono::nanoseconds(1s) * goes / road.bytesPerSecond;
        if (due > now) co_await pause(due - now);
    }
    pair->Close(End::Finish);
}
