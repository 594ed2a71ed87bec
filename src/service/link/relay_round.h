#pragma once
// Where a session may go: to the service that the user named, and to the relays that it named since. They are
// hints: whoever answers there has to have the same key. Pure.

#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "service/link/trust.h"

namespace zephyl::link {

class RelayRound {
public:
    explicit RelayRound(ServiceAddress home = {}) : mHome(home), mHere(std::move(home)) {}

    /// What can be an address of those named, a bounded number of them, in an order of our own: those who
    /// lose a relay at the same moment go to different ones. What was known before stays while there is room.
    void Learn(std::vector<std::string> named, std::mt19937_64& random);
    /// The one of those known that this names; none: it is not, or the connection stands there.
    std::optional<ServiceAddress> Other(const std::string& named) const;
    /// Somebody else answers there. Home stays.
    void Forget(const ServiceAddress& relay);
    /// The connection stands there.
    void At(const ServiceAddress& relay) { mHere = relay; }
    /// The connection is gone: the first to be tried is the same relay, or another one.
    enum class First { Here, Elsewhere };
    void Begin(First first);
    /// In turn: the one where we were, and each time another one.
    ServiceAddress Next();
    /// Every one has been tried as often as any other since Begin.
    bool Whole() const { return mTries % Length() == 0; }

    bool Alone() const { return mLearnt.empty(); }
    bool IsHome(const ServiceAddress& relay) const { return Same(relay, mHome); }
    /// HOST:PORT; "" at home.
    std::string Elsewhere() const { return IsHome(mHere) ? std::string() : ServiceName(mHere); }

private:
    static bool Same(const ServiceAddress& one, const ServiceAddress& other);
    bool Knows(const ServiceAddress& relay) const;
    std::vector<ServiceAddress> Others() const;
    std::size_t Length() const;

    ServiceAddress mHome, mHere;
    std::vector<ServiceAddress> mLearnt;
    std::size_t mTries = 0, mOther = 0;
    bool mHereIsNext = true;
};

}  // namespace zephyl::link
