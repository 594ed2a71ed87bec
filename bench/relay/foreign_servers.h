#pragma once
// Servers of others, from Debian packages, each told to do as little beside its work as it can: no log, no
// store, no limits that would throttle one sender.

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "relay/servers.h"

struct ForeignCommand {
    std::vector<std::string> arguments;    // the program first
    std::vector<std::string> environment;  // what it gets beside ours, "NAME=value"
    std::filesystem::path log;             // what it says
    std::uint16_t port = 0;
};

/// "" when it is not installed.
std::string ForeignProgram(Kind kind);
/// Writes its configuration, key and certificate into `data`, for a free port.
ForeignCommand PrepareForeign(Kind kind, const std::filesystem::path& data);
/// Becomes the program.
[[noreturn]] void RunForeign(const ForeignCommand& command);
/// Waits until it takes connections; false when it has ended, or after twenty seconds.
bool Listening(std::uint16_t port, pid_t pid);
