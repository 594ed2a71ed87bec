#pragma once
// Shows pictures in a window of this program past the toolkit. User-interface thread only.

#include <QPoint>
#include <QRegion>
#include <vector>

#include "contract/picture.h"

/// Of a picture whose top left corner lies at `at`.
struct LivePart {
    Pixels picture;
    QPoint at;
    QRegion area;  // what of it
};

class LiveScreen {
public:
    virtual ~LiveScreen() = default;
    /// Shows `parts`, in device pixels of the top-level window with that number on the display; their
    /// pictures are kept until the display has them. False: not here, or not these pictures; nothing was
    /// shown.
    virtual bool Show(quint64 window, const std::vector<LivePart>& parts) = 0;
};
