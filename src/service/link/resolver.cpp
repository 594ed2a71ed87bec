#include "service/link/resolver.h"

#include <netdb.h>

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <functional>
#include <list>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace zephyl::link {

namespace asio = boost::asio;
using asio::ip::tcp;

/// Shared with the thread that looks, which may outlive everybody else.
struct Resolver::Lookup {
    std::string name;
    std::mutex mutex;
    bool done = false;
    std::string problem;
    Endpoints found;  // without a port
    std::list<std::function<void()>> bells;

    bool Done()
    {
        const std::lock_guard lock(mutex);
        return done;
    }
    void Run();
};

namespace {

constexpr std::size_t kAtOnce = 4;

Endpoints ReadFound(const addrinfo* first)
{
    Endpoints found;
    for (const addrinfo* one = first; one; one = one->ai_next) {
        tcp::endpoint endpoint;
        if (one->ai_addrlen > endpoint.capacity()) continue;
        std::memcpy(endpoint.data(), one->ai_addr, one->ai_addrlen);
        endpoint.resize(one->ai_addrlen);
        found.push_back(endpoint);
    }
    return found;
}

}  // namespace

void Resolver::Lookup::Run()
{
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int failed = ::getaddrinfo(name.c_str(), nullptr, &wanted, &list);
    Endpoints addresses = failed ? Endpoints() : ReadFound(list);
    if (!failed) ::freeaddrinfo(list);
    const std::lock_guard lock(mutex);
    done = true;
    found = std::move(addresses);
    if (failed) problem = ::gai_strerror(failed);
    for (const auto& bell : bells) bell();
}

std::shared_ptr<Resolver::Lookup> Resolver::LookupOf(const std::string& host)
{
    std::erase_if(mLookups, [](const auto& one) { return one->Done(); });
    for (const auto& one : mLookups)
        if (one->name == host) return one;
    if (mLookups.size() >= kAtOnce) throw std::runtime_error("its name is not answered for");
    const auto lookup = std::make_shared<Lookup>();
    lookup->name = host;
    std::thread([lookup] { lookup->Run(); }).detach();
    mLookups.push_back(lookup);
    return lookup;
}

asio::awaitable<Endpoints> Resolver::Find(std::string host, std::uint16_t port,
                                          std::chrono::milliseconds limit)
{
    boost::system::error_code aName;
    const asio::ip::address address = asio::ip::make_address(host, aName);
    if (!aName) co_return Endpoints{{address, port}};

    const std::shared_ptr<Lookup> lookup = LookupOf(host);
    const auto executor = co_await asio::this_coro::executor;
    const auto rung = std::make_shared<asio::steady_timer>(executor, limit);
    std::unique_lock lock(lookup->mutex);
    if (!lookup->done) {
        const auto bell = lookup->bells.insert(
            lookup->bells.end(), [executor, rung] { asio::post(executor, [rung] { rung->cancel(); }); });
        // Taken down on every way out, with the end of this thread's loop, too: then nobody is left to ring.
        const std::shared_ptr<void> takenDown(nullptr, [lookup, bell](void*) {
            const std::lock_guard again(lookup->mutex);
            lookup->bells.erase(bell);
        });
        lock.unlock();
        co_await rung->async_wait(asio::as_tuple(asio::use_awaitable));
        if (!lookup->Done()) throw std::runtime_error("its name is not answered for");
    } else {
        lock.unlock();
    }
    if (!lookup->problem.empty()) throw std::runtime_error(lookup->problem);
    Endpoints found = Interleaved(lookup->found);
    for (auto& endpoint : found) endpoint.port(port);
    co_return found;
}

Endpoints Interleaved(const Endpoints& found)
{
    if (found.empty()) return {};
    Endpoints first, second, mixed;
    const auto family = found.front().protocol();
    for (const auto& one : found) (one.protocol() == family ? first : second).push_back(one);
    for (std::size_t i = 0; i < std::max(first.size(), second.size()); ++i) {
        if (i < first.size()) mixed.push_back(first[i]);
        if (i < second.size()) mixed.push_back(second[i]);
    }
    return mixed;
}

}  // namespace zephyl::link
