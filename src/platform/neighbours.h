#pragma once
// Services that the local network offers by itself. User-interface thread only.

#include <QString>
#include <functional>
#include <vector>

/// What somebody there announces. Texts of strangers; nothing of it is proven.
struct NeighbourService {
    QString name;
    QString address;      // HOST:PORT
    QString fingerprint;  // "sha256:" and 64 digits, or ""
};

class NeighboursPort {
public:
    virtual ~NeighboursPort() = default;
    /// Begins to look, the first time; never waits. `changed` runs, now and later, when Found has changed;
    /// null takes it away. One listener.
    virtual void Look(std::function<void()> changed) = 0;
    /// At most 32. Empty where nobody announces anything, or nothing here listens for it.
    virtual std::vector<NeighbourService> Found() const = 0;
};
