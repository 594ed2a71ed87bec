#include "platform/linux/x11_clipboard_manager.h"

#include <poll.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct FreeIt {
    void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Reply = std::unique_ptr<T, FreeIt>;

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

xcb_atom_t Atom(xcb_connection_t* x, const char* name)
{
    const Reply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, std::uint16_t(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

/// What was asked of a selection's owner has come, or will not.
bool Answered(xcb_connection_t* x)
{
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(x)}) {
        if ((event->response_type & 0x7f) == XCB_SELECTION_NOTIFY) return true;
    }
    return xcb_connection_has_error(x) != 0;
}

/// Asks the owner of `selection` for `target`, calling `meanwhile` until it answers. False: it did not, for a
/// second. True at once when there is none.
bool Ask(const char* selection, const char* target, const std::function<void(xcb_connection_t*)>& meanwhile)
{
    const Connection connection(std::getenv("DISPLAY") ? xcb_connect(nullptr, nullptr) : nullptr);
    xcb_connection_t* x = connection.get();
    if (!x || xcb_connection_has_error(x)) return true;
    const xcb_atom_t asked = Atom(x, selection);
    const Reply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, asked), nullptr));
    if (!owner || owner->owner == XCB_WINDOW_NONE) return true;

    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
    const xcb_window_t asking = xcb_generate_id(x);
    xcb_create_window(x, XCB_COPY_FROM_PARENT, asking, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_convert_selection(x, asking, asked, Atom(x, target), Atom(x, "QUORVIA_ASKED"), XCB_CURRENT_TIME);
    xcb_flush(x);
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    for (;;) {
        if (Answered(x)) return true;
        if (std::chrono::steady_clock::now() >= until) return false;
        meanwhile(x);
    }
}

}  // namespace

bool ClipboardAnswers()
{
    constexpr int kGlanceMilliseconds = 20;
    return Ask("CLIPBOARD", "TARGETS", [](xcb_connection_t* x) {
        pollfd server{xcb_get_file_descriptor(x), POLLIN, 0};
        poll(&server, 1, kGlanceMilliseconds);
    });
}

void HandClipboardOver(const std::function<void()>& serve)
{
    Ask("CLIPBOARD_MANAGER", "SAVE_TARGETS", [&serve](xcb_connection_t*) { serve(); });
}
