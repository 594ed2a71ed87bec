#pragma once
// What a server says that a test has started.

#include <poll.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string>
#include <thread>

/// Waits until it has said these words. Behind them the thread goes on reading, so that the server never
/// waits for who reads; it ends with the server, and closes `output`.
inline std::thread ReaderOnceItHasSaid(int output, const std::string& words)
{
    constexpr int kMostMilliseconds = 60'000;
    std::string said;
    std::array<char, 4096> part{};
    pollfd news{output, POLLIN, 0};
    while (said.find(words) == std::string::npos) {
        const ssize_t got =
            ::poll(&news, 1, kMostMilliseconds) == 1 ? ::read(output, part.data(), part.size()) : -1;
        if (got <= 0) throw std::runtime_error("the server does not start: " + said);
        said.append(part.data(), static_cast<std::size_t>(got));
    }
    return std::thread([output, part]() mutable {
        while (::read(output, part.data(), part.size()) > 0) {
        }
        ::close(output);
    });
}
