#include "platform/linux/x11_connection.h"

#include <poll.h>
#include <xcb/xcbext.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "text/text_rules.h"

namespace {

constexpr auto kPatience = std::chrono::seconds(1);
constexpr int kFrameDepth = 3;                    // a frame, what some line it with, the program's window
constexpr unsigned kLongestProperty = 64 * 1024;  // bytes; a window's own, so anything may stand there

xcb_screen_t* ScreenOf(xcb_connection_t* connection, int number)
{
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 1 && number > 0; --number) xcb_screen_next(&screens);
    return screens.rem > 0 ? screens.data : nullptr;
}

}  // namespace

std::shared_ptr<X11Connection> X11Connection::Open(const QByteArray& display)
{
    int number = 0;
    xcb_connection_t* connection = xcb_connect(display.isEmpty() ? nullptr : display.constData(), &number);
    xcb_screen_t* screen = xcb_connection_has_error(connection) ? nullptr : ScreenOf(connection, number);
    if (screen) return std::shared_ptr<X11Connection>(new X11Connection(connection, screen));
    xcb_disconnect(connection);
    return nullptr;
}

X11Connection::X11Connection(xcb_connection_t* connection, xcb_screen_t* screen)
    : mConnection(connection), mScreen(screen)
{
    Begin();
    const quint32 resized = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(mConnection, mScreen->root, XCB_CW_EVENT_MASK, &resized);
    const auto now = Answer<xcb_get_geometry_reply_t>(xcb_get_geometry(mConnection, mScreen->root));
    if (now) mSize = {now->width, now->height};
}

X11Connection::~X11Connection()
{
    xcb_disconnect(mConnection);
}

bool X11Connection::HasPlainPixels() const
{
    const xcb_setup_t* setup = xcb_get_setup(mConnection);
    const xcb_format_t* formats = xcb_setup_pixmap_formats(setup);
    const bool wide =
        std::any_of(formats, formats + xcb_setup_pixmap_formats_length(setup),
                    [&](const auto& f) { return f.depth == mScreen->root_depth && f.bits_per_pixel == 32; });
    const bool sameOrder =
        (setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST) == (Q_BYTE_ORDER == Q_LITTLE_ENDIAN);
    for (auto depth = xcb_screen_allowed_depths_iterator(mScreen); depth.rem; xcb_depth_next(&depth))
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem; xcb_visualtype_next(&visual))
            if (visual.data->visual_id == mScreen->root_visual)
                return wide && sameOrder && visual.data->red_mask == 0xff0000 &&
                       visual.data->green_mask == 0xff00 && visual.data->blue_mask == 0xff;
    return false;
}

bool X11Connection::Has(xcb_extension_t& extension) const
{
    const auto* data = xcb_get_extension_data(mConnection, &extension);
    return data && data->present;
}

void X11Connection::Begin()
{
    mDeadline = std::chrono::steady_clock::now() + kPatience;
    SawError();
}

void* X11Connection::Wait(unsigned sequence)
{
    xcb_flush(mConnection);
    for (;;) {
        void* reply = nullptr;
        xcb_generic_error_t* error = nullptr;
        if (xcb_poll_for_reply(mConnection, sequence, &reply, &error)) {
            std::free(error);
            return reply;
        }
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(mDeadline - std::chrono::steady_clock::now());
        pollfd server{xcb_get_file_descriptor(mConnection), POLLIN, 0};
        if (left.count() <= 0 || !Alive() || poll(&server, 1, int(left.count())) == 0) break;
    }
    xcb_discard_reply(mConnection, sequence);
    return nullptr;
}

/// Empties the queue. Nothing in it is for us but errors and what becomes of the screen.
bool X11Connection::SawError()
{
    bool saw = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(mConnection)) {
        saw |= event->response_type == 0;
        const auto* change = reinterpret_cast<const xcb_configure_notify_event_t*>(event);
        if ((event->response_type & 0x7f) == XCB_CONFIGURE_NOTIFY && change->window == mScreen->root)
            mSize = {change->width, change->height};
        std::free(event);
    }
    return saw;
}

bool X11Connection::Settle()
{
    const auto done = Answer<xcb_get_input_focus_reply_t>(xcb_get_input_focus(mConnection));
    return done && !SawError();
}

xcb_atom_t X11Connection::Atom(const QByteArray& name)
{
    if (const auto known = mAtoms.find(name); known != mAtoms.end()) return known->second;
    const auto made = Answer<xcb_intern_atom_reply_t>(
        xcb_intern_atom(mConnection, 0, uint16_t(name.size()), name.constData()));
    return made ? mAtoms[name] = made->atom : xcb_atom_t(XCB_ATOM_NONE);
}

/// Null when there is none of that format.
XReply<xcb_get_property_reply_t> X11Connection::Property(xcb_window_t window, const char* property,
                                                         int format)
{
    auto reply = Answer<xcb_get_property_reply_t>(
        xcb_get_property(mConnection, 0, window, Atom(property), XCB_ATOM_ANY, 0, kLongestProperty / 4));
    if (reply && reply->format != format) reply.reset();
    return reply;
}

QByteArray X11Connection::Bytes(xcb_window_t window, const char* property)
{
    const auto reply = Property(window, property, 8);
    if (!reply) return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
            xcb_get_property_value_length(reply.get())};
}

QString X11Connection::Text(xcb_window_t window, const char* property)
{
    const auto reply = Property(window, property, 8);
    if (!reply) return {};
    const QByteArrayView bytes(static_cast<const char*>(xcb_get_property_value(reply.get())),
                               xcb_get_property_value_length(reply.get()));
    return reply->type == Atom("UTF8_STRING") ? Utf8Text(bytes) : QString::fromLatin1(bytes);
}

std::vector<quint32> X11Connection::Numbers(xcb_window_t window, const char* property)
{
    const auto reply = Property(window, property, 32);
    if (!reply) return {};
    std::vector<quint32> numbers(size_t(xcb_get_property_value_length(reply.get())) / 4);
    if (!numbers.empty())
        std::memcpy(numbers.data(), xcb_get_property_value(reply.get()), numbers.size() * 4);
    return numbers;
}

std::vector<xcb_window_t> X11Connection::Children(xcb_window_t window)
{
    const auto reply = Answer<xcb_query_tree_reply_t>(xcb_query_tree(mConnection, window));
    if (!reply) return {};
    const xcb_window_t* first = xcb_query_tree_children(reply.get());
    return {first, first + xcb_query_tree_children_length(reply.get())};
}

xcb_window_t X11Connection::FindIn(std::vector<xcb_window_t> windows,
                                   const std::function<bool(xcb_window_t)>& is)
{
    for (int depth = 0; depth < kFrameDepth; ++depth) {
        std::vector<xcb_window_t> below;
        for (const xcb_window_t window : windows) {
            if (is(window)) return window;
            std::ranges::copy(Children(window), std::back_inserter(below));
        }
        windows = std::move(below);
    }
    return XCB_NONE;
}

void X11Connection::TellRoot(xcb_window_t window, const char* type, const std::array<quint32, 5>& data)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = Atom(type);
    std::ranges::copy(data, event.data.data32);
    xcb_send_event(mConnection, 0, mScreen->root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&event));
}
