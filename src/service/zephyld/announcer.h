#pragma once
// Tells the local network that there is this service, by the computer's Avahi. Without one nothing happens.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "avahi/avahi_thread.h"

namespace zephyl {

class Announcer {
public:
    /// `say`: one line for the log; any thread, and maybe once more when this is gone.
    Announcer(std::uint16_t port, const std::string& fingerprint, std::function<void(std::string)> say);

private:
    std::optional<AvahiThread> mThread;
};

}  // namespace zephyl
