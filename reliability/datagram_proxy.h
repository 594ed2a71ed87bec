#pragma once
// Stands between link and relay for their datagrams, at the relay's port number on another loopback address,
// and does to them what networks do: loses, doubles, turns round, delays, and stops. A seeded thread of its
// own; every call takes effect before it returns. What goes inside TLS takes a FaultProxy at the same
// address.

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "reliability/fault_proxy.h"

/// The address that a client is to ask for, with the relay's port.
inline constexpr char kBehindProxies[] = "127.0.0.2";

class DatagramProxy {
public:
    using Way = FaultProxy::Way;
    /// Parts of one, of each datagram by itself.
    struct Weather {
        double lost = 0, doubled = 0, turned = 0;  // turned: held until the next one has passed
        std::size_t most = 65'535;                 // bytes; longer ones are lost
        bool stopped = false;                      // nothing passes
        std::chrono::microseconds late{0};         // at the most; those behind may overtake
    };

    /// `at`: its own address. One client a proxy.
    DatagramProxy(std::uint16_t port, std::uint32_t seed, const std::string& at = kBehindProxies);
    ~DatagramProxy();
    DatagramProxy(const DatagramProxy&) = delete;
    DatagramProxy& operator=(const DatagramProxy&) = delete;

    void Set(Way way, const Weather& weather);
    void SetBoth(const Weather& weather);
    /// That came, whether they passed or not.
    std::uint64_t Came(Way way) const { return mCame[way == Way::Up]; }
    /// The newest so many of that way, as they came.
    std::vector<std::string> Kept(Way way);
    /// Sends it on as if it had just come.
    void Insert(Way way, const std::string& datagram);

private:
    void Run();
    void Carry(Way way, std::string datagram);
    void Later(Way way, std::string datagram);
    void Pass(Way way, const std::string& datagram);
    /// Passes what is due; milliseconds until the next one is, -1: there is none.
    int PassDue();
    bool Happens(double chance) { return std::bernoulli_distribution(chance)(mRandom); }

    const std::uint16_t mPort;
    int mFront, mBack, mStop;  // sockets, and an eventfd
    std::mutex mMutex;         // for what follows
    std::mt19937 mRandom;
    std::array<Weather, 2> mWeather;
    std::array<std::string, 2> mHeld;  // of those that are turned
    std::array<std::vector<std::string>, 2> mKept;
    std::array<std::atomic<std::uint64_t>, 2> mCame{};
    using Clock = std::chrono::steady_clock;
    std::multimap<Clock::time_point, std::pair<Way, std::string>> mLate;
    std::string mClient;  // the address of who sent last
    std::thread mThread;
};
