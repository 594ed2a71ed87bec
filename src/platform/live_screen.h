#pragma once
// Shows pictures in a window of this program past the toolkit. User-interface thread only.

#include <QPoint>
#include <QRegion>

#include "contract/picture.h"

class LiveScreen {
public:
    virtual ~LiveScreen() = default;
    /// Shows `parts` of the picture whose top left corner lies at `at`, both in device pixels of the
    /// top-level window with that number on the display; the picture is kept until the display has it. False:
    /// not here, or not this picture; nothing was shown.
    virtual bool Show(quint64 window, const Pixels& picture, QPoint at, const QRegion& parts) = 0;
};
