#pragma once
// A connection to the X server of our own, beside the toolkit's: what vanishes under our hands is an answer
// here, never an error in somebody else's handler. User-interface thread only.

#include <xcb/xcb.h>

#include <QByteArray>
#include <QSize>
#include <QString>
#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <vector>

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <class T>
using XReply = std::unique_ptr<T, FreeReply>;

class X11Connection {
public:
    /// `display` as in DISPLAY; "": that one. Null when the server cannot be reached.
    static std::shared_ptr<X11Connection> Open(const QByteArray& display);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    xcb_connection_t* Raw() const { return mConnection; }
    const xcb_screen_t& Screen() const { return *mScreen; }
    /// In pixels, as it was when the last call began: it may be resized.
    QSize ScreenSize() const { return mSize; }
    /// Whether the screen's pixels are 0xRRGGBB in 32 bits of this machine's byte order.
    bool HasPlainPixels() const;
    bool Alive() const { return xcb_connection_has_error(mConnection) == 0; }

    /// Whether the server has it; a request of one that it lacks ends the connection. The first question
    /// waits.
    bool Has(xcb_extension_t& extension) const;

    /// Begins one call of a port: together its answers may take one second; after that every Answer is null
    /// at once. Forgets errors of earlier calls.
    void Begin();
    /// The answer to a request; null when the server refused it or the time is over.
    template <class T, class Cookie>
    XReply<T> Answer(Cookie cookie)
    {
        return XReply<T>(static_cast<T*>(Wait(cookie.sequence)));
    }
    /// Waits until the server has done everything asked so far. False: it refused something since Begin, or
    /// the time is over.
    bool Settle();

    xcb_atom_t Atom(const QByteArray& name);
    /// A property as 32-bit numbers or as bytes; empty when there is none of that kind.
    std::vector<quint32> Numbers(xcb_window_t window, const char* property);
    QByteArray Bytes(xcb_window_t window, const char* property);
    /// A property as text: UTF-8 where its type says so, else Latin-1.
    QString Text(xcb_window_t window, const char* property);
    /// Children, the topmost last.
    std::vector<xcb_window_t> Children(xcb_window_t window);
    /// The first of `windows`, or of what lies in them as deep as window managers put a program's window, for
    /// which `is` holds; outer ones first. None: XCB_NONE.
    xcb_window_t FindIn(std::vector<xcb_window_t> windows, const std::function<bool(xcb_window_t)>& is);
    /// Tells the root (and so the window manager) about `window`.
    void TellRoot(xcb_window_t window, const char* type, const std::array<quint32, 5>& data);

private:
    explicit X11Connection(xcb_connection_t* connection, xcb_screen_t* screen);
    void* Wait(unsigned sequence);
    XReply<xcb_get_property_reply_t> Property(xcb_window_t window, const char* property, int format);
    bool SawError();

    xcb_connection_t* mConnection;
    xcb_screen_t* mScreen;
    QSize mSize;
    std::map<QByteArray, xcb_atom_t> mAtoms;
    std::chrono::steady_clock::time_point mDeadline;
};
