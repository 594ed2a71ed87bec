#include "platform/linux/x11_windows.h"

#include <unistd.h>
#include <xcb/res.h>

#include <algorithm>

#include "text/text_rules.h"
#include "text/words.h"

namespace {

constexpr qsizetype kLongestTitle = 1024;
constexpr int kDeepestNesting = 64;  // windows above a window; a bound for a tree that changes meanwhile
constexpr quint32 kWidestMargin = 1000;
constexpr quint32 kFromUser = 2;  // the source that window managers obey at once
constexpr quint32 kEveryDesktop = 0xffffffff;
constexpr quint32 kRemove = 0;  // of _NET_WM_STATE

}  // namespace

X11Windows::X11Windows(const QByteArray& display) : mDisplay(display) {}

X11Windows::~X11Windows() = default;

bool X11Windows::Ready() const
{
    if (!mConnection || !mConnection->Alive()) {
        mCapture.reset();
        mConnection = X11Connection::Open(mDisplay);
        if (mConnection) mCapture = std::make_unique<X11Capture>(mConnection);
    }
    if (mConnection) mConnection->Begin();
    return mConnection != nullptr;
}

QString X11Windows::WhyNot() const
{
    if (!Ready()) return Ours::tr("Windows cannot be shared, because there is no X11 display.");
    if (!mCapture->Possible())
        return Ours::tr("Windows cannot be shared from a display without 24-bit colours.");
    return {};
}

WindowId X11Windows::Desktop() const
{
    return Ready() ? mConnection->Screen().root : 0;
}

std::vector<WindowInfo> X11Windows::TopLevel()
{
    if (!Ready()) return {};
    std::vector<WindowInfo> windows;
    for (const xcb_window_t window : TopmostFirst())
        if (CanBeShared(window)) windows.push_back({Id(window), Title(window)});
    return windows;
}

std::vector<xcb_window_t> X11Windows::TopmostFirst()
{
    const xcb_window_t root = mConnection->Screen().root;
    std::vector<xcb_window_t> windows;
    if (Managed()) windows = mConnection->Numbers(root, "_NET_CLIENT_LIST_STACKING");
    if (windows.empty())
        for (const xcb_window_t window : mConnection->Children(root)) windows.push_back(ClientIn(window));
    std::ranges::reverse(windows);
    return windows;
}

/// A window manager that died leaves its announcements behind; its own window goes with it.
bool X11Windows::Managed()
{
    const auto manager = mConnection->Numbers(mConnection->Screen().root, "_NET_SUPPORTING_WM_CHECK");
    return !manager.empty() && mConnection->Numbers(manager[0], "_NET_SUPPORTING_WM_CHECK") == manager;
}

/// The program's own window inside a frame, which every window manager marks with WM_STATE; where there is
/// none, the outermost itself.
xcb_window_t X11Windows::ClientIn(xcb_window_t outermost)
{
    const xcb_window_t marked = mConnection->FindIn({outermost}, [this](xcb_window_t window) {
        return !mConnection->Numbers(window, "WM_STATE").empty();
    });
    return marked == XCB_NONE ? outermost : marked;
}

bool X11Windows::CanBeShared(xcb_window_t window)
{
    return IsViewable(window) && !HasAtom(window, "_NET_WM_STATE", "_NET_WM_STATE_HIDDEN") &&
           !HasAtom(window, "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_DESKTOP") &&
           !HasAtom(window, "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_DOCK") && !IsOwnProcessWindow(window);
}

bool X11Windows::IsViewable(xcb_window_t window)
{
    const auto attributes = mConnection->Answer<xcb_get_window_attributes_reply_t>(
        xcb_get_window_attributes(mConnection->Raw(), window));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
           attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
}

bool X11Windows::HasAtom(xcb_window_t window, const char* property, const char* value)
{
    const std::vector<quint32> atoms = mConnection->Numbers(window, property);
    return std::ranges::find(atoms, mConnection->Atom(value)) != atoms.end();
}

