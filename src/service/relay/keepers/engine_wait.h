#pragma once
// What the engine answers by calling back, as something to wait for.

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <memory>
#include <tuple>

#include "service/relay/cluster/engine.h"

namespace zephyl {

/// `call` is given the callback. The caller goes on where it was.
template <class... Results, class Call>
boost::asio::awaitable<std::tuple<Results...>> Answer(Call call)
{
    namespace asio = boost::asio;
    const auto initiate = [&call](auto handler) {
        auto shared = std::make_shared<decltype(handler)>(std::move(handler));
        call([shared](Results... results) {
            asio::post(asio::get_associated_executor(*shared),
                       [shared, ... results = std::move(results)]() mutable {
                           std::move (*shared)(std::move(results)...);
                       });
        });
    };
    co_return co_await asio::async_initiate<const asio::use_awaitable_t<>, void(Results...)>(
        initiate, asio::use_awaitable);
}

inline boost::asio::awaitable<std::tuple<EngineResult, EngineEntry>> GetValue(Engine& engine,
                                                                              std::string bucket,
                                                                              std::string key)
{
    co_return co_await Answer<EngineResult, EngineEntry>(
        [&](Engine::Got got) { engine.Get(bucket, key, std::move(got)); });
}

inline boost::asio::awaitable<std::tuple<EngineResult, std::uint64_t>> PutValue(
    Engine& engine, std::string bucket, std::string key, std::string bytes, std::uint64_t expected)
{
    co_return co_await Answer<EngineResult, std::uint64_t>([&](Engine::Stored stored) {
        engine.Put(bucket, key, std::move(bytes), expected, std::move(stored));
    });
}

inline boost::asio::awaitable<std::tuple<EngineResult, std::uint64_t>> RemoveValue(Engine& engine,
                                                                                   std::string bucket,
                                                                                   std::string key,
                                                                                   std::uint64_t expected)
{
    co_return co_await Answer<EngineResult, std::uint64_t>(
        [&](Engine::Stored stored) { engine.Remove(bucket, key, expected, std::move(stored)); });
}

inline boost::asio::awaitable<std::tuple<EngineResult, std::string>> AskSubject(
    Engine& engine, std::string subject, std::string bytes, std::chrono::milliseconds patience)
{
    co_return co_await Answer<EngineResult, std::string>([&](Engine::Answered answered) {
        engine.Ask(subject, std::move(bytes), patience, std::move(answered));
    });
}

}  // namespace zephyl
