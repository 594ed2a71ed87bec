#pragma once
// Live pictures go from the memory they were decoded into to the window by the display's server itself.

#include <xcb/shm.h>

#include <deque>

#include "platform/linux/x11_connection.h"
#include "platform/live_screen.h"

class X11LiveScreen final : public LiveScreen {
public:
    /// `display` as in DISPLAY; "": that one. Connects with the first picture.
    explicit X11LiveScreen(QByteArray display = {}) : mDisplay(std::move(display)) {}
    bool Show(quint64 window, const std::vector<LivePart>& parts) override;

private:
    struct Attached {
        quint64 serial = 0;
        std::size_t bytes = 0;
        xcb_shm_seg_t name = 0;
    };
    struct OnItsWay {
        xcb_shm_seg_t name = 0;  // of the last of them
        std::vector<std::shared_ptr<const void>> owners;
    };
    void Connect();
    bool Ready(xcb_window_t window);
    bool IsOurs(xcb_window_t window);
    xcb_shm_seg_t NameOf(const PixelMemory& memory);
    void Put(const LivePart& part, xcb_shm_seg_t name, bool last);
    void MakeRoom(std::size_t bytes);
    void LetGo();

    const QByteArray mDisplay;
    bool mTried = false;
    std::shared_ptr<X11Connection> mConnection;  // null: none, or it cannot do this
    quint8 mDone = 0;                            // the event that says the server has read a picture
    xcb_window_t mWindow = XCB_WINDOW_NONE;      // the last one asked for
    xcb_gcontext_t mContext = 0;                 // for it; 0: it is none of ours
    std::deque<Attached> mAttached;              // the last was used last
    std::deque<OnItsWay> mOnTheirWay;
};
