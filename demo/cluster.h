#pragma once
// The programs of several relays, as packaging/cluster brings them up.

#include <sys/types.h>

#include <QString>
#include <QStringList>
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
    /// Nothing runs yet.
    explicit Cluster(QString folder);
    ~Cluster();  // ends it; what it kept stays
    /// Whatever runs in this folder, of a run that was stopped, too. Throws std::runtime_error.
    static void End(const QString& folder);
    Cluster(const Cluster&) = delete;
    Cluster& operator=(const Cluster&) = delete;

    const QString& Path() const { return mFolder; }
    const std::vector<Relay>& Relays() const { return mRelays; }
    /// Parts are "relay-1", "nats-2", "postgres". Throws std::runtime_error when that one does not run.
    pid_t Pid(const QString& part) const;
    void Signal(const QString& part, int number) const;
    /// At once, as a machine that loses its power. Has ended when it returns.
    void Kill(const QString& part) const;
    bool Runs(const QString& part) const;
    /// What was killed is there again; none named: all of it.
    void Start(const QStringList& parts = {});
    /// In front of the words that start them.
    QStringList wrapper;

private:
    const QString mFolder;
    std::vector<Relay> mRelays;
};

}  // namespace stage
