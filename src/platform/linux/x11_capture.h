#pragma once
// Copies of the screen through memory shared with the X server. User-interface thread only.

#include <QRect>
#include <memory>
#include <vector>

#include "contract/picture.h"
#include "platform/linux/x11_connection.h"

class X11Capture {
public:
    explicit X11Capture(std::shared_ptr<X11Connection> connection);

    /// The screen's pixels are 32 bits with blue lowest; no other display is captured.
    bool Possible() const { return mPossible; }
    /// `area` lies on the screen. Null when the server refuses. The segments behind the pictures are kept and
    /// used again once nobody holds the picture.
    Pixels Grab(const QRect& area);

private:
    struct Segment;
    std::shared_ptr<Segment> FreeSegment(size_t bytes);
    Pixels GrabPlain(const QRect& area);

    std::shared_ptr<X11Connection> mConnection;
    bool mPossible = false;
    bool mShares = false;  // the server takes shared memory; not so through a network
    std::vector<std::shared_ptr<Segment>> mSegments;
};
