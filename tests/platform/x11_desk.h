#pragma once
// A virtual display with a window manager, and windows of other processes on it.

#include <xcb/xcb.h>

#include <functional>
#include <memory>

#include "demo/stage.h"

class X11Desk {
public:
    explicit X11Desk(bool manager = true);
    ~X11Desk();

    /// A window of another process, on the screen unless `hidden`.
    struct Window {
        std::unique_ptr<stage::Child> process;
        xcb_window_t id = 0;
    };
    Window Open(const QString& name, const QString& title, const QRect& place, const QString& colour,
                bool hidden = false);
    /// Runs a program on this display to its end.
    void Run(const QString& program, const QStringList& arguments);

    /// Asks again after each change on the screen. False when it is still not so after 20 s.
    bool Until(const std::function<bool()>& condition);

    const QString& Display() const { return mScreen.Display(); }
    xcb_connection_t* Raw() { return mConnection; }

private:
    std::unique_ptr<stage::Child> Start(const QString& program, const QStringList& arguments);

    stage::Folder mFolder;
    stage::Screen mScreen;
    xcb_connection_t* mConnection = nullptr;
};
