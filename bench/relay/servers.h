#pragma once
// What is measured: the relay, two bare TLS loops that write the same bytes, and three servers of others.
// Each in a process of its own, on the first core.

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "service/relay/relay.h"

enum class Kind {
    Relay,        // its log in files, as it runs
    RelayMemory,  // its log in memory
    BareEach,     // a send for each message
    BareBatch,    // a send for all complete messages of one read
    Mosquitto,
    Nats,
    Mumble,
};

inline constexpr int kServerCore = 0;
inline constexpr int kLoadCore = 1;

void PinTo(int core);
/// False: one of the others' servers, and this machine has none.
bool Installed(Kind kind);

/// What a server's process says: its port.
void Tell(int report, std::uint16_t port);
/// A relay as the benchmark measures it: one thread, no limits.
zephyl::RelayOptions BareRelayOptions(const std::filesystem::path& data);
/// Accounts "user0" and so on, all with the password "secret"; then it serves.
void StartFor(zephyl::Relay& relay, int accounts);
inline constexpr zephyl::HashCost kCheapHash{1, 8192};

/// A running server; ended by the destructor, and only that process.
class ServerProcess {
public:
    /// `data`: a folder that it may make and fill. Throws when the server does not start.
    ServerProcess(Kind kind, const std::filesystem::path& data, int accounts);
    /// One of our own: `run` tells its port by `Tell` and does not return.
    ServerProcess(Kind kind, const std::function<void(int report)>& run);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    Kind What() const { return mKind; }
    /// Somebody else's program.
    bool Foreign() const { return mKind == Kind::Mosquitto || mKind == Kind::Nats || mKind == Kind::Mumble; }
    std::uint16_t Port() const { return mPort; }
    /// Processor time that it has used, all its threads together.
    std::chrono::nanoseconds Cpu() const;
    /// Resident bytes.
    std::size_t Resident() const;
    /// What a client gets that asks for no particular cipher, such as "TLSv1.3 TLS_AES_128_GCM_SHA256".
    std::string Tls() const;

private:
    void StartOwn(const std::function<void(int report)>& run);
    void StartForeign(const std::filesystem::path& data);

    const Kind mKind;
    pid_t mPid = -1;
    std::uint16_t mPort = 0;
};
