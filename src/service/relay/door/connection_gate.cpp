#include "service/relay/door/connection_gate.h"

#include "service/relay/door/address_group.h"

namespace zephyl {
namespace {
constexpr std::chrono::seconds kAfterStart{30};
constexpr std::size_t kMoreAfterStart = 10;
}  // namespace

void ConnectionGate::Replace(const RelayBounds& bounds)
{
    const std::lock_guard lock(mMutex);
    mPerAddress = bounds.connectionsPerAddress;
    mInAll = bounds.connectionsBeforeLogin;
}

std::size_t ConnectionGate::Waiting() const
{
    const std::lock_guard lock(mMutex);
    return mWaitingInAll;
}

std::unique_ptr<ConnectionGate::Ticket> ConnectionGate::Ask(const std::string& client, Clock::time_point now)
{
    const std::string address = AddressGroup(client);
    const bool justStarted = now - mStarted < kAfterStart;
    const std::lock_guard lock(mMutex);
    std::size_t& here = mWaiting[address];
    const std::size_t most = mPerAddress * (justStarted ? kMoreAfterStart : 1);
    if (here >= most || mWaitingInAll >= mInAll) {
        if (here == 0) mWaiting.erase(address);
        return nullptr;
    }
    ++here;
    ++mWaitingInAll;
    return std::make_unique<Ticket>(*this, address);
}

void ConnectionGate::GiveBack(const std::string& address)
{
    const std::lock_guard lock(mMutex);
    const auto at = mWaiting.find(address);
    if (--at->second == 0) mWaiting.erase(at);
    --mWaitingInAll;
}

}  // namespace zephyl
