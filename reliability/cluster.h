#pragma once
// Three relays, three nats-servers and a PostgreSQL server, as packaging/cluster brings them up, with a fault
// proxy on each road between two of them and in front of each relay. Accounts as the daemon's.

#include <atomic>
#include <map>
#include <memory>

#include "demo/cluster.h"
#include "reliability/daemon.h"
#include "reliability/fault_proxy.h"
#include "reliability/goal.h"
#include "reliability/site.h"

namespace reliability {

class Cluster final : public Site {
public:
    static constexpr int kEach = 3;
    /// Of the programs that this takes some are not installed.
    static bool Missing();

    /// `config`: lines that every relay's configuration begins with. `gather`: clients come to their
    /// meeting's relay; else they stay.
    explicit Cluster(int accounts, const QString& config = {}, zephyl::HashCost cost = {1, 8192},
                     bool gather = false);
    ~Cluster() override;

    std::vector<std::uint16_t> Doors() const override;
    std::uint16_t Port() const override { return Doors()[mTurn++ % kEach]; }
    const std::string& Fingerprint() const override { return mFingerprint; }
    int Logged(const QByteArray& words) const override;

    /// "relay-1", "nats-2", "postgres": kills it, stops it, starts what was killed.
    stage::Cluster& Parts() { return *mParts; }
    /// Of the log: else the next server that is harmed may be a second one that is missing.
    bool CopiesInStep() const;
    /// The roads between two parts, whichever of them connects.
    std::vector<FaultProxy*> Between(const QString& one, const QString& other);
    /// All roads of a part but those of its clients.
    std::vector<FaultProxy*> RoadsOf(const QString& part);
    /// Where relay 1 to 3 tells clients that it is.
    FaultProxy& Front(int relay) { return *mFronts.at(std::size_t(relay - 1)); }
    /// Clients that lose their relay find the others where they are told that they are. Without: only where
    /// they came from, which leads them to the next one each time.
    void SetFronts(bool open);
    /// From "relay-1" to where it listens itself.
    std::uint16_t PortOf(const QString& name) const { return mPorts.at(name); }

private:
    void ReadPorts();
    void BuildRoads();
    void AddAccounts(int accounts, zephyl::HashCost cost) const;

    stage::Folder mFolder;
    std::unique_ptr<stage::Cluster> mParts;
    std::map<QString, std::uint16_t> mPorts;                                    // as the file has them
    std::map<std::pair<QString, QString>, std::unique_ptr<FaultProxy>> mRoads;  // from, to
    std::vector<std::unique_ptr<FaultProxy>> mFronts;
    std::string mFingerprint;
    mutable std::atomic<std::size_t> mTurn{0};
};

/// What the run wants: one service, or three relays, among which clients move at each connection.
std::unique_ptr<Site> OpenSite(const Run& run, int accounts, const QString& config = {},
                               zephyl::HashCost cost = {1, 8192});

}  // namespace reliability
