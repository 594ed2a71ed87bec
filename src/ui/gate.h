#pragma once
// The one gate that service events, timers of ours and camera frames pass. Closed until the meeting window is
// whole; closings nest.

#include <QObject>
#include <functional>

#include "contract/link_needs.h"
#include "platform/machine.h"

/// User-interface thread only. Whatever waited is served from the event loop, not from inside Open, so that
/// nobody is entered in the middle of a procedure.
class HoldableGate final : public QObject, public Gate, public EventGate {
public:
    void Close() override { ++mClosings; }
    void Open() override;
    bool IsOpen() const override { return mClosings == 0; }
    void WhenOpen(std::function<void()> drain) override { mDrain = std::move(drain); }

private:
    int mClosings = 0;
    bool mPosted = false;  // what waited is served soon: once, however often the gate opens meanwhile
    std::function<void()> mDrain;
};
