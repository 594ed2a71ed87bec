#include "service/link/opening.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <vector>

#include "service/link/make_road.h"

namespace zephyl::link {

namespace asio = boost::asio;
using SteadyClock = std::chrono::steady_clock;

namespace {

constexpr std::size_t kAddresses = 8;  // of one name

/// Ends a step that takes too long: closes what it works on, so that the step fails.
class Bound {
public:
    Bound(const std::shared_ptr<Connection>& connection, std::chrono::milliseconds limit)
        : mPassed(std::make_shared<bool>(false)), mTimer(connection->GetExecutor(), limit)
    {
        mTimer.async_wait([passed = mPassed, connection](boost::system::error_code stopped) {
            if (stopped) return;
            *passed = true;
            connection->Close();
        });
    }
    bool Passed() const { return *mPassed; }

private:
    std::shared_ptr<bool> mPassed;
    asio::steady_timer mTimer;
};

/// One attempt at several addresses.
struct Race {
    explicit Race(const asio::any_io_executor& executor) : news(executor) {}
    std::vector<std::shared_ptr<Connection>> running;
    std::shared_ptr<Connection> winner;
    std::exception_ptr problem;
    asio::steady_timer news;
    bool met = false;  // somebody took a connection

    void Leave(const std::shared_ptr<Connection>& one)
    {
        std::erase(running, one);
        news.cancel();
    }
    void CloseRest()
    {
        for (const auto& one : std::vector(running)) one->Close();
    }
};

template <class Step>
asio::awaitable<void> Bounded(std::shared_ptr<Connection> connection, std::chrono::milliseconds limit,
                              const char* what, Step step)
{
    const Bound bound(connection, limit);
    try {
        co_await step();
    } catch (const std::exception&) {
        if (bound.Passed()) throw std::runtime_error(what);
        throw;
    }
}

asio::awaitable<void> Run(std::shared_ptr<Race> race, std::shared_ptr<Connection> connection,
                          boost::asio::ip::tcp::endpoint address, OpeningTimes times)
{
    try {
        co_await Bounded(connection, times.connect, "nobody answers there",
                         [&] { return connection->Connect(address); });
        race->met = true;
        co_await Bounded(connection, times.handshake, "it does not answer the TLS handshake",
                         [&] { return connection->Handshake(); });
        if (!race->winner) race->winner = connection;
    } catch (const std::exception&) {
        race->problem = std::current_exception();
    }
    race->Leave(connection);
}

[[noreturn]] void Unmet(const std::exception_ptr& problem)
{
    try {
        std::rethrow_exception(problem);
    } catch (const std::exception& e) {
        throw NobodyThere(ProblemText(e));
    }
}

}  // namespace

asio::awaitable<std::shared_ptr<Connection>> OpenAny(std::shared_ptr<const TlsContext> context,
                                                     Destination to, Endpoints addresses, OpeningTimes times)
{
    const auto executor = co_await asio::this_coro::executor;
    const auto race = std::make_shared<Race>(executor);
    // On every way out, the end of who waits for it, too: nobody is left open.
    const std::shared_ptr<void> over(nullptr, [race](void*) { race->CloseRest(); });
    const std::size_t count = std::min(addresses.size(), kAddresses);
    std::size_t begun = 0;
    SteadyClock::time_point next{};
    while (!race->winner && (begun < count || !race->running.empty())) {
        const bool due = race->running.empty() || SteadyClock::now() >= next;
        if (begun < count && due) {
            auto connection = std::make_shared<Connection>(MakeRoad(executor, context, to));
            race->running.push_back(connection);
            next = SteadyClock::now() + times.nextAddress;
            asio::co_spawn(executor, Run(race, std::move(connection), addresses[begun++], times),
                           asio::detached);
        }
        race->news.expires_at(begun < count ? next : SteadyClock::time_point::max());
        if (!race->winner && !race->running.empty())
            co_await race->news.async_wait(asio::as_tuple(asio::use_awaitable));
    }
    if (race->winner) co_return race->winner;
    if (race->problem && race->met) std::rethrow_exception(race->problem);
    if (race->problem) Unmet(race->problem);
    throw std::runtime_error("it has no address");
}

asio::awaitable<std::shared_ptr<Connection>> Open(Resolver& resolver,
                                                  std::shared_ptr<const TlsContext> context, Destination to)
{
    const OpeningTimes times;
    const std::string host = to.proxy ? to.proxy->host : to.host;
    const std::uint16_t port = to.proxy ? to.proxy->port : to.port;
    Endpoints addresses = co_await resolver.Find(host, port, times.resolve);
    co_return co_await OpenAny(std::move(context), std::move(to), std::move(addresses), times);
}

}  // namespace zephyl::link
