#pragma once
// The programs of several relays, as packaging/cluster brings them up.

#include <QString>
#include <map>
#include <vector>

namespace stage {

class Cluster {
public:
    struct Relay {
        QString address, fingerprint;  // HOST:PORT
    };

    /// Brings it up in this folder. `accounts`: handle -> password. Throws std::runtime_error.
    Cluster(QString folder, const std::map<QString, QString>& accounts);
    ~Cluster();  // ends it; what it kept stays
    /// Whatever runs in this folder, of a run that was stopped, too. Throws std::runtime_error.
    static void End(const QString& folder);
    Cluster(const Cluster&) = delete;
    Cluster& operator=(const Cluster&) = delete;

    const std::vector<Relay>& Relays() const { return mRelays; }
    /// "relay-1", "nats-2", "postgres": at once, as a machine that loses its power.
    void Kill(const char* part) const;
    /// What was killed is there again.
    void Start();

private:
    const QString mFolder;
    std::vector<Relay> mRelays;
};

}  // namespace stage
