#pragma once
// Relays that share their accounts.

#include <spdlog/sinks/base_sink.h>

#include <condition_variable>

#include "service/accounts/test_postgres.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {

/// A log that can be waited for.
class HeardLog final : public spdlog::sinks::base_sink<std::mutex> {
public:
    /// False: it has not said that often within a minute.
    bool Said(const std::string& words, int times = 1)
    {
        std::unique_lock lock(mWaiting);
        return mNews.wait_for(lock, std::chrono::minutes(1), [&] {
            int count = 0;
            for (const std::string& line : mLines) count += line.find(words) != std::string::npos;
            return count >= times;
        });
    }

    std::string All()
    {
        const std::lock_guard lock(mWaiting);
        std::string all;
        for (const std::string& line : mLines) all += line + "\n";
        return all;
    }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        const std::lock_guard lock(mWaiting);
        mLines.emplace_back(message.payload.data(), message.payload.size());
        mNews.notify_all();
    }
    void flush_() override {}

private:
    std::mutex mWaiting;
    std::condition_variable mNews;
    std::vector<std::string> mLines;
};

/// One of them, with its own data folder.
struct Site : RelayRoom {
    explicit Site(const std::string& database) : RelayRoom({})
    {
        options.cluster.accounts = database;
        StartRelay(nullptr, std::make_shared<spdlog::logger>("site", log));
    }
    Accounts& Store() { return relay->TheAccounts(); }
    Result Login(const std::string& handle, const std::string& password,
                 const std::string& from = "127.0.0.1")
    {
        return From(from)->Login(handle, password, 7).result();
    }

    std::shared_ptr<HeardLog> log = std::make_shared<HeardLog>();
};

}  // namespace zephyl
