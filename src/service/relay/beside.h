#pragma once
// Work that may wait for a disk, done by another thread while a coroutine waits for it.

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <exception>
#include <functional>
#include <memory>

namespace zephyl {

/// `run` takes work to that thread. What the work throws is thrown here. The caller goes on where it was.
inline boost::asio::awaitable<void> Beside(std::function<void(std::function<void()>)> run,
                                           std::function<void()> work)
{
    namespace asio = boost::asio;
    const auto initiate = [&run, &work](auto handler) {
        auto shared = std::make_shared<decltype(handler)>(std::move(handler));
        run([shared, work] {
            std::exception_ptr failed;
            try {
                work();
            } catch (...) {
                failed = std::current_exception();
            }
            asio::post(asio::get_associated_executor(*shared),
                       [shared, failed] { std::move (*shared)(failed); });
        });
    };
    co_await asio::async_initiate<const asio::use_awaitable_t<>, void(std::exception_ptr)>(
        initiate, asio::use_awaitable);
}

}  // namespace zephyl
