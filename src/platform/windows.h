#pragma once
// The desktop's windows that can be shared. Sizes in device pixels. User-interface thread only. A window
// may vanish between any two calls; nothing here throws for that.

#include <QString>
#include <functional>
#include <vector>

#include "contract/picture.h"

using WindowId = quint64;  // 0: none

struct WindowInfo {
    WindowId id = 0;
    QString title;  // at most 1024 characters, cut at the first NUL
};

/// What the user chose in the desktop's own dialog. 0: nothing, with a sentence why, or with none when it was
/// the user who left it.
struct WindowChoice {
    WindowId id = 0;
    QString whyNot;
};

class WindowsPort {
public:
    virtual ~WindowsPort() = default;

    /// Finds out what can be shared and calls `seen`, at once or later; before, the list is not known.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): others keep it
    virtual void Look(std::function<void()> seen) { seen(); }
    /// Entries of the list only say what the desktop itself shall ask for; what is shared comes from Choose.
    virtual bool DesktopAsks() const { return false; }
    // NOLINTNEXTLINE(performance-unnecessary-value-param): the same
    virtual void Choose(WindowId entry, std::function<void(const WindowChoice&)> chosen)
    {
        chosen({entry, {}});
    }
    /// Nobody waits for Look or Choose any more: what they were given is not called.
    virtual void StopAsking() {}
    /// What was chosen is no longer shared.
    virtual void Release(WindowId) {}

    /// "" when windows can be listed and captured, else one clear sentence why not.
    virtual QString WhyNot() const = 0;
    /// The whole screen, as a window of its own; 0 where it cannot be shared.
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
