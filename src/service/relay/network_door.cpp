#include "service/relay/network_door.h"

#include <spdlog/logger.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/relay/connection.h"  // IWYU pragma: keep
#include "service/relay/connection_list.h"
#include "service/relay/door/login_desk.h"
#include "service/relay/door/neighbours.h"
#include "service/relay/meeting/directory.h"
#include "service/relay/options.h"

namespace zephyl {
namespace asio = boost::asio;
using asio::ip::tcp;
namespace {

constexpr char kGoodbye[] = "The meeting is not open to others any more.";
constexpr std::size_t kConnectionsPerAddress = 8;
constexpr std::size_t kConnectionsBeforeLogin = 100;

RelayBounds GuestBounds(RelayBounds bounds)
{
    bounds.connectionsPerAddress = std::min(bounds.connectionsPerAddress, kConnectionsPerAddress);
    bounds.connectionsBeforeLogin = std::min(bounds.connectionsBeforeLogin, kConnectionsBeforeLogin);
    return bounds;
}

/// Empty when that cannot be listened on.
std::unique_ptr<tcp::acceptor> ListenOn(asio::io_context& io, const tcp::endpoint& at)
{
    auto acceptor = std::make_unique<tcp::acceptor>(io);
    boost::system::error_code failed;
    acceptor->open(at.protocol(), failed);
    if (!failed && at.protocol() == tcp::v6()) acceptor->set_option(asio::ip::v6_only(false), failed);
    if (!failed) acceptor->set_option(tcp::acceptor::reuse_address(true), failed);
    if (!failed) acceptor->bind(at, failed);
    if (!failed) acceptor->listen(tcp::acceptor::max_listen_connections, failed);
    return failed ? nullptr : std::move(acceptor);
}

}  // namespace

struct NetworkDoor::Listening {
    CameBy by;
    std::unique_ptr<tcp::acceptor> acceptor;  // touched on its own strand once it accepts
    Strand strand;
    std::uint16_t port = 0;
    std::weak_ptr<void> hold;

    void Shut()
    {
        boost::system::error_code ignored;
        acceptor->close(ignored);
    }
};

NetworkDoor::NetworkDoor(Services& services, Accounts& accounts, Welcome welcome)
    : mServices(services),
      mAccounts(accounts),
      mWelcome(std::move(welcome)),
      mGate(GuestBounds(services.options.bounds))
{
    try {
        mAccounts.RemoveGuests();  // of a service that did not end in order
    } catch (const AccountError& error) {
        mServices.log.error("accounts of earlier guests stay: {}", error.what());
    }
}

NetworkDoor::~NetworkDoor() = default;

/// The usual port, so that people can open their firewall for it once, else any.
std::shared_ptr<NetworkDoor::Listening> NetworkDoor::Listen(const std::string& meeting)
{
    std::unique_ptr<tcp::acceptor> acceptor;
    for (const std::uint16_t port : {kDefaultPort, std::uint16_t(0)})
        for (const tcp& family : {tcp::v6(), tcp::v4()})
            if (!acceptor) acceptor = ListenOn(mServices.io, {family, port});
    if (!acceptor) return nullptr;
    const std::uint16_t port = acceptor->local_endpoint().port();
    return std::make_shared<Listening>(
        Listening{{++mLast, meeting}, std::move(acceptor), asio::make_strand(mServices.io), port, {}});
}

Guests::Opening NetworkDoor::Open(const std::string& meeting)
{
    const std::lock_guard lock(mMutex);
    if (mOpen && mOpen->by.meeting != meeting) return {RESULT_IN_USE, nullptr};
    if (!mOpen) {
        mOpen = Listen(meeting);
        if (!mOpen) return {RESULT_LATER, nullptr};
        mServices.log.info("open to the local network at port {}", mOpen->port);
        asio::co_spawn(mOpen->strand, Accept(mOpen), asio::detached);
    }
    std::shared_ptr<void> hold = mOpen->hold.lock();
    if (!hold) {
        // Not null, or nobody could tell that it is there.
        hold = std::shared_ptr<void>(this, [this, io = &mServices.io, number = mOpen->by.opening](void*) {
            asio::post(*io, [this, number] { CloseNumber(number); });
        });
        mOpen->hold = hold;
    }
    return {RESULT_OK, hold};
}

void NetworkDoor::Close(const std::string& meeting)
{
    std::uint64_t number = 0;
    {
        const std::lock_guard lock(mMutex);
        if (mOpen && mOpen->by.meeting == meeting) number = mOpen->by.opening;
    }
    if (number != 0) CloseNumber(number);
}

void NetworkDoor::CloseNumber(std::uint64_t opening)
{
    std::shared_ptr<Listening> closing;
    {
        const std::lock_guard lock(mMutex);
        if (!mOpen || mOpen->by.opening != opening) return;
        closing = std::exchange(mOpen, nullptr);
    }
    asio::post(closing->strand, [this, closing] {
        closing->Shut();  // first, so that whoever hears of it finds nobody listening
        mServices.log.info("not open to the local network any more");
        for (const auto& connection : mServices.connections.All())
            if (connection->FromOutside()) connection->PostEnd(BYE_ENDED, kGoodbye);
        asio::co_spawn(mServices.io, SendGuestsHome(), asio::detached);
    });
}

/// Their seats too, of those who are cut off just now.
asio::awaitable<void> NetworkDoor::SendGuestsHome()
{
    try {
        for (const std::string& handle : mAccounts.RemoveGuests())
            co_await mServices.directory.AccountChanged(handle, std::nullopt, kGoodbye, BYE_ENDED);
    } catch (const std::exception& error) {
        mServices.log.error("the accounts of guests stay until the next start: {}", error.what());
    }
    mServices.desk.ForgetGuests();
}

std::vector<std::string> NetworkDoor::Addresses(const std::string& meeting) const
{
    std::uint16_t port = 0;
    {
        const std::lock_guard lock(mMutex);
        if (!mOpen || mOpen->by.meeting != meeting) return {};
        port = mOpen->port;
    }
    std::vector<std::string> addresses = OwnAddresses();
    for (std::string& one : addresses) {
        if (one.find(':') != std::string::npos) one.insert(0, "[").append("]");
        one += ':' + std::to_string(port);
    }
    return addresses;
}

bool NetworkDoor::Admits(const CameBy& by) const
{
    const std::lock_guard lock(mMutex);
    return mOpen && mOpen->by.opening == by.opening;
}

void NetworkDoor::Stop()
{
    const std::lock_guard lock(mMutex);
    if (const auto closing = std::exchange(mOpen, nullptr))
        asio::post(closing->strand, [closing] { closing->Shut(); });
}

void NetworkDoor::Drop()
{
    mOpen.reset();
}

asio::awaitable<void> NetworkDoor::Accept(std::shared_ptr<Listening> door)
{
    asio::steady_timer pause(mServices.io);
    while (door->acceptor->is_open()) {
        boost::system::error_code failed;
        tcp::socket socket = co_await door->acceptor->async_accept(
            mServices.io, asio::redirect_error(asio::use_awaitable, failed));
        if (!failed) {
            mWelcome(std::move(socket), mGate, door->by);
            continue;
        }
        if (!door->acceptor->is_open()) break;
        pause.expires_after(kAcceptPause);
        co_await pause.async_wait(asio::use_awaitable);
    }
}

}  // namespace zephyl
