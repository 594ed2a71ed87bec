#pragma once
// The other relays of a service, as far as clients of this one need to know them.

#include <string>
#include <vector>

namespace zephyl {

class OtherRelays {
public:
    virtual ~OtherRelays() = default;
    /// HOST:PORT where clients reach those that take them, kRelaysNamed at most. Any thread; waits for
    /// nothing.
    virtual std::vector<std::string> Addresses() const = 0;
};

}  // namespace zephyl
