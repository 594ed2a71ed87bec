#include "ui/gate.h"

#include <QMetaObject>
#include <utility>

void HoldableGate::Open()
{
    if (mClosings == 0) return;
    --mClosings;
    if (mClosings > 0) return;
    // Each stroke of others closes and opens the gate. One posting each would serve thousands of them before
    // the window is painted again.
    if (std::exchange(mPosted, true)) return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            mPosted = false;
            if (IsOpen() && mDrain) mDrain();
        },
        Qt::QueuedConnection);
}
