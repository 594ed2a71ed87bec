#include "ui/gate.h"

#include <QMetaObject>

void HoldableGate::Open()
{
    if (mClosings == 0 || --mClosings > 0) return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (IsOpen() && mDrain) mDrain();
        },
        Qt::QueuedConnection);
}
