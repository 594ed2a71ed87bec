#pragma once
// Stands between link and relay on loopback and does to their bytes what networks do: cuts, black holes,
// stalls, narrow and long roads. One thread of its own; every call takes effect before it returns.

#include <array>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

class FaultProxy {
public:
    enum class Way { Up, Down };       // from the client, to the client
    enum class End { Reset, Finish };  // RST, which may overtake bytes; FIN behind them

    /// `at`: another loopback address, where it has the target's port number; "": a free port.
    explicit FaultProxy(std::uint16_t target, const std::string& at = {});
    ~FaultProxy();
    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    std::uint16_t Port() const { return mPort; }
    /// Where new connections go from now on.
    void SetTarget(std::uint16_t target) { SetTargets({target}); }
    /// The same, by turns.
    void SetTargets(std::vector<std::uint16_t> targets);
    /// Ends every connection there is.
    void Cut(End how = End::Reset);
    /// The next connection ends behind so many bytes of that way; 0: it does not.
    void CutAfter(std::size_t bytes, Way way = Way::Up, End how = End::Reset);
    /// The connections that stand end behind so many further bytes of that way, each.
    void CutIn(std::size_t bytes, Way way, End how = End::Reset);
    /// Refuses new connections, too.
    void Block(bool blocked);
    /// Connections stand and can be made, and nothing that is sent ever arrives.
    void BlackHole(bool on);
    /// Whoever connects from now on is let in, and hears nothing any more behind so many bytes: the
    /// connection stands, and what is sent on it goes nowhere. None: no longer, but what is silent stays so.
    void Silence(std::optional<std::size_t> behind);
    /// The next connection only.
    void SilenceOne(std::optional<std::size_t> behind);
    /// How many were ended by CutAfter and CutIn.
    std::uint64_t Cuts();
    /// Made so far.
    std::uint64_t Connections();
    /// What is sent waits until this is over.
    void Stall(Way way, bool stalled);
    /// 0: as fast as it comes. Call it before the connection is made: buffers are small from then on.
    void Throttle(Way way, std::size_t bytesPerSecond);
    /// Every portion of at most 16 KiB is held for so long.
    void Delay(Way way, std::chrono::milliseconds time);
    /// From the next connection on the bytes of each are kept.
    void Record();
    /// What the newest connection has carried that way; "" when it was not recorded.
    std::string Recorded(Way way);
    /// Puts these in front of what the newest connection carries next that way.
    void Insert(Way way, const std::string& bytes);
    /// Bytes that arrived that way, over all connections.
    std::uint64_t Carried(Way way);

private:
    using Socket = boost::asio::ip::tcp::socket;
    struct Pair;
    struct Road {
        std::size_t bytesPerSecond = 0;
        std::chrono::milliseconds delay{0};
        bool stalled = false;
        std::uint64_t carried = 0;
    };
    struct Fate {
        std::size_t bytes = 0;  // 0: none
        Way way = Way::Up;
        End how = End::Reset;
    };
    boost::asio::awaitable<void> Accept();
    boost::asio::awaitable<void> Carry(std::shared_ptr<Pair> pair, Way way);
    Road& Of(Way way) { return mRoads[way == Way::Up]; }
    std::shared_ptr<Pair> Newest() const { return mPairs.empty() ? nullptr : mPairs.back().lock(); }
    template <class Work>
    void OnThread(Work work);

    boost::asio::io_context mIo;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> mWork{mIo.get_executor()};
    boost::asio::ip::tcp::acceptor mAcceptor;
    std::uint16_t mPort;
    std::vector<std::uint16_t> mTargets;
    std::size_t mTurn = 0;
    bool mBlocked = false, mBlackHole = false, mRecords = false;
    std::optional<std::size_t> mSilence, mSilenceOne;
    std::uint64_t mConnections = 0, mCuts = 0;
    Fate mNext;  // of the next connection
    std::array<Road, 2> mRoads;
    std::list<std::weak_ptr<Pair>> mPairs;
    std::thread mThread;
};
