#pragma once
// NATS servers of the tests' own: on free loopback ports, with folders of their own, ended by their ids.

#include <sys/types.h>

#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "service/relay/cluster/nats_engine.h"
#include "service/relay/options.h"
#include "service/relay/temporary_folder.h"
#include "support/held_port.h"

namespace zephyl {

class TestNats {
public:
    static constexpr char kUser[] = "tester", kPassword[] = "pass word";
    /// Whether there is one on this machine.
    static bool Installed();

    enum class Tls { No, Yes };
    /// One server, or several that are a cluster; started. Tls: as "localhost" alone.
    explicit TestNats(std::size_t servers = 1, Tls tls = Tls::No);
    ~TestNats();

    void Start(std::size_t server = 0);
    /// As a crash.
    void Kill(std::size_t server = 0);
    /// It does nothing until it is thawed.
    void Freeze(std::size_t server = 0);
    void Thaw(std::size_t server = 0);

    std::size_t Count() const { return mServers.size(); }
    /// Where it tells by HTTP how it is.
    std::uint16_t MonitorPort(std::size_t server = 0) const { return mServers[server].monitor.number; }
    NatsSite Site() const;
    /// As a configuration names them.
    ClusterOptions Options() const;
    /// The password alone, in a file there.
    static ClusterOptions Named(const std::filesystem::path& folder);

private:
    struct Server {
        HeldPort port, forOthers, monitor;
        pid_t process = -1;
        std::thread reader;
    };
    std::string ConfigOf(std::size_t server) const;

    TemporaryFolder mFolder;
    const Tls mTls;
    std::deque<Server> mServers;
};

/// Skips a test that needs one where there is none.
#define QUORVIA_NEEDS_NATS() \
    if (!TestNats::Installed()) GTEST_SKIP() << "no NATS server is installed (package nats-server)"

}  // namespace zephyl
