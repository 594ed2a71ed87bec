#pragma once
// The system's service manager, when it has started this process: it hears how the service is, and may have
// opened the socket. Without one all of this does nothing.

#include <chrono>
#include <string>

namespace zephyl {

class Supervisor {
public:
    /// The socket that clients connect to, opened for us; -1: we open our own. Throws StartError when what
    /// was handed over is something else, or more than one.
    static int TakeSocket();

    /// Of a start that takes its time, which the manager would end otherwise: at least every half minute.
    void Waiting(const std::string& status) const;
    void Ready(const std::string& status) const;
    void Reloading() const;
    void Reloaded() const;
    void Stopping() const;
    void Alive() const;
    /// How often it wants to hear that; zero: never.
    std::chrono::microseconds AliveEvery() const;
};

}  // namespace zephyl
