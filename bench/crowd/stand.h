#pragma once
// The cluster that packaging/cluster/up has made, as one who watches it from outside: whose processor time
// and memory it takes.

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace crowd {

struct Part {
    std::string name;  // of its folder
    pid_t pid = 0;
};

class Stand {
public:
    /// Throws std::runtime_error when something of it does not run.
    explicit Stand(const std::filesystem::path& folder);
    const std::vector<std::uint16_t>& Relays() const { return mPorts; }
    const std::string& Fingerprint() const { return mFingerprint; }
    /// Makes the first `count` accounts, as far as they are not there. All have one password and one hash of
    /// it: of the usual cost, or of next to none, so that a crowd comes in faster than people would.
    void MakeAccounts(const std::string& front, int count, const std::string& password, bool usualCost) const;
    const std::vector<Part>& Parts() const { return mParts; }
    pid_t Relay(int number) const;

private:
    const std::filesystem::path mFolder;
    std::vector<Part> mParts;
    std::vector<std::uint16_t> mPorts;
    std::string mFingerprint;
};

/// Seconds of processor time so far, of the process and its children.
double CpuOf(pid_t pid);
/// Resident bytes, of the process alone.
double MemoryOf(pid_t pid);
/// Seconds of processor time of the whole machine in which something ran.
double CpuOfAll();

}  // namespace crowd
