#pragma once
// A port that is kept for a server of the tests' own.

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cstdint>
#include <stdexcept>

#include "files/careful_file.h"

namespace zephyl {

/// Bound, and never listening: the server can have the port, and between two of its lives nobody else.
class HeldPort {
public:
    HeldPort() : mHeld(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const int on = 1;
        sockaddr_in at{};
        at.sin_family = AF_INET;
        at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t bytes = sizeof at;
        if (::bind(mHeld.Number(), reinterpret_cast<sockaddr*>(&at), bytes) != 0 ||
            ::getsockname(mHeld.Number(), reinterpret_cast<sockaddr*>(&at), &bytes) != 0 ||
            ::setsockopt(mHeld.Number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0)
            throw std::runtime_error("no port is free");
        number = ntohs(at.sin_port);
    }
    std::uint16_t number = 0;

private:
    const files::Descriptor mHeld;
};

}  // namespace zephyl
