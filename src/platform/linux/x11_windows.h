#pragma once

#include <QMargins>
#include <QRect>
#include <QString>
#include <memory>
#include <optional>

#include "platform/linux/x11_capture.h"
#include "platform/linux/x11_connection.h"
#include "platform/windows.h"

/// Windows of an X11 desktop, as its window manager announces them; where none does, what lies on the screen.
/// An id is the window's number and, in its upper half, that of the process, where the server knows it: the
/// numbers of closed windows go to whatever is started next.
class X11Windows final : public WindowsPort {
public:
    /// Connects at the first call. `display` as in DISPLAY, "": that one.
    explicit X11Windows(const QByteArray& display = {});
    ~X11Windows() override;

    QString WhyNot() const override;
    WindowId Desktop() const override;
    std::vector<WindowInfo> TopLevel() override;
    bool Exists(WindowId id) override;
    WindowId Foreground() override;
    void RaiseNormal(WindowId id) override;
    Pixels Capture(WindowId id) override;

private:
    bool Ready() const;
    bool Managed();
    std::vector<xcb_window_t> TopmostFirst();
    xcb_window_t ClientIn(xcb_window_t outermost);
    bool CanBeShared(xcb_window_t window);
    bool IsViewable(xcb_window_t window);
    bool HasAtom(xcb_window_t window, const char* property, const char* value);
    bool IsOwnProcessWindow(xcb_window_t window);
    quint32 Process(xcb_window_t window);
    WindowId Id(xcb_window_t window);
    QString Title(xcb_window_t window);
    xcb_window_t OutermostParent(xcb_window_t window);
    xcb_window_t Focused();
    QRect Place(xcb_window_t window);
    std::optional<QMargins> Margins(xcb_window_t window, const char* property);
    QRect OnScreen(xcb_window_t window);
    bool ManagerKnows(const char* request);
    void BringHere(xcb_window_t window);

    QByteArray mDisplay;
    mutable std::shared_ptr<X11Connection> mConnection;  // made when first needed, made anew when it broke
    mutable std::unique_ptr<X11Capture> mCapture;
};
