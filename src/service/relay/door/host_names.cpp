#include "service/relay/door/host_names.h"

#include <spdlog/logger.h>

#include <algorithm>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <chrono>
#include <memory>
#include <vector>

namespace zephyl {
namespace asio = boost::asio;
using asio::ip::address;
namespace {

constexpr std::chrono::seconds kLookUp{2};
constexpr std::size_t kNameBytes = 100;  // two hundred of them still fit into one header

// Plain names and addresses only: the text goes on to other programs.
bool Plain(const std::string& name)
{
    return name.size() <= kNameBytes && std::all_of(name.begin(), name.end(), [](unsigned char c) {
               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                      c == '.' || c == '-' || c == ':';
           });
}

bool IsPrivate(const address& given)
{
    if (given.is_v6()) {
        const auto v6 = given.to_v6();
        if (v6.is_v4_mapped()) return IsPrivate(asio::ip::make_address_v4(asio::ip::v4_mapped, v6));
        return v6.is_link_local() || (v6.to_bytes()[0] & 0xfe) == 0xfc;
    }
    const unsigned long v4 = given.to_v4().to_uint();
    return v4 >> 24 == 10 || v4 >> 20 == 0xac1 || v4 >> 16 == 0xc0a8 || v4 >> 16 == 0xa9fe;
}

/// One question to the machine's resolver. Nothing ends it: who has waited long enough leaves it behind.
struct Question {
    explicit Question(const asio::any_io_executor& executor) : resolver(executor), limit(executor, kLookUp) {}
    asio::ip::tcp::resolver resolver;
    asio::steady_timer limit;
    std::vector<address> found;
};

/// None when there is no such name, or nobody says so in time. On a strand.
asio::awaitable<std::vector<address>> LookUp(std::string name)
{
    boost::system::error_code notAnAddress;
    const address plain = asio::ip::make_address(name, notAnAddress);
    if (!notAnAddress) co_return std::vector<address>{plain};
    const auto asked = std::make_shared<Question>(co_await asio::this_coro::executor);
    asked->resolver.async_resolve(name, "", [asked](boost::system::error_code error, const auto& entries) {
        if (!error)
            for (const auto& entry : entries) asked->found.push_back(entry.endpoint().address());
        asked->limit.cancel();
    });
    co_await asked->limit.async_wait(asio::as_tuple(asio::use_awaitable));
    co_return asked->found;
}

}  // namespace

asio::awaitable<std::string> AcceptedHostName(spdlog::logger& log, std::string announced,
                                              std::string observed)
{
    if (announced.empty() || announced == observed) co_return observed;
    bool accepted = false;
    if (Plain(announced)) {
        const std::vector<address> found = co_await LookUp(announced);
        accepted = std::any_of(found.begin(), found.end(), [&](const address& one) {
            return one.to_string() == observed || IsPrivate(one);
        });
    }
    if (accepted) co_return announced;
    log.warn("{} announced a host name that is not its own; others get the observed address", observed);
    co_return observed;
}

}  // namespace zephyl
