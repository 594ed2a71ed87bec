#pragma once
// One at a time for each name: coroutines that wait for each other. Any thread.

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace zephyl {

class Turns {
    struct All {
        std::mutex mutex;
        std::unordered_map<std::string, std::deque<std::function<void()>>> waiting;  // an entry: taken
        bool ended = false;
    };

public:
    /// Given back by the destructor.
    class Turn {
    public:
        Turn(std::shared_ptr<All> all, std::string name) : mAll(std::move(all)), mName(std::move(name)) {}
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn()
        {
            std::function<void()> next;
            const std::lock_guard lock(mAll->mutex);
            if (mAll->ended) return;
            const auto at = mAll->waiting.find(mName);
            if (at->second.empty()) {
                mAll->waiting.erase(at);
                return;
            }
            next = std::move(at->second.front());
            at->second.pop_front();
            next();
        }

    private:
        const std::shared_ptr<All> mAll;
        const std::string mName;
    };

    /// The caller goes on where it was.
    boost::asio::awaitable<std::unique_ptr<Turn>> Take(std::string name)
    {
        namespace asio = boost::asio;
        const auto initiate = [all = mAll, &name](auto handler) {
            auto shared = std::make_shared<decltype(handler)>(std::move(handler));
            std::function<void()> begin = [shared] {
                asio::post(asio::get_associated_executor(*shared), [shared] { std::move (*shared)(); });
            };
            const std::lock_guard lock(all->mutex);
            const auto [at, free] = all->waiting.try_emplace(name);
            if (free) return begin();
            at->second.push_back(std::move(begin));
        };
        co_await asio::async_initiate<const asio::use_awaitable_t<>, void()>(initiate, asio::use_awaitable);
        co_return std::make_unique<Turn>(mAll, name);
    }

    /// Nobody gets a turn any more. When no thread runs.
    ~Turns()
    {
        decltype(All::waiting) waiting;
        const std::lock_guard lock(mAll->mutex);
        mAll->ended = true;
        waiting.swap(mAll->waiting);
    }
    Turns() = default;
    Turns(const Turns&) = delete;
    Turns& operator=(const Turns&) = delete;

private:
    const std::shared_ptr<All> mAll = std::make_shared<All>();
};

}  // namespace zephyl
