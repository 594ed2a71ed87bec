#pragma once
// A real relay on a free loopback port, with accounts, for as long as a test runs.

#include <gtest/gtest.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>

#include <memory>

#include "service/relay/admin_socket.h"
#include "service/relay/cluster/engine.h"
#include "service/relay/private_folder.h"
#include "service/relay/raw_client.h"
#include "service/relay/relay.h"
#include "service/relay/temporary_folder.h"

namespace zephyl {

inline std::shared_ptr<spdlog::logger> SilentLog()
{
    return std::make_shared<spdlog::logger>("test", std::make_shared<spdlog::sinks::null_sink_mt>());
}

constexpr HashCost kCheapHash{1, 8192};

/// Where meetings keep their logs: what attendees see is the same. Cold: nothing that is safe stays in
/// memory.
enum class Logs { Memory, Files, ColdFiles };

/// How clients come, and where the logs are.
struct Ways {
    Logs logs = Logs::Memory;
    By by = By::Tcp;
    /// A new one for the accounts, "" where there can be none; null: in a file.
    std::string (*database)() = nullptr;
};

/// What a fixture with a relay has.
class RelayRoom {
public:
    explicit RelayRoom(Ways ways) : mBy(ways.by)
    {
        const Logs logs = ways.logs;
        StartSodium();
        options.data = folder.path / "data";
        if (ways.database) options.cluster.accounts = ways.database();
        options.port = 0;
        options.logsInMemory = logs == Logs::Memory;
        if (logs == Logs::ColdFiles) options.bounds.logInMemory = 0;
        options.times.tick = std::chrono::milliseconds(20);
        options.times.lostAfter = options.times.httpLostAfter =
            std::chrono::minutes(10);  // clients of tests answer only while they are read
        options.times.grace =
            std::chrono::milliseconds(0);  // a lost connection is a leave, unless a test says else
        options.bounds.connectionsPerAddress = 1000;
        options.budgets.items = options.budgets.bytes = 0;  // tests send faster than people
    }

    /// Starts what `options` says; again: the same data, another port.
    void StartRelay(std::unique_ptr<Engine> engine = nullptr,
                    std::shared_ptr<spdlog::logger> log = SilentLog())
    {
        relay.reset();
        relay = std::make_unique<Relay>(options, std::move(log), kCheapHash, std::move(engine));
        for (const char* handle : {"Alice", "bob", "carol", "dave"})
            if (!relay->TheAccounts().Find(handle))
                relay->TheAccounts().Add(handle, HashPassword("secret", kCheapHash), "");
        relay->Start();
    }
    std::unique_ptr<RawClient> Fresh()
    {
        return std::make_unique<RawClient>(relay->Port(), options.door, kProtocolVersion, "127.0.0.1",
                                           "127.0.0.1", mBy);
    }
    /// From another address.
    std::unique_ptr<RawClient> From(const std::string& address)
    {
        return std::make_unique<RawClient>(relay->Port(), "", kProtocolVersion, address);
    }
    /// Logged in under a stream that is the handle's own.
    std::unique_ptr<RawClient> LoggedIn(const std::string& handle)
    {
        if (!relay) StartRelay();
        auto client = Fresh();
        EXPECT_EQ(client->Login(handle, "secret", StreamOf(handle)).result(), RESULT_OK) << handle;
        return client;
    }
    /// And in the meeting "Room 1", which the first one makes.
    std::unique_ptr<RawClient> In(const std::string& handle)
    {
        auto client = LoggedIn(handle);
        const Entered entered = client->Enter("Room01", !made);
        EXPECT_EQ(entered.result(), RESULT_OK) << handle;
        made = true;
        place = entered.place();
        return client;
    }
    /// As its operator; the answer.
    std::string Tell(const std::string& line) { return TellDaemon(options.data, line).value_or(""); }
    static std::uint64_t StreamOf(const std::string& handle) { return std::hash<std::string>()(handle) | 1; }

    TemporaryFolder folder;
    RelayOptions options;
    std::unique_ptr<Relay> relay;
    Place place;        // of the one who entered last
    bool made = false;  // the meeting

private:
    const By mBy;
};

class RelayTest : public testing::TestWithParam<Ways>, protected RelayRoom {
protected:
    RelayTest() : RelayRoom(GetParam()) {}
    void SetUp() override
    {
        if (GetParam().database && options.cluster.accounts.empty()) GTEST_SKIP() << "no PostgreSQL here";
    }
};

inline const auto kAllWays = testing::Values(Ways{Logs::Memory}, Ways{Logs::Files}, Ways{Logs::ColdFiles},
                                             Ways{Logs::Memory, By::Http});
inline std::string NameOfWays(const testing::TestParamInfo<Ways>& ways)
{
    if (ways.param.by == By::Http) return "MemoryByHttp";
    return ways.param.logs == Logs::Memory  ? "Memory"
           : ways.param.logs == Logs::Files ? "Files"
                                            : "ColdFiles";
}

}  // namespace zephyl
