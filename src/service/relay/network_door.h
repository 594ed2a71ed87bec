#pragma once
// The second door of a person's own service: while it is open, neighbours come in for one meeting. Its rules
// are those of docs/decisions/0062-whom-a-personal-service-lets-in.md.

#include <atomic>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "service/relay/came_by.h"
#include "service/relay/door/connection_gate.h"
#include "service/relay/meeting/guests.h"
#include "service/relay/services.h"

namespace zephyl {

class NetworkDoor final : public Guests {
public:
    using Welcome = std::function<void(boost::asio::ip::tcp::socket, ConnectionGate&, CameBy)>;

    /// `welcome`: what becomes of a neighbour's connection. Runs where it was accepted.
    NetworkDoor(Services& services, Accounts& accounts, Welcome welcome);
    ~NetworkDoor() override;

    Opening Open(const std::string& meeting) override;
    void Close(const std::string& meeting) override;
    std::vector<std::string> Addresses(const std::string& meeting) const override;
    /// Whether that opening is still there.
    bool Admits(const CameBy& by) const;
    /// With the service itself. Whatever is open closes; connections are told otherwise.
    void Stop();
    /// When no thread runs any more.
    void Drop();

private:
    struct Listening;
    std::shared_ptr<Listening> Listen(const std::string& meeting);
    boost::asio::awaitable<void> Accept(std::shared_ptr<Listening> door);
    void CloseNumber(std::uint64_t opening);
    boost::asio::awaitable<void> SendGuestsHome();

    Services& mServices;
    Accounts& mAccounts;
    const Welcome mWelcome;
    ConnectionGate mGate;  // of its own: strangers must not take the room of those inside
    mutable std::mutex mMutex;
    std::shared_ptr<Listening> mOpen;  // null: closed
    std::uint64_t mLast = 0;
};

}  // namespace zephyl
