#pragma once
// Two computers joined by a cable, as far as their networks go: namespaces of this user's own, for root and
// for everybody else where the kernel lets users have them.

#include <memory>

#include "demo/stage.h"

namespace stage {

class Cable {
public:
    explicit Cable(const QString& logFile);
    /// False: no namespaces are allowed here, and both are on this computer's own network.
    bool Apart() const { return mApart; }
    /// What starts a program on one of the two, 0 or 1; empty when they are not apart. /run is its own.
    QStringList Launcher(int at) const;
    /// The exit status of a command there.
    int In(int at, const QStringList& words) const;
    /// 10.77.0.1 or .2
    static QString Address(int at);

private:
    bool Join() const;

    const QString mLog;
    std::unique_ptr<Child> mOwner, mComputers[2];  // each keeps what it has for as long as it reads
    bool mApart = false;
};

}  // namespace stage
