#pragma once
// Counts connections: who may still come before anybody has logged in, and who is there at all. Any thread.

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "service/relay/options.h"

namespace zephyl {

class Connection;

class ConnectionGate {
public:
    explicit ConnectionGate(const RelayBounds& bounds)
        : mBounds(bounds), mStarted(std::chrono::steady_clock::now())
    {
    }

    /// One connection that has not logged in; counted until it is destroyed.
    class Ticket {
    public:
        Ticket(ConnectionGate& gate, std::string address) : mGate(gate), mAddress(std::move(address)) {}
        ~Ticket() { mGate.GiveBack(mAddress); }
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

    private:
        ConnectionGate& mGate;
        std::string mAddress;
    };
    /// Null: too many. Just after a start everybody comes back at once, so then more are let in.
    std::unique_ptr<Ticket> Ask(const std::string& address);

    void Add(const std::shared_ptr<Connection>& connection);
    void Remove(const Connection* connection);
    std::vector<std::shared_ptr<Connection>> All() const;
    std::size_t Count() const;

private:
    void GiveBack(const std::string& address);

    const RelayBounds& mBounds;
    const std::chrono::steady_clock::time_point mStarted;
    mutable std::mutex mMutex;
    std::unordered_map<std::string, std::size_t> mWaiting;
    std::size_t mWaitingInAll = 0;
    std::unordered_map<const Connection*, std::weak_ptr<Connection>> mConnections;
};

}  // namespace zephyl