/// What windows say of themselves may be missing.
bool X11Windows::IsOwnProcessWindow(xcb_window_t window)
{
    const std::vector<quint32> said = mConnection->Numbers(window, "_NET_WM_PID");
    return pid_t(said.empty() ? Process(window) : said[0]) == getpid();
}

/// As the server knows it of each local client; 0: not known.
quint32 X11Windows::Process(xcb_window_t window)
{
    if (!mConnection->Has(xcb_res_id)) return 0;
    const xcb_res_client_id_spec_t whose{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const auto reply = mConnection->Answer<xcb_res_query_client_ids_reply_t>(
        xcb_res_query_client_ids(mConnection->Raw(), 1, &whose));
    if (!reply) return 0;
    const auto ids = xcb_res_query_client_ids_ids_iterator(reply.get());
    const bool known = ids.rem > 0 && xcb_res_client_id_value_value_length(ids.data) > 0;
    return known ? *xcb_res_client_id_value_value(ids.data) : 0;
}

WindowId X11Windows::Id(xcb_window_t window)
{
    return window == XCB_NONE ? 0 : WindowId(Process(window)) << 32 | window;
}

QString X11Windows::Title(xcb_window_t window)
{
    QString title = Utf8Text(mConnection->Bytes(window, "_NET_WM_NAME"));
    if (title.isEmpty()) title = mConnection->Text(window, "WM_NAME");
    title.truncate(kLongestTitle);
    if (!title.isEmpty() && title.back().isHighSurrogate()) title.chop(1);
    const qsizetype end = title.indexOf(QChar(0));
    return end < 0 ? title : title.left(end);
}

bool X11Windows::Exists(WindowId id)
{
    if (id == 0 || !Ready()) return false;
    const auto window = xcb_window_t(id);
    const auto process = quint32(id >> 32);
    return mConnection->Answer<xcb_get_window_attributes_reply_t>(
               xcb_get_window_attributes(mConnection->Raw(), window)) &&
           (process == 0 || process == Process(window));
}

WindowId X11Windows::Foreground()
{
    if (!Ready()) return 0;
    std::vector<quint32> active;
    if (Managed()) active = mConnection->Numbers(mConnection->Screen().root, "_NET_ACTIVE_WINDOW");
    return Id(active.empty() ? Focused() : active[0]);
}

/// Where the keys go, when nobody announces it. They may follow the pointer.
xcb_window_t X11Windows::Focused()
{
    const auto focus =
        mConnection->Answer<xcb_get_input_focus_reply_t>(xcb_get_input_focus(mConnection->Raw()));
    if (!focus || focus->focus == XCB_INPUT_FOCUS_NONE) return XCB_NONE;
    xcb_window_t outermost = XCB_NONE;
    if (focus->focus != XCB_INPUT_FOCUS_POINTER_ROOT) {
        outermost = OutermostParent(focus->focus);
    } else if (const auto pointer = mConnection->Answer<xcb_query_pointer_reply_t>(
                   xcb_query_pointer(mConnection->Raw(), mConnection->Screen().root))) {
        outermost = pointer->child;
    }
    return outermost == XCB_NONE ? XCB_NONE : ClientIn(outermost);
}

xcb_window_t X11Windows::OutermostParent(xcb_window_t window)
{
    for (int depth = 0; depth < kDeepestNesting; ++depth) {
        const auto tree =
            mConnection->Answer<xcb_query_tree_reply_t>(xcb_query_tree(mConnection->Raw(), window));
        if (!tree) return 0;
        if (tree->parent == tree->root || tree->parent == XCB_NONE) return window;
        window = tree->parent;
    }
    return 0;
}

bool X11Windows::ManagerKnows(const char* request)
{
    return Managed() && HasAtom(mConnection->Screen().root, "_NET_SUPPORTED", request);
}

/// From a desktop that is not shown; by itself activating does that under few window managers. Others show
/// several desktops, one on each screen: what can be seen stays where it is.
void X11Windows::BringHere(xcb_window_t window)
{
    if (IsViewable(window)) return;
    const auto here = mConnection->Numbers(mConnection->Screen().root, "_NET_CURRENT_DESKTOP");
    const auto there = mConnection->Numbers(window, "_NET_WM_DESKTOP");
    if (here.size() != 1 || there.size() != 1 || there == here || there[0] == kEveryDesktop) return;
    mConnection->TellRoot(window, "_NET_WM_DESKTOP", {here[0], kFromUser, 0, 0, 0});
}

/// The window manager restores, raises and activates; the window is in front only as long as the user leaves
/// it there, nothing keeps it on top.
void X11Windows::RaiseNormal(WindowId id)
{
    if (!Exists(id) || id == mConnection->Screen().root) return;
    const auto window = xcb_window_t(id);
    if (ManagerKnows("_NET_WM_DESKTOP")) BringHere(window);
    if (ManagerKnows("_NET_WM_STATE"))
        mConnection->TellRoot(window, "_NET_WM_STATE",
                              {kRemove, mConnection->Atom("_NET_WM_STATE_MAXIMIZED_VERT"),
                               mConnection->Atom("_NET_WM_STATE_MAXIMIZED_HORZ"), kFromUser, 0});
    if (ManagerKnows("_NET_ACTIVE_WINDOW")) {
        mConnection->TellRoot(window, "_NET_ACTIVE_WINDOW", {kFromUser, XCB_CURRENT_TIME, 0, 0, 0});
    } else {
        const quint32 above = XCB_STACK_MODE_ABOVE;
        xcb_map_window(mConnection->Raw(), window);
        xcb_configure_window(mConnection->Raw(), OutermostParent(window), XCB_CONFIG_WINDOW_STACK_MODE,
                             &above);
        xcb_set_input_focus(mConnection->Raw(), XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    }
    mConnection->Settle();
}

/// Where a window with its border lies on the screen; empty when it has gone.
QRect X11Windows::Place(xcb_window_t window)
{
    const auto sizeAsked = xcb_get_geometry(mConnection->Raw(), window);
    const auto placeAsked =
        xcb_translate_coordinates(mConnection->Raw(), window, mConnection->Screen().root, 0, 0);
    const auto size = mConnection->Answer<xcb_get_geometry_reply_t>(sizeAsked);
    const auto at = mConnection->Answer<xcb_translate_coordinates_reply_t>(placeAsked);
    if (!size || !at) return {};
    const int border = size->border_width;
    return QRect(at->dst_x, at->dst_y, size->width, size->height).adjusted(-border, -border, border, border);
}

/// A property of four widths: left, right, top, bottom.
std::optional<QMargins> X11Windows::Margins(xcb_window_t window, const char* property)
{
    std::vector<quint32> widths = mConnection->Numbers(window, property);
    if (widths.size() != 4) return std::nullopt;
    for (quint32& width : widths) width = std::min(width, kWidestMargin);
    return QMargins(int(widths[0]), int(widths[2]), int(widths[1]), int(widths[3]));
}

/// Where the window with its frame lies on the screen; empty when it has gone or lies outside. The room for
/// grips that some frames have around them, and for shadows that some windows have, shows other windows: it
/// does not count.
QRect X11Windows::OnScreen(xcb_window_t window)
{
    const QRect screen(QPoint(0, 0), mConnection->ScreenSize());
    if (window == mConnection->Screen().root) return screen;
    QRect area = Place(OutermostParent(window)) & screen;
    if (const auto frame = Margins(window, "_NET_FRAME_EXTENTS")) area &= Place(window) + *frame;
    if (const auto shadow = Margins(window, "_GTK_FRAME_EXTENTS")) area &= Place(window) - *shadow;
    return area;
}

Pixels X11Windows::Capture(WindowId id)
{
    if (!Ready() || !mCapture->Possible() || (id != Desktop() && !IsViewable(xcb_window_t(id)))) return {};
    const QRect area = OnScreen(xcb_window_t(id));
    return area.isEmpty() ? Pixels{} : mCapture->Grab(area);
}
