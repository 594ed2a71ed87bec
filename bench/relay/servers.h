#pragma once
// What is measured: the relay, and two bare TLS loops that write the same bytes. Each in a process of its
// own, on the first core.

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>

enum class Kind { Relay, RelayFiles, BareEach, BareBatch };

inline constexpr int kServerCore = 0;
inline constexpr int kLoadCore = 1;

void PinTo(int core);

/// A running server; ended by the destructor.
class ServerProcess {
public:
    ServerProcess(Kind kind, const std::filesystem::path& data, int accounts);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    std::uint16_t Port() const { return mPort; }
    /// Processor time that it has used.
    std::chrono::nanoseconds Cpu() const;
    /// Resident bytes.
    std::size_t Resident() const;

private:
    pid_t mPid = -1;
    std::uint16_t mPort = 0;
};
