#pragma once
// The other relays as a configuration names them, and how it may.

#include "service/relay/cluster/other_relays.h"
#include "service/relay/options.h"

namespace zephyl {

class NamedRelays final : public OtherRelays {
public:
    /// Of options that were checked.
    explicit NamedRelays(const ClusterOptions& options);
    std::vector<std::string> Addresses() const override { return mAddresses; }

private:
    std::vector<std::string> mAddresses;
};

/// What was written, when it can be that. They throw StartError.
std::string RelayName(const std::string& written);
std::string RelayAddress(const std::string& written);
std::vector<std::string> RelayAddresses(std::vector<std::string> written);
/// Whether what is named fits together. Throws StartError.
void CheckOtherRelays(const ClusterOptions& options);

}  // namespace zephyl
