#pragma once
// The desktop's windows that can be shared. Sizes in device pixels. User-interface thread only. A window
// may vanish between any two calls; nothing here throws for that.

#include <QString>
#include <vector>

#include "contract/picture.h"

using WindowId = quint64;  // 0: none

struct WindowInfo {
    WindowId id = 0;
    QString title;  // at most 1024 characters, cut at the first NUL
};

class WindowsPort {
public:
    virtual ~WindowsPort() = default;

    /// "" when windows can be listed and captured, else one clear sentence why not.
    virtual QString WhyNot() const = 0;
    /// The whole screen, as a window of its own.
    virtual WindowId Desktop() const = 0;
    /// Visible top-level windows of other programs, topmost first.
    virtual std::vector<WindowInfo> TopLevel() = 0;
    virtual bool Exists(WindowId id) = 0;
    /// The window that has the user's attention; 0 when there is none.
    virtual WindowId Foreground() = 0;
    /// Shows the window in its normal state on top of the others, neither moved nor sized.
    virtual void RaiseNormal(WindowId id) = 0;
    /// The screen's pixels where the window is, frame included, cut to the screen; null when it has gone,
    /// is not shown, or lies outside. The top byte of each pixel may be anything. A later call never
    /// writes into a picture that is still held.
    virtual Pixels Capture(WindowId id) = 0;
};
