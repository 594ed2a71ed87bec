#pragma once
// What a meeting may ask for at a service that belongs to one person: that others on the local network may
// come into it, and only into it.

#include <memory>
#include <string>
#include <vector>

#include "service/wire/zephyl.pb.h"

namespace zephyl {

class Guests {
public:
    virtual ~Guests() = default;

    struct Opening {
        Result result = RESULT_NOT_PERMITTED;  // ok, in use (by another meeting), later (it cannot listen)
        std::shared_ptr<void> hold;            // when ok; with the last of them it closes
    };

    // --- any thread ---
    virtual Opening Open(const std::string& meeting) = 0;
    /// Whoever holds it. Nothing when it is not open for this meeting.
    virtual void Close(const std::string& meeting) = 0;
    /// HOST:PORT, the likeliest first, as others may type it; empty: it is not open for this meeting.
    virtual std::vector<std::string> Addresses(const std::string& meeting) const = 0;
};

}  // namespace zephyl
