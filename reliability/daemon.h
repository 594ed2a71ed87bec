#pragma once
// A real zephyld on a free loopback port, with accounts, that can be killed, stopped and looked at.

#include <chrono>
#include <memory>

#include "demo/stage.h"
#include "reliability/site.h"
#include "service/relay/door/passwords.h"

namespace reliability {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

/// Milliseconds since `since`.
double Since(Time since);

/// Of a process; -1: it is not there.
int DescriptorsOf(pid_t process);
double ProcessorSecondsOf(pid_t process);

class Daemon final : public Site {
public:
    /// Accounts "c0" to "c<accounts - 1>" with the password "secret". `config`: lines of its configuration.
    /// `cost`: of checking their passwords; cheap, because logins are seldom what is measured.
    explicit Daemon(int accounts, const QString& config = {}, zephyl::HashCost cost = {1, 8192});

    /// Returns when it listens, on another port than before; it keeps its data.
    void Start();
    /// Ends it, and returns when it has ended: its exit status.
    int End(int signal, int seconds = 30);
    void Signal(int signal) { mChild->Signal(signal); }

    std::vector<std::uint16_t> Doors() const override { return {mPort}; }
    std::uint16_t Port() const override { return mPort; }
    const std::string& Fingerprint() const override { return mFingerprint; }
    QString Address() const;
    QString Data() const { return mFolder / "data"; }
    const stage::Folder& Folder() const { return mFolder; }
    pid_t Pid() const { return mChild->Pid(); }
    long ResidentKiB() const;
    int Descriptors() const { return DescriptorsOf(Pid()); }
    int Logged(const QByteArray& words) const override;

    /// Put in front of the program's own words at the next start.
    QStringList wrapper;

private:
    stage::Folder mFolder;
    std::unique_ptr<stage::Child> mChild;
    std::uint16_t mPort = 0;
    std::string mFingerprint;
};

}  // namespace reliability
