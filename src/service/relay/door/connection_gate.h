#pragma once
// Counts connections that have not logged in: who may still come. Any thread.

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "service/relay/options.h"

namespace zephyl {

class ConnectionGate {
public:
    using Clock = std::chrono::steady_clock;
    explicit ConnectionGate(const RelayBounds& bounds, Clock::time_point started = Clock::now())
        : mPerAddress(bounds.connectionsPerAddress), mInAll(bounds.connectionsBeforeLogin), mStarted(started)
    {
    }

    /// From now on.
    void Replace(const RelayBounds& bounds);
    std::size_t Waiting() const;

    /// One connection that has not logged in; counted until it is destroyed.
    class Ticket {
    public:
        Ticket(ConnectionGate& gate, std::string address) : mGate(gate), mAddress(std::move(address)) {}
        ~Ticket() { mGate.GiveBack(mAddress); }
        ConnectionGate& Gate() const { return mGate; }
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

    private:
        ConnectionGate& mGate;
        std::string mAddress;
    };
    /// Null: too many. Just after a start everybody comes back at once, so then more are let in.
    std::unique_ptr<Ticket> Ask(const std::string& client, Clock::time_point now = Clock::now());

private:
    void GiveBack(const std::string& address);

    mutable std::mutex mMutex;
    std::size_t mPerAddress, mInAll;
    std::unordered_map<std::string, std::size_t> mWaiting;
    std::size_t mWaitingInAll = 0;
    const Clock::time_point mStarted;
};

}  // namespace zephyl
